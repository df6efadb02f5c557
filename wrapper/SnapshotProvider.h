// One way to get a point in time of volumes.
#pragma once

#include <memory>
#include <vector>

#include "fenwickel/Types.h"

// The snapshots that one provider took of a set of volumes. The destructor releases them without
// Delete; whether the snapshots then remain depends on the provider.
class SnapshotSet {
public:
    virtual ~SnapshotSet() = default;

    // Where each volume can be read, in the order in which the volumes were given. In the library's
    // form and with '\' at the end on every system, so that it can stand in the place of the
    // volume's mount point at the start of a path.
    virtual std::vector<WString> Devices() const = 0;

    // What the system calls the set; empty where it has no such name.
    virtual WString Identifier() const { return {}; }

    // Deletes all of them, with force also those in use. 0 or the first error code of the system;
    // an error does not keep the others from being deleted. The object is not used afterwards.
    virtual int Delete(bool force) = 0;
};

// Serves the volumes of one kind. Used by one thread at a time.
class SnapshotProvider {
public:
    virtual ~SnapshotProvider() = default;

    // Its name for users: "btrfs", "vss", "live".
    virtual const WCHAR* Name() const = 0;

    // True when it can try the volume, given by its name.
    virtual bool Serves(const WString& volumeName) = 0;

    // Takes all of the volumes or none. There is at least one, each is named once, and Serves
    // returned true for each just before. Null with *code set to an error code of the system, never
    // 0, on failure; nothing is left behind then.
    virtual std::unique_ptr<SnapshotSet> Create(const std::vector<WString>& volumeNames,
                                                int* code) = 0;
};

// The providers of this system in the order in which they are asked; the live view, which has no
// point in time, only when allowed, and last. Each platform folder defines it.
std::vector<std::unique_ptr<SnapshotProvider>> SnapshotProviders(bool allowLiveView);
