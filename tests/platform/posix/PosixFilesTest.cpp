#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "../FindAll.h"
#include "TestSupport.h"
#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"
#include "platform/posix/FileLock.h"
#include "platform/posix/Rename.h"
#include "system/Entries.h"
#include "system/ErrorText.h"
#include "system/StopSignals.h"

namespace {

HANDLE OpenRecords(const WString& path) {
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Gives up root's rights while it lives; false where the process keeps them.
class Unprivileged {
public:
    Unprivileged() { m_dropped = geteuid() == 0 && seteuid(65534) == 0; }
    ~Unprivileged() {
        if (m_dropped) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }
    explicit operator bool() const { return geteuid() != 0; }

private:
    bool m_dropped;
};

TEST(PosixFind, KindsOfEntriesAndTimes) {
    const TempFolder folder;
    std::filesystem::create_directory_symlink(".", folder / "loop");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mknod((folder / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    WriteBytes(folder / "file", "12345");
    const timespec times[] = {{-11644473601, 0}, {1700000000, 123456789}};
    ASSERT_EQ(utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0), 0);
    DWORD code = 0;
    auto found = FindAll(folder.wide(), &code);
    EXPECT_EQ(code, ERROR_NO_MORE_FILES);
    EXPECT_EQ(found[WIDE("loop")].dwFileAttributes, FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_EQ(found[WIDE("dangling")].dwFileAttributes, FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_EQ(found[WIDE("pipe")].dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(found[WIDE("socket")].dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
    const WIN32_FIND_DATAW& file = found[WIDE("file")];
    EXPECT_EQ(file.nFileSizeLow, 5U);
    EXPECT_EQ(std::int64_t{file.ftLastWriteTime.dwHighDateTime} << 32 |
                  file.ftLastWriteTime.dwLowDateTime,
              133444736001234567);
    EXPECT_EQ(FindAll(folder.wide("loop"), &code).size(), found.size());
    for (const char* const name : {"pipe", "socket"}) {
        EXPECT_EQ(OpenRecords(folder.wide(name)), INVALID_HANDLE_VALUE) << name;
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED) << name;
    }
}

TEST(PosixFind, WhatCannotBeReadIsAFailure) {
    const TempFolder folder;
    for (const char* const name : {"closed", "listable"}) {
        std::filesystem::create_directory(folder / name);
        WriteBytes(folder / name / "file", "x");
    }
    ASSERT_EQ(chmod((folder / "closed").c_str(), 0), 0);
    ASSERT_EQ(chmod((folder / "listable").c_str(), 0444), 0);
    {
        const Unprivileged user;
        if (!user) {
            GTEST_SKIP() << "cannot give up root's rights here";
        }
        DWORD code = 0;
        EXPECT_TRUE(FindAll(folder.wide("closed"), &code).empty());
        EXPECT_EQ(code, ERROR_ACCESS_DENIED);
        FindAll(folder.wide("listable"), &code);
        EXPECT_EQ(code, ERROR_ACCESS_DENIED);
        EXPECT_EQ(OpenRecords(folder.wide("closed/file")), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    }
    chmod((folder / "closed").c_str(), 0700);
    chmod((folder / "listable").c_str(), 0700);
}

TEST(PosixFind, EntriesAndFoldersThatVanish) {
    const TempFolder folder;
    WIN32_FIND_DATAW data;
    for (const bool whole : {false, true}) {
        std::filesystem::create_directory(folder / "d");
        WriteBytes(folder / "d/file", "x");
        const HANDLE search = FindFirstFileW(folder.wide("d/*").c_str(), &data);
        ASSERT_NE(search, INVALID_HANDLE_VALUE);
        std::filesystem::remove_all(folder / (whole ? "d" : "d/file"));
        while (FindNextFileW(search, &data)) {
            EXPECT_NE(WString(data.cFileName), WIDE("file"));
        }
        EXPECT_EQ(GetLastError(), whole ? ERROR_PATH_NOT_FOUND : ERROR_NO_MORE_FILES);
        EXPECT_TRUE(FindClose(search));
        std::filesystem::remove_all(folder / "d");
    }
}

TEST(PosixFind, FolderBeyondTheLongestPath) {
    const TempFolder folder;
    const std::string name(200, 'n');
    WString wide = folder.wide();
    int current = open(folder.path().c_str(), O_PATH);
    for (int level = 0; level < 50; ++level) {
        ASSERT_EQ(mkdirat(current, name.c_str(), 0700), 0);
        const int next = openat(current, name.c_str(), O_PATH);
        close(current);
        current = next;
        wide += WIDE("\\") + Wide(name);
    }
    close(current);
    DWORD code = 0;
    EXPECT_EQ(FindAll(wide, &code).size(), 2U);
    EXPECT_EQ(code, ERROR_NO_MORE_FILES);
    FindAll(wide + WIDE("\\none"), &code);
    EXPECT_EQ(code, ERROR_PATH_NOT_FOUND);
}

TEST(PosixFiles, LockOfAFileThatThePathNamesNoMore) {
    const TempFolder folder;
    WriteBytes(folder / "f", "old");
    const Descriptor file(open((folder / "f").c_str(), O_RDWR));
    EXPECT_EQ(LockNamedFile(file.get(), folder / "f", LOCK_EX), LockOutcome::Done);
    std::filesystem::remove(folder / "f");
    EXPECT_EQ(LockNamedFile(file.get(), folder / "f", LOCK_EX), LockOutcome::Replaced);
    WriteBytes(folder / "f", "new");
    EXPECT_EQ(LockNamedFile(file.get(), folder / "f", LOCK_EX), LockOutcome::Replaced);
}

TEST(PosixFiles, RenamesWhereTheKernelWillNot) {
    const TempFolder folder;
    WriteBytes(folder / "a", "text");
    WriteBytes(folder / "b", "other");
    EXPECT_EQ(RenameByLink(folder / "a", folder / "b"), EEXIST);
    EXPECT_EQ(RenameByLink(folder / "none", folder / "c"), ENOENT);
    EXPECT_EQ(RenameByLink(folder / "a", folder / "c"), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "a"));
    EXPECT_EQ(ReadBytes(folder / "b") + ReadBytes(folder / "c"), "othertext");
    const WString elsewhere = WIDE("\\dev\\shm\\fenwickel-test-") + Wide(std::to_string(getpid()));
    if (HostFileSystemId(WIDE("\\dev\\shm")) != HostFileSystemId(folder.wide())) {
        EXPECT_FALSE(MoveFileExW(folder.wide("c").c_str(), elsewhere.c_str(), 8));
        EXPECT_EQ(GetLastError(), ERROR_NOT_SAME_DEVICE);
    }
}

TEST(PosixFiles, FullDevice) {
    const HANDLE full =
        CreateFileW(WIDE("/dev/full"), FILE_APPEND_DATA, 3, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD written = 9;
    EXPECT_FALSE(WriteFile(full, "x", 1, &written, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0U);
    EXPECT_TRUE(CloseHandle(full));
}

TEST(PosixErrors, CodesByCall) {
    const std::pair<DWORD, DWORD> table[] = {
        {OpenError(ENOENT, true), 2},   {OpenError(ENOENT, false), 3},
        {OpenError(ENOTDIR, true), 3},  {OpenError(EEXIST, true), 80},
        {OpenError(EMFILE, true), 4},   {OpenError(EROFS, true), 19},
        {OpenError(ELOOP, true), 1921}, {OpenError(ENAMETOOLONG, true), 206},
        {NameError(EEXIST), 183},       {NameError(EXDEV), 17},
        {NameError(ENOENT), 3},         {LockError(EWOULDBLOCK), 32},
        {LockError(ENOLCK), 33},        {TransferError(ENOSPC), 112},
        {TransferError(EDQUOT), 112},   {TransferError(EIO), 1117},
        {TransferError(EBADF), 5},      {SearchError(ENOENT), 3},
        {SearchError(ENOTDIR), 267},    {SearchError(EACCES), 5}};
    for (const auto& [code, expected] : table) {
        EXPECT_EQ(code, expected);
        EXPECT_FALSE(HostErrorText(code).empty()) << code;
    }
}

TEST(PosixFaults, HitTheCallTheyAreArmedFor) {
    const TempFolder folder;
    const long long before = FaultOpenHandles();
    const HANDLE file = OpenRecords(folder.wide("f"));
    EXPECT_EQ(FaultOpenHandles(), before + 1);
    const std::pair<const char*, std::string> table[] = {
        {"WriteFile:2:once:112", "4 - 4 4"},
        {"WriteFile:2:always", "4 - - -"},
        {"*:3:short", "4 4 2 4"},
        {"ReadFile:1:once", "4 4 4 4"},
    };
    for (const auto& [fault, expected] : table) {
        ASSERT_TRUE(FaultArmFromText(fault));
        std::string moved;
        for (int i = 0; i < 4; ++i) {
            DWORD written = 0;
            const bool done = WriteFile(file, "1234", 4, &written, nullptr) != FALSE;
            moved += (i == 0 ? "" : " ") + (done ? std::to_string(written) : std::string("-"));
        }
        EXPECT_EQ(moved, expected) << fault;
        EXPECT_EQ(FaultCalls("WriteFile"), 4) << fault;
        EXPECT_EQ(FaultDisarm(), 4 - std::count(moved.begin(), moved.end(), '4')) << fault;
    }
    for (const char* const bad : {"", "f", "f:0:once", "f:x:once", "f:1:never", "f:1:once:x"}) {
        EXPECT_FALSE(FaultArmFromText(bad)) << bad;
    }
    FaultDisarm();
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(FaultOpenHandles(), before);
}

TEST(PosixHostDeathTest, SecondStopSignalEndsTheProcess) {
    EXPECT_EXIT(
        {
            HostCatchStopSignals();
            std::raise(SIGINT);
            if (HostStopExitCode() == 130) {
                std::raise(SIGTERM);
            }
        },
        testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
