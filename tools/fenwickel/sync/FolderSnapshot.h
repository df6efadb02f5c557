// One snapshot of all the volumes that hold the folders of a run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fenwickel/MetaVSS.h"
#include "fenwickel/VSSProviderPolicy.h"
#include "report/LibraryFailures.h"

enum class SnapshotMode {
    Require,  // a point in time or nothing
    Prefer,   // a point in time where one is available, else the folders themselves
    Off,      // the folders themselves
};

// Understands "require", "prefer" and "off". Throws Failure (Usage).
SnapshotMode ParseSnapshotMode(const std::string& argument);

// Held from construction until Release or destruction. One thread.
class FolderSnapshot {
public:
    // folders are existing folders with their links resolved, without '\\' at the end unless a
    // root. Throws Failure (NoSnapshot, exit code 7) when mode requires a snapshot and none is
    // available.
    FolderSnapshot(SnapshotMode mode, const std::vector<WString>& folders,
                   const LibraryFailures& library);
    FolderSnapshot(const FolderSnapshot&) = delete;
    FolderSnapshot& operator=(const FolderSnapshot&) = delete;
    ~FolderSnapshot();

    // Where to read each folder, with '\\' at its end.
    const std::vector<WString>& Folders() const { return m_folders; }

    // What is read: "btrfs", "vss", "live", "off"; several, each once, with ", " between.
    const std::string& Provider() const { return m_provider; }

    // Why it is no point in time, for people; "" when it is one.
    const std::string& Note() const { return m_note; }

    // When the snapshot was begun, as the file systems stamp it (100-ns units since 1601 UTC): a
    // file with this write time or a later one may have been written again afterwards without a
    // visible change.
    std::uint64_t Begun() const { return m_begun; }

    // Deletes the snapshot. Returns how many of it are still there, each reported on standard
    // error.
    std::uint64_t Release();

private:
    void Take(SnapshotMode mode, const LibraryFailures& library);
    WString PlaceOf(const MetaVolVssInfo& entry);
    const vsswrapper::VssProviderUse* LiveUse(const MetaVolVssInfo& entry) const;
    void TellUses(const std::vector<MetaVolVssInfo>& entries);
    Failure Refusal(SnapshotMode mode, int code, const LibraryFailures& library) const;
    void ReadAsTheyAre();
    void GiveBack();

    std::vector<WString> m_originals;
    std::vector<WString> m_folders;
    std::vector<WString> m_devices;  // of the snapshots, each once; live views are none
    std::string m_provider;
    std::string m_note;
    std::uint64_t m_begun = 0;
    std::vector<vsswrapper::VssProviderUse> m_uses;  // must outlive the manager in m_volumes
    CMetaVSS m_volumes;
    bool m_held = false;
};
