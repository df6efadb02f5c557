// Opening and locking the file that stands for a named object.
#pragma once

#include <sys/stat.h>

#include "platform/posix/Handle.h"

// An open name file under its protocol lock, which orders making, finding and giving up of an
// object. It is apart from flock, which is the mutex of the name. The destructor gives it up, also
// when another thread has meanwhile forked a child, which has the descriptor, too.
struct NameFile {
    NameFile() = default;
    ~NameFile();
    NameFile(const NameFile&) = delete;
    NameFile& operator=(const NameFile&) = delete;

    Descriptor file;
    struct stat status {};
};

enum class FileState { Opened, Missing, Refused };
enum class LockWay {
    Shared,  // for finding
    Alone,   // for making and giving up
    AtOnce,  // alone, without waiting for another holder
};

// Opens what the path names and locks it. Refused sets the last error to ERROR_ACCESS_DENIED for
// links, for anything but a regular file, and when another process keeps the lock for a second.
FileState OpenNameFile(const char* path, LockWay way, NameFile* opened);

// A new file at the path for its owner alone, locked alone. False sets errno, to EAGAIN when the
// sweep of another process holds the lock or has removed the file.
bool MakeNameFile(const char* path, NameFile* made);

// The lock once more, to give the object up. False when another process keeps it for a second.
bool LockNameFile(int file, LockWay way);
void UnlockNameFile(int file);

// True while the path names the open file, whose status is read on the way.
bool IsNamed(const char* path, int file, struct stat* status);
