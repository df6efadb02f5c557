// From the host's paths to the set of volumes that hold them.
#include "dbglog/DbgLogger.h"
#include "fenwickel/MetaVSS.h"
#include "platform/Platform.h"

namespace {

// Fills the entry as far as the calls succeed.
int ResolveVolume(MetaVolVssInfo& meta, WCHAR (&buffer)[MAX_PATH]) {
    if (!GetVolumePathNameW(meta.strMetaPath.c_str(), buffer, MAX_PATH)) {
        return LogLastError(WIDE("GetVolumePathName for meta:[%s] failed. EC:[%d]."),
                            meta.strMetaPath.c_str());
    }
    meta.strVolumePath = buffer;
    meta.nDriveType = GetDriveTypeW(meta.strVolumePath.c_str());
    if (meta.nDriveType != DRIVE_FIXED) {
        return LogFailure(-1, WIDE("The meta path:[%s] can't be snapshot. its drive Type:[%d]."),
                          meta.strMetaPath.c_str(), meta.nDriveType);
    }
    if (!GetVolumeNameForVolumeMountPointW(meta.strVolumePath.c_str(), buffer, MAX_PATH)) {
        return LogLastError(
            WIDE("GetVolumeNameForVolumeMountPoint for meta:[%s] volume:[%s] failed. EC:[%d]."),
            meta.strMetaPath.c_str(), meta.strVolumePath.c_str());
    }
    meta.strVolumeName = buffer;
    return 0;
}

}  // namespace

int CMetaVSS::ParseVolumeInfo() {
    WCHAR buffer[MAX_PATH] = {};
    for (MetaVolVssInfo& meta : m_vecMetaVols) {
        if (const int code = ResolveVolume(meta, buffer)) {
            return code;
        }
    }
    return 0;
}

// Clears nothing: a second run appends every position to its volume once more.
int CMetaVSS::PrepareVssVolume() {
    if (const int code = ParseVolumeInfo()) {
        return code;
    }
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_vecMetaVols.size()); ++i) {
        const WString& volume = m_vecMetaVols[static_cast<std::size_t>(i)].strVolumeName;
        const auto [entry, added] = m_mapVolumes.try_emplace(volume);
        entry->second.vecMetaIndex.push_back(i);
        if (added) {
            m_vecVolumes.push_back(volume);
        }
    }
    return 0;
}
