// The mounts of this process, as the kernel lists them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One mount: a folder of a file system that is seen at a place of the tree.
struct Mount {
    std::uint64_t id = 0;      // the kernel's own number, which statx tells, too
    std::uint64_t parent = 0;  // id of the mount that its place lies on; it need not be listed
    unsigned major = 0;        // device of the file system; 0 as major: no block device
    unsigned minor = 0;
    std::string root;    // the folder of the file system that is mounted
    std::string point;   // where
    std::string type;    // "ext4", "btrfs", ...
    std::string source;  // device or server, whatever the file system calls so
};

// The mounts in the text of /proc/self/mountinfo, in its order. Lines that are not understood are
// left out.
std::vector<Mount> ParseMountTable(std::string_view text);

// The mounts of this process; empty when they cannot be read.
std::vector<Mount> MountTable();

// Places below the folder (a path without links, "/" or without '/' at its end) where something is
// mounted, as a process sees it that walks there: sorted, each once, without those that a later
// mount further up hides.
std::vector<std::string> MountPointsBelow(const std::vector<Mount>& mounts,
                                          const std::string& folder);

// The mount that holds the path (links followed), by the number that the kernel gives for it.
// Nothing, with errno set, when the path does not exist or the mount is not listed (ENODEV).
std::optional<Mount> MountOf(const std::string& path);
