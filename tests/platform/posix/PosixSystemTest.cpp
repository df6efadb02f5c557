#include <gtest/gtest.h>
#include <sys/stat.h>

#include "TestSupport.h"
#include "platform/posix/VersionNote.h"
#include "system/Processes.h"

namespace {

TEST(PosixSystem, VersionNoteSurvivesEveryDamage) {
    const TempFolder folder;
    const std::string head = ReadBytes(HostOwnProgram()).substr(0, 4096);
    VS_FIXEDFILEINFO info;
    const auto found = [&](const std::string& bytes) {
        WriteBytes(folder / "f", bytes);
        return ReadVersionNote(folder.wide("f").c_str(), &info);
    };
    ASSERT_TRUE(found(head));
    const std::size_t end = head.find("Fenwickel") + sizeof(VersionNote) - sizeof(Elf64_Nhdr);
    for (std::size_t i = 0; i < end; ++i) {
        std::string damaged = head;
        damaged[i] = static_cast<char>(~damaged[i]);
        EXPECT_TRUE(!found(damaged) || info.dwSignature == kVersionSignature) << i;
    }
}

TEST(PosixSystem, NewLogFilesAreForTheirOwnerAndOldOnesStay) {
    const TempFolder folder;
    const mode_t before = umask(0);
    SECURITY_DESCRIPTOR everyone{TRUE, nullptr};
    SECURITY_ATTRIBUTES security{sizeof security, &everyone, FALSE};
    WriteBytes(folder / "old", "text");
    for (const auto& [name, mode, size] :
         {std::tuple("new", mode_t{0600}, 0), std::tuple("old", mode_t{0666}, 4)}) {
        const HANDLE file = CreateFileW(folder.wide(name).c_str(), GENERIC_READ | GENERIC_WRITE, 3,
                                        &security, OPEN_ALWAYS, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
        LARGE_INTEGER end{};
        EXPECT_TRUE(SetFilePointerEx(file, {0}, &end, FILE_END) && CloseHandle(file)) << name;
        struct stat status {};
        EXPECT_EQ(stat((folder / name).c_str(), &status), 0);
        EXPECT_EQ(std::pair(status.st_mode & 07777, int(end.QuadPart)), std::pair(mode, size));
    }
    umask(before);
}

}  // namespace
