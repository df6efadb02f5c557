#include "platform/posix/volume/Volume.h"

#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"
#include "system/Paths.h"

namespace {

// Lines of the kernel's table, what they say, and the kind of drive; lines that are none say
// nothing. 8:16 is a removable disk, 8:17 its partition.
TEST(Volume, MountsAndTheirDrives) {
    const TempFolder sys;
    std::filesystem::create_directories(sys / "dev/block/8:0");
    std::filesystem::create_directories(sys / "dev/block/8:16/part");
    std::filesystem::create_directory_symlink("8:16/part", sys / "dev/block/8:17");
    WriteBytes(sys / "dev/block/8:0/removable", "0\n");
    WriteBytes(sys / "dev/block/8:16/removable", "1\n");
    const struct {
        const char* line;
        std::string said;
        UINT kind = 0;
    } rows[] = {
        {"27 1 8:0 / / rw,relatime - ext4 /dev/sda rw", "27 8:0 / / ext4 /dev/sda", 3},
        {"31 27 8:17 /a\\040b /m\\040\\134c rw shared:7 master:2 - vfat /s\\012 rw",
         "31 8:17 /a b /m \\c vfat /s\n", 2},
        {"32 27 8:1 / /cut rw - ext4", ""},
        {"33 27 8x1 / /number rw - ext4 /dev/sda1 rw", ""},
        {"34 27 0:9 /sub\\9x /m rw - btrfs none\\04 rw", "34 0:9 /sub\\9x /m btrfs none\\04", 3},
        {"1 1 8:16 / /m r - xfs s r", "1 8:16 / /m xfs s", 2},
        {"1 1 9:9 / /m r - xfs s r", "1 9:9 / /m xfs s", 0},
        {"1 1 0:9 / /m r - nfs4 s r", "1 0:9 / /m nfs4 s", 4},
        {"1 1 0:9 / /m r - fuse.sshfs s r", "1 0:9 / /m fuse.sshfs s", 4},
        {"1 1 0:9 / /m r - fuse.own s r", "1 0:9 / /m fuse.own s", 0},
        {"1 1 0:9 / /m r - tmpfs s r", "1 0:9 / /m tmpfs s", 6},
        {"1 1 7:0 / /m r - iso9660 s r", "1 7:0 / /m iso9660 s", 5},
        {"1 1 0:9 / /m r - overlay s r", "1 0:9 / /m overlay s", 3}};
    for (const auto& row : rows) {
        std::ostringstream said;
        for (const Mount& mount : ParseMountTable(row.line)) {
            said << mount.id << ' ' << mount.major << ':' << mount.minor << ' ' << mount.root << ' '
                 << mount.point << ' ' << mount.type << ' ' << mount.source;
            EXPECT_EQ(DriveTypeOf(mount, sys.path()), row.kind) << row.line;
        }
        EXPECT_EQ(said.str(), row.said);
    }
}

// A later mount hides what lies below it; the first mounts lie on one that is not listed.
TEST(Volume, MountPointsThatAWalkMeets) {
    const std::vector<Mount> mounts = ParseMountTable(
        "1 0 0:1 / / r - x s r\n"
        "2 1 0:2 / /a r - x s r\n"
        "3 2 0:3 / /a/b r - x s r\n"
        "4 3 0:4 / /a/b r - x s r\n"          // once more on the same point
        "5 4 0:5 / /a/b/c\\040d r - x s r\n"  // "c d"
        "6 1 0:6 / /hidden/deep r - x s r\n"  // below the next one, which came later
        "7 1 0:7 / /hidden r - x s r\n"
        "8 1 0:8 / /ab r - x s r\n"
        "9 9 0:9 / /loop r - x s r\n"
        "10 11 0:9 / /round r - x s r\n11 10 0:9 / /round/x r - x s r\n");
    const auto below = [&](const char* folder) {
        std::string all;
        for (const std::string& point : MountPointsBelow(mounts, folder)) {
            all += point + ";";
        }
        return all;
    };
    EXPECT_EQ(below("/"), "/a;/a/b;/a/b/c d;/ab;/hidden;");
    EXPECT_EQ(below("/a"), "/a/b;/a/b/c d;");
    EXPECT_EQ(below("/a/b"), "/a/b/c d;");
    EXPECT_EQ(below("/hidden"), "");
}

TEST(Volume, NamesTellFileSystemsApart) {
    const auto name = [](const char* line) { return VolumeNameOf(ParseMountTable(line).at(0)); };
    EXPECT_EQ(name("1 1 0:9 / /m r - x /dev/no r"), name("1 1 0:9 / /n r - x /dev/no r"));
    EXPECT_NE(name("1 1 0:9 / /m r - x /dev/no r"), name("1 1 0:9 /f /m r - x /dev/no r"));
    EXPECT_NE(name("1 1 0:9 / /m r - x overlay r"), name("1 1 0:9 / /n r - x overlay r"));
}

TEST(Volume, OfThisMachine) {
    const TempFolder folder;
    WCHAR root[MAX_PATH];
    WCHAR name[MAX_PATH];
    ASSERT_TRUE(GetVolumePathNameW(folder.wide("not\\there").c_str(), root, MAX_PATH));
    EXPECT_TRUE(folder.wide().starts_with(root)) << Narrow(root);
    ASSERT_TRUE(GetVolumeNameForVolumeMountPointW(root, name, MAX_PATH));
    EXPECT_TRUE(std::filesystem::equivalent(FolderOfVolume(name), HostDisplayText(root)));
    EXPECT_FALSE(GetVolumePathNameW(WIDE("\\proc\\self"), root, 6));  // needs seven
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(GetDriveTypeW(folder.wide("missing").c_str()), DRIVE_NO_ROOT_DIR);
}

}  // namespace
