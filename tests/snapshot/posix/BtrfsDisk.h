// A small btrfs on a loop device, for tests that run as root.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cstdlib>

#include "TestSupport.h"

inline constexpr const char* kNoBtrfs = "tests skipped: no root, mkfs.btrfs, loop device or btrfs";

// Runs the command quietly; true when it ended with 0.
inline bool Shell(const std::string& command) {
    const std::string line = "PATH=$PATH:/usr/sbin:/sbin; (" + command + ") >/dev/null 2>&1";
    return std::system(line.c_str()) == 0;
}

// Mounted from construction to destruction, in mounts that only this process and its children see:
// they end with it, however it ends.
class BtrfsDisk {
public:
    BtrfsDisk() {
        const std::string image = m_folder / "image";
        std::filesystem::create_directory(path());
        m_ready = unshare(CLONE_NEWNS) == 0 && Shell("mount --make-rprivate /") &&
                  Shell("truncate -s 128M " + image + " && mkfs.btrfs " + image) &&
                  Shell("mount -t btrfs -o loop " + image + " " + path().string());
    }
    ~BtrfsDisk() { umount2(path().c_str(), MNT_DETACH); }
    BtrfsDisk(const BtrfsDisk&) = delete;
    BtrfsDisk& operator=(const BtrfsDisk&) = delete;

    // False where such a disk cannot be made.
    bool IsReady() const { return m_ready; }

    // Its root folder.
    std::filesystem::path path() const { return m_folder / "disk"; }

private:
    TempFolder m_folder;
    bool m_ready = false;
};
