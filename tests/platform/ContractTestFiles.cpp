#include <gtest/gtest.h>

#include <functional>

#include "TestSupport.h"

namespace {

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;

HANDLE Open(const WString& path, DWORD access, DWORD share, DWORD disposition) {
    return CreateFileW(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

// 0, or the code that the open gave; closes again.
DWORD OpenCode(const WString& path, DWORD access, DWORD share, DWORD disposition) {
    const HANDLE file = Open(path, access, share, disposition);
    return file == INVALID_HANDLE_VALUE ? GetLastError() : CloseHandle(file) != TRUE;
}

DWORD CodeOf(BOOL result) {
    return result != FALSE ? 0 : GetLastError();
}

DWORD Move(const WString& from, const WString& to) {
    return CodeOf(MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH));
}

DWORD Replace(const WString& from, const WString& to) {
    return CodeOf(
        MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

std::string Read(HANDLE file, DWORD count) {
    std::string text(count, '?');
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(file, text.data(), count, &got, nullptr));
    return text.substr(0, got);
}

void Write(HANDLE file, std::string_view text) {
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, text.data(), DWORD(text.size()), &written, nullptr));
    EXPECT_EQ(written, text.size());
}

BOOL Seek(HANDLE file, LONGLONG to) {
    LARGE_INTEGER distance;
    distance.QuadPart = to;
    return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN);
}

TEST(ContractFiles, FailuresHaveTheirCodes) {
    const TempFolder folder;
    WriteBytes(folder / "a", "text");
    WriteBytes(folder / "b", "other");
    std::filesystem::create_directory(folder / "d");
    const WString a = folder.wide("a");
    const WString none = folder.wide("none");
    const WString lost = folder.wide("none/none");
    const std::tuple<const char*, std::function<DWORD()>, DWORD> table[] = {
        {"open missing", [&] { return OpenCode(none, GENERIC_READ, 1, OPEN_EXISTING); }, 2},
        {"open without parent", [&] { return OpenCode(lost, GENERIC_READ, 1, OPEN_EXISTING); }, 3},
        {"create without parent", [&] { return OpenCode(lost, kReadWrite, 1, OPEN_ALWAYS); }, 3},
        {"create over", [&] { return OpenCode(a, GENERIC_READ, 1, CREATE_NEW); }, 80},
        {"open folder", [&] { return OpenCode(folder.wide("d"), GENERIC_READ, 1, OPEN_EXISTING); },
         5},
        {"delete missing", [&] { return CodeOf(DeleteFileW(none.c_str())); }, 2},
        {"delete without parent", [&] { return CodeOf(DeleteFileW(lost.c_str())); }, 3},
        {"delete folder", [&] { return CodeOf(DeleteFileW(folder.wide("d").c_str())); }, 5},
        {"move missing", [&] { return Move(none, folder.wide("x")); }, 2},
        {"move over", [&] { return Move(a, folder.wide("b")); }, 183},
        {"move without parent", [&] { return Move(a, lost); }, 3},
        {"replace missing", [&] { return Replace(none, a); }, 2},
        {"replace folder", [&] { return Replace(a, folder.wide("d")); }, 5},
        {"replace without parent", [&] { return Replace(a, lost); }, 3},
        {"close nothing", [&] { return CodeOf(CloseHandle(nullptr)); }, 6},
    };
    for (const auto& [what, act, expected] : table) {
        EXPECT_EQ(act(), expected) << what;
    }
    EXPECT_EQ(ReadBytes(folder / "a"), "text");
    EXPECT_EQ(ReadBytes(folder / "b"), "other");
    EXPECT_FALSE(PathFileExistsW(none.c_str()));
    EXPECT_TRUE(PathFileExistsW(folder.wide("d").c_str()));
}

TEST(ContractFiles, SharingAsTheHolderAllows) {
    const TempFolder folder;
    WriteBytes(folder / "f", "text");
    const WString f = folder.wide("f");
    // {access and share of the holder, codes for: read, read-write, read of all, delete, move}
    const std::tuple<DWORD, DWORD, std::array<DWORD, 5>> table[] = {
        {kReadWrite, FILE_SHARE_READ, {32, 32, 0, 32, 32}},
        {GENERIC_READ, FILE_SHARE_READ, {0, 32, 0, 32, 32}},
    };
    for (const auto& [access, share, expected] : table) {
        const HANDLE holder = Open(f, access, share, OPEN_EXISTING);
        ASSERT_NE(holder, INVALID_HANDLE_VALUE);
        const std::array<DWORD, 5> codes = {
            OpenCode(f, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING),
            OpenCode(f, kReadWrite, FILE_SHARE_READ, OPEN_ALWAYS),
            OpenCode(f, GENERIC_READ, kShareBoth, OPEN_EXISTING), CodeOf(DeleteFileW(f.c_str())),
            Move(f, folder.wide("g"))};
        EXPECT_EQ(codes, expected) << std::hex << access;
        EXPECT_TRUE(CloseHandle(holder));
    }
    EXPECT_EQ(Move(f, folder.wide("g")), 0U);
    EXPECT_TRUE(DeleteFileW(folder.wide("g").c_str()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(ContractFiles, ReplacesFilesWithoutAHolder) {
    const TempFolder folder;
    const WString f = folder.wide("f");
    const WString g = folder.wide("g");
    const std::pair<DWORD, DWORD> holders[] = {{kReadWrite, FILE_SHARE_READ},
                                               {GENERIC_READ, FILE_SHARE_READ}};
    WriteBytes(folder / "g", "old");
    WriteBytes(folder / "f", "new");
    for (const auto& [access, share] : holders) {
        for (const WString& held : {f, g}) {
            const HANDLE holder = Open(held, access, share, OPEN_EXISTING);
            EXPECT_EQ(Replace(f, g), held == f ? 32U : 5U) << std::hex << access;
            EXPECT_TRUE(CloseHandle(holder));
        }
    }
    EXPECT_EQ(ReadBytes(folder / "g"), "old");
    EXPECT_EQ(Replace(f, g), 0U);
    EXPECT_EQ(Replace(g, f), 0U);  // nothing is there to be replaced
    EXPECT_EQ(ReadBytes(folder / "f"), "new");
    EXPECT_FALSE(PathFileExistsW(g.c_str()));
}

TEST(ContractFiles, ReadsWritesSeeksAndCuts) {
    const TempFolder folder;
    const HANDLE file = Open(folder.wide("f"), kReadWrite, FILE_SHARE_READ, OPEN_ALWAYS);
    Write(file, "0123456789");
    EXPECT_EQ(Read(file, 4), "");
    EXPECT_TRUE(Seek(file, 6));
    EXPECT_EQ(Read(file, 100), "6789");
    EXPECT_EQ(CodeOf(Seek(file, -1)), ERROR_NEGATIVE_SEEK);
    for (const LONGLONG end : {5000000000LL, 3LL}) {
        LARGE_INTEGER size;
        EXPECT_TRUE(Seek(file, end) && SetEndOfFile(file) && GetFileSizeEx(file, &size));
        EXPECT_EQ(size.QuadPart, end);
        FILE_STANDARD_INFO info;
        EXPECT_TRUE(GetFileInformationByHandleEx(file, FileStandardInfo, &info, sizeof info));
        EXPECT_EQ(info.EndOfFile.QuadPart, end);
        EXPECT_EQ(info.NumberOfLinks, 1U);
    }
    EXPECT_TRUE(FlushFileBuffers(file) && CloseHandle(file));

    const HANDLE log = Open(folder.wide("f"), FILE_APPEND_DATA, kShareBoth, OPEN_ALWAYS);
    const HANDLE other = Open(folder.wide("f"), FILE_APPEND_DATA, kShareBoth, OPEN_ALWAYS);
    Write(log, "a");
    Write(other, "b");
    Write(log, "c");
    EXPECT_TRUE(CloseHandle(log) && CloseHandle(other));
    EXPECT_EQ(ReadBytes(folder / "f"), "012abc");

    const HANDLE reader = Open(folder.wide("f"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    DWORD written = 0;
    EXPECT_EQ(CodeOf(WriteFile(reader, "x", 1, &written, nullptr)), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(SetEndOfFile(reader));  // the code differs under Wine
    EXPECT_TRUE(CloseHandle(reader));
}

}  // namespace
