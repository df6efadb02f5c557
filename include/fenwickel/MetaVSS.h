// A snapshot of every volume that holds one of the host's folders.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "fenwickel/Types.h"
#include "fenwickel/VSSWrapper.h"

// One path of the host, its volume and its snapshot.
struct MetaVolVssInfo {
    std::uint32_t nTag = 0;        // for the host; copied, never read
    std::uint32_t nDriveType = 0;  // as GetDriveTypeW: 3, a fixed disk, in whatever was accepted
    WString strMetaPath;           // given by the host: a folder or file
    WString strVolumePath;         // mount point of its volume, with '\\' at the end
    WString strVolumeName;         // name of the volume: "\\?\Volume{...}\"
    WString strSnapshotDevice;     // where the volume's snapshot can be read; empty without one
};

// Takes one snapshot of all the volumes, says where it can be read, and deletes it.
//
// Order of calls: AddMetaFileVol once or more, CreateSnapshotForMetaVol, GetMetaFileVolSnapshot,
// the work on the snapshot, DeleteVssSnapShot. A path inside the snapshot is strSnapshotDevice in
// the place of the strVolumePath with which the path begins.
//
// Threads: no lock; one thread at a time. Operations block while the snapshot is made.
//
// Errors: operations return 0, -1 or the failing step's code, and log the failure.
class FENWICKEL_API CMetaVSS {
public:
    // No paths, nothing held.
    CMetaVSS();

    // Member-wise. A copy of an object that holds a snapshot, or what a failed attempt has left
    // held, shares it, and the first to be destroyed releases it under the other: copy only objects
    // that hold nothing, onto such. Debug builds check that.
    CMetaVSS(const CMetaVSS& other);
    CMetaVSS& operator=(const CMetaVSS& other);

    // As DeleteVssSnapShot.
    virtual ~CMetaVSS();

    // Appends copies of the entries. Nothing is cleared or compared. Always 0.
    int AddMetaFileVol(std::vector<MetaVolVssInfo>& metaVols);

    // Finds the volume of every path (all must be fixed disks) and takes one snapshot of all the
    // volumes. After a failure DeleteVssSnapShot releases what is held already. Call it only while
    // nothing is held.
    int CreateSnapshotForMetaVol();

    // Replaces metaVols by all entries with their volumes and snapshots. Without a snapshot
    // metaVols stays as it is. A volume that got no snapshot leaves its strSnapshotDevice empty.
    // Always 0.
    int GetMetaFileVolSnapshot(std::vector<MetaVolVssInfo>& metaVols);

    // Deletes the snapshot and releases everything held. A snapshot that could not be deleted is
    // not reported. The entries stay. Always 0.
    int DeleteVssSnapShot();

private:
    // One volume of the set.
    struct VolSnapshotEntry {
        std::vector<std::int32_t> vecMetaIndex;  // positions in m_vecMetaVols
        WString strSnapshotDevice;               // empty until a snapshot was taken
    };

    int ParseVolumeInfo();
    int PrepareVssVolume();
    int PrepareVSS();
    int TakeVssSnapShot();
    void TakeOver(const vsswrapper::VssSnapshotProp& snapshot);

    std::vector<MetaVolVssInfo> m_vecMetaVols;
    std::vector<WString> m_vecVolumes;  // distinct names in order of first appearance
    std::map<WString, VolSnapshotEntry> m_mapVolumes;
    WString m_strSnapshotSet;  // filled by the wrapper; not read
    bool m_bSnapshotTaken = false;
    vsswrapper::IVSSMgrFactory* m_pFactory = nullptr;            // released, not deleted
    vsswrapper::IVSSBackupMgrInterface* m_pBackupMgr = nullptr;  // likewise, through the factory
};
