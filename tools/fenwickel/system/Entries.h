// What the file system says about what stands at a path.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fenwickel/Types.h"

// True when the path names an existing folder (links followed).
bool HostIsFolder(const WString& path);

// True when the path names an existing file of the ordinary kind (links followed): no folder, no
// device, no pipe.
bool HostIsRegularFile(const WString& path);

// What stands at a path, links not followed.
enum class HostEntry {
    File,
    Folder,
    Link,     // symbolic link, or what the system has of that kind
    Other,    // socket, pipe, device
    Missing,  // nothing
    Unknown,  // the system does not say; the last error tells why
};
HostEntry HostEntryAt(const WString& path);

// The names in a folder, "." and ".." among them, in the order of the file system. Nothing, with
// the last error set, when they cannot all be read.
std::optional<std::vector<WString>> HostNamesIn(const WString& folder);

// The time now as file systems stamp it on what is written now, 100-ns units since 1601 UTC.
std::uint64_t HostFileClock();

// A number for the file system that holds the path (or its nearest existing folder); nothing when
// the system does not say.
std::optional<std::uint64_t> HostFileSystemId(const WString& path);

// True when both paths name one existing file, by whatever names or links.
bool HostSameFile(const WString& first, const WString& second);
