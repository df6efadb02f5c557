#include "fenwickel/MetaVSS.h"

#include <cassert>
#include <cstddef>
#include <utility>

#include "dbglog/DbgLogger.h"

namespace {

constexpr int kCopyBackup = 5;
constexpr int kFailed = -1;

// Hosts are built apart and pass these by reference.
static_assert(sizeof(MetaVolVssInfo) == 136 && offsetof(MetaVolVssInfo, nDriveType) == 4 &&
              offsetof(MetaVolVssInfo, strMetaPath) == 8 &&
              offsetof(MetaVolVssInfo, strVolumePath) == 40 &&
              offsetof(MetaVolVssInfo, strVolumeName) == 72 &&
              offsetof(MetaVolVssInfo, strSnapshotDevice) == 104);

}  // namespace

CMetaVSS::CMetaVSS() = default;

CMetaVSS::CMetaVSS(const CMetaVSS& other)
    : m_vecMetaVols(other.m_vecMetaVols),
      m_vecVolumes(other.m_vecVolumes),
      m_mapVolumes(other.m_mapVolumes),
      m_strSnapshotSet(other.m_strSnapshotSet),
      m_bSnapshotTaken(other.m_bSnapshotTaken),
      m_pFactory(other.m_pFactory),
      m_pBackupMgr(other.m_pBackupMgr) {
    assert(m_pFactory == nullptr && "copied while it holds a snapshot or its means");
}

CMetaVSS& CMetaVSS::operator=(const CMetaVSS& other) {
    if (this != &other) {
        assert(m_pFactory == nullptr && "overwritten while it holds a snapshot or its means");
        assert(other.m_pFactory == nullptr && "copied while it holds a snapshot or its means");
        m_vecMetaVols = other.m_vecMetaVols;
        m_vecVolumes = other.m_vecVolumes;
        m_mapVolumes = other.m_mapVolumes;
        m_strSnapshotSet = other.m_strSnapshotSet;
        m_bSnapshotTaken = other.m_bSnapshotTaken;
        m_pFactory = other.m_pFactory;
        m_pBackupMgr = other.m_pBackupMgr;
    }
    return *this;
}

CMetaVSS::~CMetaVSS() {
    CMetaVSS::DeleteVssSnapShot();
}

int CMetaVSS::AddMetaFileVol(std::vector<MetaVolVssInfo>& metaVols) {
    m_vecMetaVols.insert(m_vecMetaVols.end(), metaVols.begin(), metaVols.end());
    return 0;
}

// The life of a snapshot, in the order that the wrapper requires:
//
//   PrepareVssVolume   the volumes of all paths; holds nothing
//   PrepareVSS         factory, manager, SetInitOption, InitBackup
//   TakeVssSnapShot    CreateSnapshot, then the records of the manager into the entries
//   DeleteVssSnapShot  DeleteSnapshot if one was taken, UninitBackup, ReleaseBackupMgr,
//                      ReleaseFactory
//
// A step that fails leaves what the steps before it got, for DeleteVssSnapShot to release: after a
// failed InitBackup or CreateSnapshot that is the manager and the factory. UninitBackup precedes
// ReleaseBackupMgr because that names no manager: it releases those that were shut down. The
// records belong to the manager and go with the snapshot, so TakeOver copies from them.
int CMetaVSS::CreateSnapshotForMetaVol() {
    if (const int code = PrepareVssVolume()) {
        return code;
    }
    if (const int code = PrepareVSS()) {
        return code;
    }
    return TakeVssSnapShot();
}

int CMetaVSS::GetMetaFileVolSnapshot(std::vector<MetaVolVssInfo>& metaVols) {
    if (m_bSnapshotTaken && &metaVols != &m_vecMetaVols) {
        metaVols = m_vecMetaVols;
    }
    return 0;
}

int CMetaVSS::PrepareVSS() {
    const WCHAR* const function = WIDE("CMetaVSS::PrepareVSS");
    m_pFactory = vsswrapper::IVSSMgrFactory::GetFactory();
    if (m_pFactory == nullptr) {
        return LogFailure(kFailed, WIDE("[%s]:failed to get VSS factory."), function);
    }
    m_pBackupMgr = m_pFactory->GetVSSBackupMgr();
    if (m_pBackupMgr == nullptr) {
        vsswrapper::IVSSMgrFactory::ReleaseFactory();
        m_pFactory = nullptr;
        return LogFailure(kFailed, WIDE("[%s]:failed to get VSS backup manager."), function);
    }
    m_pBackupMgr->SetInitOption(false);
    const int code = m_pBackupMgr->InitBackup(0, 0, kCopyBackup, false, nullptr);
    if (code != 0) {
        return LogFailure(code, WIDE("[%s]:failed to initialize the vss.EC:[%d]."), function, code);
    }
    return 0;
}

int CMetaVSS::TakeVssSnapShot() {
    const int code = m_pBackupMgr->CreateSnapshot(m_vecVolumes, m_strSnapshotSet);
    if (code != 0) {
        return LogFailure(code, WIDE("[%s]:Create Snapshot failed.EC:[%d]."),
                          WIDE("CMetaVSS::TakeVssSnapShot"), code);
    }
    m_bSnapshotTaken = true;
    const std::vector<vsswrapper::VssSnapshotProp*> snapshots = *m_pBackupMgr->GetSnapshotProps();
    for (const vsswrapper::VssSnapshotProp* snapshot : snapshots) {
        TakeOver(*snapshot);
    }
    return 0;
}

// A snapshot of a volume that was not asked for is skipped; of two of one volume the later counts.
void CMetaVSS::TakeOver(const vsswrapper::VssSnapshotProp& snapshot) {
    const auto found = m_mapVolumes.find(snapshot.strSourceVolumeName);
    if (found == m_mapVolumes.end()) {
        return;
    }
    found->second.strSnapshotDevice = snapshot.strSnapshotDeviceObject;
    for (const std::int32_t index : found->second.vecMetaIndex) {
        m_vecMetaVols[static_cast<std::size_t>(index)].strSnapshotDevice =
            snapshot.strSnapshotDeviceObject;
    }
}

int CMetaVSS::DeleteVssSnapShot() {
    if (std::exchange(m_bSnapshotTaken, false)) {
        m_pBackupMgr->DeleteSnapshot(true);
    }
    if (m_pBackupMgr != nullptr) {
        m_pBackupMgr->UninitBackup();
        m_pFactory->ReleaseBackupMgr();
        m_pBackupMgr = nullptr;
    }
    if (m_pFactory != nullptr) {
        vsswrapper::IVSSMgrFactory::ReleaseFactory();
        m_pFactory = nullptr;
    }
    return 0;
}
