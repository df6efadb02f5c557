// Subvolumes of btrfs, through the kernel's own calls: what they are, what lies below them, making
// a read-only snapshot of one and deleting it.
//
// Functions that fail set errno. Descriptors are those of folders, open for reading.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One subvolume, as the file system knows it.
struct SubvolumeInfo {
    using Uuid = std::array<std::uint8_t, 16>;

    std::uint64_t id = 0;  // in its file system
    Uuid uuid = {};        // its own; all zero in a file system made by old tools
    Uuid parentUuid = {};  // of what it is a snapshot of; all zero in what is none
    Uuid fileSystem = {};  // of the file system
    bool isReadOnly = false;
};

// The subvolume whose root folder the path or descriptor is. Nothing (ENOTSUP) for every other
// folder, of btrfs or not.
std::optional<SubvolumeInfo> SubvolumeAt(const std::string& path);
std::optional<SubvolumeInfo> SubvolumeOf(int folder);

// The root folders of the subvolumes that lie below the folder in its own subvolume, not of those
// deeper down. Those that this process may not see are left out. Empty where there is no btrfs.
std::vector<std::string> SubvolumesIn(const std::string& folder);

// How the names of our snapshots begin. Each is an entry of its subvolume's root folder.
inline constexpr std::string_view kSnapshotTag = ".fenwickel-snapshot-";

// Whether the subvolume of that root folder is a snapshot of ours: a read-only one, under our tag,
// of the subvolume that holds it.
bool IsOwnSnapshot(const std::string& root);

// Makes the entry name in the folder: a read-only snapshot of the subvolume whose root folder
// source is. True once it is on the disk.
bool CreateSnapshot(int folder, const std::string& name, int source);

// Deletes the subvolume that is the entry name of the folder, also while its files are open.
bool DeleteSubvolume(int folder, const std::string& name);

// Whether this process has the right to delete any subvolume, which making one does not need.
bool MayDeleteSubvolumes(int folder);
