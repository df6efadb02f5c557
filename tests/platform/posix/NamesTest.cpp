#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <set>

#include "../FindAll.h"
#include "TestSupport.h"
#include "platform/Host.h"

namespace {

// An empty file with exactly this name in the working folder of the test.
void Create(const TempFolder& folder, const std::string& name) {
    const int file = open((folder.path().native() + "/" + name).c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(file, 0);
    EXPECT_EQ(write(file, name.data(), name.size()), ssize_t(name.size()));
    close(file);
}

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
        Create(folder, name);
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
    const WCHAR loneLead[] = {'a', 0xD83D, 0};
    const WCHAR loneTrail[] = {0xDE00, 'a', 0};
    for (const WString& wide : {WString(loneLead), WString(loneTrail), WString(WIDE("\uF7C3\uF7A9"))}) {
        EXPECT_EQ(Content(wide), "cannot open");
        EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
    }
}

TEST(PosixNames, RandomBytesComeBack) {
    const TempFolder folder;
    std::mt19937 random(7);
    const std::string pieces[] = {"a", "\\", "\xC3", "\xA9", "\xEF", "\x9E", "\x80", "\xF0\x9F", "\xE2\x82\xAC"};
    std::set<std::string> names;
    while (names.size() < 400) {
        std::string name;
        for (auto left = random() % 40 + 1; left > 0; --left) {
            const char byte = static_cast<char>(random() % 255 + 1);
            name += random() % 2 != 0 ? pieces[random() % std::size(pieces)]
                                      : std::string(1, byte == '/' ? '.' : byte);
        }
        if (name != "." && name != ".." && names.insert(name).second) {
            Create(folder, name);
        }
    }
    DWORD code = 0;
    std::set<std::string> found;
    for (const auto& [wide, data] : FindAll(folder.wide(), &code)) {
        EXPECT_TRUE(IsValidUtf16(wide));
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            found.insert(Content(folder.wide() + WIDE("\\") + wide));
        }
    }
    EXPECT_EQ(found, names);
}

TEST(PosixNames, ValuesOfVariablesCarryPaths) {
    for (const WCHAR* const value : {WIDE("\\tmp\\a\uF75Cb\uF7FF"), WIDE("/tmp/\u00e9"), WIDE("")}) {
        WCHAR buffer[32];
        EXPECT_TRUE(SetEnvironmentVariableW(WIDE("FENWICKEL_TEST"), value));
        EXPECT_EQ(GetEnvironmentVariableW(WIDE("FENWICKEL_TEST"), buffer, 32), WString(value).size());
        EXPECT_EQ(WString(buffer), value);
        EXPECT_EQ(GetEnvironmentVariableW(WIDE("FENWICKEL_TEST"), buffer, 0), WString(value).size() + 1);
    }
    EXPECT_TRUE(SetEnvironmentVariableW(WIDE("FENWICKEL_TEST"), nullptr));
    EXPECT_EQ(GetEnvironmentVariableW(WIDE("FENWICKEL_TEST"), nullptr, 0), 0U);
    EXPECT_EQ(GetLastError(), ERROR_ENVVAR_NOT_FOUND);
}

TEST(PosixHost, PathsOfTheCommandLine) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_symlink("real", folder / "link");
    WriteBytes(folder / "real/f", "x");
    const WString here = WidePath(std::filesystem::current_path());
    const std::pair<const char*, WString> table[] = {
        {"/", WIDE("\\")},
        {"//a/./b//../c/", WIDE("\\a\\c")},
        {"/../..", WIDE("\\")},
        {"x/", here + WIDE("\\x")},
        {"/b\\\xFF", WIDE("\\b\uF75C\uF7FF")},
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
