// Who but its owner may write a file or a folder.
#pragma once

#include <sys/stat.h>
#include <sys/xattr.h>

#include <string>

// True when an account other than the owner and root may write what the path names, whose status
// the caller has read. A group with the number of the owner is the owner's alone by custom. With an
// access list, the bits of the group say what all listed accounts may do at most.
inline bool OthersMayWrite(const struct stat& status, const std::string& path) {
    if ((status.st_mode & S_IWOTH) != 0) {
        return true;
    }
    return (status.st_mode & S_IWGRP) != 0 &&
           (status.st_gid != status.st_uid ||
            lgetxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) >= 0);
}
