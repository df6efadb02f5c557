// A read-only btrfs snapshot of one volume, in the root folder of that volume under our tag.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SubvolumeLock.h"
#include "platform/Platform.h"
#include "platform/posix/Handle.h"

// Owns the snapshot: the destructor deletes it unless Delete has done so.
//
// The object holds a lock, which distinguishes a snapshot in use from one that a killed process has
// left. Making one and looking for leftovers exclude each other, across processes, by a lock of the
// volume. Both are root's (SubvolumeLock.h). Codes are those of the system.
class BtrfsSnapshot {
public:
    // Of the volume whose root folder that is. Null with *code set on failure:
    // ERROR_ACCESS_DENIED also without the right to delete the snapshot later, or without root.
    static std::unique_ptr<BtrfsSnapshot> Create(const std::string& root, int* code);

    ~BtrfsSnapshot() { Delete(); }
    BtrfsSnapshot(const BtrfsSnapshot&) = delete;
    BtrfsSnapshot& operator=(const BtrfsSnapshot&) = delete;

    // The folder of the snapshot.
    const std::string& path() const { return m_path; }

    // 0 or a code; after a failure the snapshot stays, as one that was left behind.
    int Delete();

private:
    BtrfsSnapshot(const std::string& root, std::string name, Descriptor folder);
    bool Hold(int* code);

    std::string m_path;
    std::string m_name;                   // its last component
    Descriptor m_root;                    // of the volume; none once the snapshot was deleted
    std::optional<SubvolumeLock> m_hold;  // of the snapshot
};

// The folders of the snapshots in the volume's root folder that carry our tag and that no process
// holds. 0 or a code; a volume that has no snapshots of this kind has an empty list. Where it has
// some, only root can tell which of them are in use.
int ListLeftovers(const std::string& root, std::vector<std::string>* paths);

// Deletes one of them, given by its folder. ERROR_INVALID_PARAMETER for what is not such a
// snapshot, ERROR_SHARING_VIOLATION for one that is in use.
int DeleteLeftover(const std::string& path);
