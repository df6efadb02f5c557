// Sharing of files between handles and processes: flock stands for the share modes.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/posix/Handle.h"

// Opens path with these flags (close-on-exec and never blocking are added) and takes the flock
// operation (LOCK_SH, LOCK_EX, 0 for none) without waiting. The file that is locked is the one that
// the path names at that moment, also when another process replaces it meanwhile. Anything but a
// regular file is refused when regularOnly is set, a folder always. mode, less the umask, is that
// of a file that the call makes. An invalid descriptor, with the last error set, on failure.
Descriptor OpenLocked(const std::string& path, int flags, int lockOperation, bool regularOnly,
                      mode_t mode = 0666);

enum class LockOutcome { Done, Replaced, Failed };

// The step of OpenLocked behind the open: locks the open file, then looks whether the path still
// names it. Failed sets the last error.
LockOutcome LockNamedFile(int file, const std::string& path, int lockOperation);
