#include <gtest/gtest.h>

#include <random>

#include "../FindAll.h"
#include "TestSupport.h"
#include "platform/posix/Names.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

// What the file under the wide path holds.
std::string Content(const WString& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    char text[512];
    DWORD got = 0;
    if (file == INVALID_HANDLE_VALUE) {
        return "cannot open";
    }
    EXPECT_TRUE(ReadFile(file, text, sizeof(text), &got, nullptr) && CloseHandle(file));
    return std::string(text, got);
}

TEST(PosixNames, EveryKindHasItsForm) {
    const std::pair<std::string, WString> table[] = {
        {"plain name", WIDE("plain name")},
        {"h\u00e9\u20ac\U0001F600", WIDE("h\u00e9\u20ac\U0001F600")},
        {"long enough\\for eight", WIDE("long enough\uF75Cfor eight")},
        {"line\nfeed", WIDE("line\nfeed")},
        {"x\xFFy\x80", WIDE("x\uF7FFy\uF780")},
        {"\xC0\xAF", WIDE("\uF7C0\uF7AF")},
        {"cut\xE2\x82", WIDE("cut\uF7E2\uF782")},
        {"\xED\xA0\x80", WIDE("\uF7ED\uF7A0\uF780")},
        {"\uF780", WIDE("\uF7EF\uF79E\uF780")},
        {"\uF75C", WIDE("\uF7EF\uF79D\uF79C")},
        {"\uF700\uF77F", WIDE("\uF700\uF77F")},
        {std::string(255, '\xFE'), WString(255, WCHAR{0xF7FE})},
    };
    const TempFolder folder;
    for (const auto& [name, wide] : table) {
        WriteBytes(folder / name, name);
        EXPECT_EQ(Content(folder.wide() + WIDE("\\") + wide), name);
    }
    DWORD code = 0;
    const auto found = FindAll(folder.wide(), &code);
    EXPECT_EQ(found.size(), std::size(table) + 2);
    for (const auto& [name, wide] : table) {
        EXPECT_EQ(found.count(wide), 1U) << name;
    }
}

TEST(PosixNames, FormsOfNoNameAreRefused) {
    const WCHAR lone[] = {'a', 0xD83D, 0};
    for (const WString& wide : {WString(lone), WString(WIDE("\uF7C3\uF7A9"))}) {
        EXPECT_EQ(Content(wide), "cannot open");
        EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
    }
}

TEST(PosixNames, RandomBytesComeBack) {
    std::mt19937 random(7);
    const std::string starts[] = {"a",    "\\",   "\xC3",     "\xA9",    "\xEF",
                                  "\x9E", "\x9D", "\xF0\x9F", "\xE2\x82"};
    for (int round = 0; round < 20000; ++round) {
        std::string name(1, 'n');
        for (auto left = random() % 40; left > 0; --left) {
            name += random() % 2 != 0 ? starts[random() % std::size(starts)]
                                      : std::string(1, static_cast<char>(random() % 255 + 1));
        }
        const WString wide = WideFromPath(name);
        std::string back;
        EXPECT_TRUE(IsValidUtf16(wide) && wide.size() <= name.size());
        ASSERT_TRUE(PathFromWide(wide.c_str(), &back) && back == name) << name;
    }
}

TEST(PosixNames, ValuesOfVariablesCarryPaths) {
    const WCHAR* const name = WIDE("FENWICKEL_TEST");
    WCHAR buffer[32];
    for (const WString& value : {WString(WIDE("\\t\\a\uF75Cb\uF7FF")), WString(WIDE("/\u00e9"))}) {
        EXPECT_TRUE(SetEnvironmentVariableW(name, value.c_str()));
        EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 32), value.size());
        EXPECT_EQ(WString(buffer), value);
        EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 1), value.size() + 1);
    }
    EXPECT_TRUE(SetEnvironmentVariableW(name, nullptr));
    EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 32), 0U);
    EXPECT_EQ(GetLastError(), ERROR_ENVVAR_NOT_FOUND);
}

TEST(PosixHost, PathsOfTheCommandLine) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_symlink("real", folder / "link");
    WriteBytes(folder / "real/f", "x");
    const WString here = WidePath(std::filesystem::current_path());
    const std::pair<const char*, WString> table[] = {
        {"/", WIDE("\\")},          {"//a/./b//../c/", WIDE("\\a\\c")},    {"/../..", WIDE("\\")},
        {"x/", here + WIDE("\\x")}, {"/b\\\xFF", WIDE("\\b\uF75C\uF7FF")},
    };
    for (const auto& [argument, expected] : table) {
        EXPECT_EQ(HostWidePath(argument), expected) << argument;
    }
    EXPECT_EQ(HostDisplayText(WIDE("\\b\uF75C\uF7FF\u00e9")), "/b\\\uFFFD\u00e9");
    EXPECT_EQ(HostResolvedPath(folder.wide("link/new/x")),
              HostResolvedPath(folder.wide("real")) + WIDE("\\new\\x"));
    EXPECT_TRUE(HostSameFile(folder.wide("link/f"), folder.wide("real/f")));
    EXPECT_FALSE(HostSameFile(folder.wide("none"), folder.wide("none")));
    EXPECT_EQ(HostParentFolder(WIDE("\\a")), WIDE("\\"));
    EXPECT_EQ(HostFileSystemId(folder.wide("none/none")), HostFileSystemId(folder.wide()));
    EXPECT_TRUE(HostIsFolder(folder.wide("link")) && !HostIsFolder(folder.wide("real/f")));
}

}  // namespace
