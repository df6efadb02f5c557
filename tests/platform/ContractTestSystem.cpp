#include <gtest/gtest.h>

#include "FenwickelVersion.h"
#include "TestSupport.h"
#include "platform/Folder.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

WString ModulePath(HMODULE module) {
    WCHAR path[4096];
    return {path, GetModuleFileNameW(module, path, 4096)};
}

TEST(ContractSystem, ThisProgramIsFoundByAddressAndByName) {
    const WString path = ModulePath(nullptr);
    EXPECT_EQ(HostDisplayText(path), HostOwnProgram());
    MEMORY_BASIC_INFORMATION region{};
    ASSERT_NE(VirtualQuery(reinterpret_cast<void*>(&ModulePath), &region, sizeof region), 0U);
    const auto module = static_cast<HMODULE>(region.AllocationBase);
    EXPECT_EQ(ModulePath(module), path);
    const WString name = path.substr(path.rfind(WCHAR{'\\'}) + 1);
    EXPECT_EQ(GetModuleHandleW(UpperCase(name).c_str()), module);
    EXPECT_EQ(GetModuleHandleW(WIDE("none.dll")), nullptr);
}

TEST(ContractSystem, VersionIsReadFromTheFile) {
    BYTE block[4096] = {};
    ASSERT_TRUE(GetFileVersionInfoW(ModulePath(nullptr).c_str(), 0, sizeof block, block));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block, WIDE("\\"), &value, &length));
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(info.dwSignature, 0xFEEF04BDU);
    EXPECT_EQ(info.dwFileVersionMS, FENWICKEL_VERSION_MAJOR << 16 | FENWICKEL_VERSION_MINOR);
    EXPECT_EQ(info.dwFileVersionLS, FENWICKEL_VERSION_BUILD << 16 | FENWICKEL_VERSION_REVISION);
}

TEST(ContractSystem, AnsiConversionMeasuresAndRefusesToCut) {
    WCHAR wide[8] = {};
    char bytes[8] = {};
    EXPECT_EQ(MultiByteToWideChar(0, 0, "abcd", -1, wide, 5), 5);
    EXPECT_EQ(WideCharToMultiByte(0, 0, wide, 3, bytes, 8, nullptr, nullptr), 3);
    EXPECT_EQ(WideCharToMultiByte(0, 0, wide, -1, bytes, 4, nullptr, nullptr), 0);
}

TEST(ContractSystem, FoldersAndAttributesHaveTheirCodes) {
    const TempFolder folder;
    WriteBytes(folder / "f", "text");
    WIN32_FILE_ATTRIBUTE_DATA data{};
    const auto codeOf = [](BOOL result) { return result ? 0 : GetLastError(); };
    // {name, code of making a folder there, code of looking at it then}
    const std::tuple<const char*, DWORD, DWORD> table[] = {
        {"d", 0, 0}, {"d", 183, 0}, {"no/d", 3, 3}, {"f", 183, 0}};
    for (const auto& [name, made, seen] : table) {
        const WString path = folder.wide(name);
        EXPECT_EQ(codeOf(CreateDirectoryW(path.c_str(), nullptr)), made) << name;
        EXPECT_EQ(codeOf(GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)), seen);
        EXPECT_EQ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0, *name == 'f') << name;
    }
    EXPECT_TRUE(GrantLocalServiceAccess(folder.wide("d").c_str()));
}

}  // namespace
