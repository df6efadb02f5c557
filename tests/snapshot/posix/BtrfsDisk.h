// A small btrfs on a loop device, for tests that run as root.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
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

// Another account that may write in the folder. As long as the object lives, it holds a lock on the
// folder and on every entry that it may open, and has entries there named like snapshots.
class Stranger {
public:
    explicit Stranger(const std::filesystem::path& folder) : m_folder(folder) {
        std::filesystem::permissions(folder, std::filesystem::perms(01777));
        int ready[2] = {-1, -1};
        if (pipe2(ready, O_CLOEXEC) == 0 && (m_process = fork()) == 0) {
            if (setgid(54321) == 0 && setuid(54321) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0) {
                Plant();
                Lock(m_folder);
                for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
                    Lock(entry.path());
                }
                [[maybe_unused]] const ssize_t told = write(ready[1], "", 1);
                pause();
            }
            _exit(1);
        }
        close(ready[1]);
        char byte;
        m_isReady = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
    }
    ~Stranger() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
        for (const char* const name : kNames) {
            std::filesystem::remove(m_folder / name);
        }
        std::filesystem::permissions(m_folder, std::filesystem::perms(0755));
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    bool IsReady() const { return m_isReady; }

private:
    static constexpr const char* kNames[] = {
        ".fenwickel-snapshot-file", ".fenwickel-snapshot-folder", ".fenwickel-snapshot-link",
        ".fenwickel-snapshot-pipe"};

    void Plant() const {
        WriteBytes(m_folder / kNames[0], "x");
        std::filesystem::create_directory(m_folder / kNames[1]);
        std::filesystem::create_directory_symlink("/", m_folder / kNames[2]);
        mkfifo((m_folder / kNames[3]).c_str(), 0666);
    }
    static void Lock(const std::filesystem::path& path) {
        flock(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW), LOCK_EX | LOCK_NB);
    }

    const std::filesystem::path m_folder;
    pid_t m_process = -1;
    bool m_isReady = false;
};
