// Locks on subvolumes, where only root can take them.
#pragma once

#include <string>
#include <utility>

#include "platform/Platform.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/volume/Subvolume.h"

// What a lock tells. A subvolume has one lock of each.
enum class SubvolumeUse {
    Changing,  // a process makes snapshots of it, or looks for those that are leftovers
    Reading,   // it is a snapshot, and a process reads it
};

// A lock of this process.
//
// It is flock on a file in root's folder for named objects, named after the identifiers of file
// system and subvolume: not on the subvolume, where every account that may read a folder could hold
// it. The file goes with the lock. One that a killed process has left is not locked.
class SubvolumeLock {
public:
    // Holds nothing.
    SubvolumeLock() = default;
    ~SubvolumeLock();
    SubvolumeLock(SubvolumeLock&& other) = default;
    SubvolumeLock& operator=(SubvolumeLock&& other) = delete;

    // Takes the lock, with wait for up to 30 s. Nothing is held on failure, and *code is set:
    // ERROR_ACCESS_DENIED without root, and when the folder is not usable; ERROR_SHARING_VIOLATION
    // when another process has the lock.
    static SubvolumeLock Take(const SubvolumeInfo& subvolume, SubvolumeUse use, bool wait,
                              int* code);

    explicit operator bool() const { return static_cast<bool>(m_file); }

private:
    SubvolumeLock(Descriptor file, std::string path)
        : m_file(std::move(file)), m_path(std::move(path)) {}

    Descriptor m_file;
    std::string m_path;
};
