#include "FolderSnapshot.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "LeftoverSnapshots.h"
#include "fenwickel/SyncCodes.h"
#include "listing/PathPairs.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

// `"/a"` or `"/a" and 2 more`.
std::string NamesOf(const std::vector<WString>& folders) {
    const std::string first = folders.empty() ? "no folder" : Quoted(folders.front());
    return folders.size() < 2 ? first
                              : first + " and " + std::to_string(folders.size() - 1) + " more";
}

const char* DiskKind(UINT driveType) {
    switch (driveType) {
        case DRIVE_REMOVABLE:
            return "a removable disk";
        case DRIVE_REMOTE:
            return "a network drive";
        case DRIVE_CDROM:
            return "an optical disc";
        case DRIVE_RAMDISK:
            return "a disk in memory";
        default:
            return "a disk of an unknown kind";
    }
}

// Why the first of the folders that is not on a fixed disk cannot be served; "" when all are.
std::string DiskProblem(const std::vector<WString>& folders) {
    for (const WString& folder : folders) {
        std::vector<std::string> ignored;
        for (const WString& volume : VolumesOf({folder}, &ignored)) {
            const UINT driveType = GetDriveTypeW(volume.c_str());
            if (driveType != DRIVE_FIXED) {
                return Quoted(folder) + " is on " + DiskKind(driveType) +
                       ", and snapshots need a fixed one";
            }
        }
    }
    return "";
}

const char* SnapshotRemedy(int code) {
    constexpr int kAccessDenied = static_cast<int>(0x80070005U);  // as a HRESULT
    return code == static_cast<int>(ERROR_ACCESS_DENIED) || code == kAccessDenied
               ? "run it as root or as administrator, or use --snapshot prefer to read without one"
               : "use --snapshot prefer to read without one";
}

// Whether the folder lies on the volume; both with '\' at the end. The system may spell the
// beginning of a path in another way than the caller did.
bool IsOn(const WString& folder, const WString& volume) {
    return folder.starts_with(volume) ||
           (folder.size() > volume.size() && folder[volume.size() - 1] == WIDE('\\') &&
            HostSameFile(folder.substr(0, volume.size()), volume));
}

// While it lives, the calling thread gets its snapshot managers under this policy.
class PolicyScope {
public:
    PolicyScope(bool allowLiveView, std::vector<vsswrapper::VssProviderUse>* uses) {
        vsswrapper::SetProviderPolicy(allowLiveView, uses);
    }
    PolicyScope(const PolicyScope&) = delete;
    PolicyScope& operator=(const PolicyScope&) = delete;
    ~PolicyScope() { vsswrapper::SetProviderPolicy(false, nullptr); }
};

void ReportProblem(const std::string& line) {
    std::fprintf(stderr, "fenwickel: %s\n", line.c_str());
}

// Whether the snapshot is still there and cannot be deleted in a second attempt.
bool Remains(const WString& device) {
    if (!HostIsFolder(device)) {
        return false;
    }
    const std::string problem = DeleteLeftover(device.substr(0, device.size() - 1));
    if (!problem.empty()) {
        ReportProblem(problem);
    }
    return !problem.empty();
}

}  // namespace

SnapshotMode ParseSnapshotMode(const std::string& argument) {
    if (argument == "require") {
        return SnapshotMode::Require;
    }
    if (argument == "prefer") {
        return SnapshotMode::Prefer;
    }
    if (argument == "off") {
        return SnapshotMode::Off;
    }
    throw Failure(ExitCode::Usage, "cannot use --snapshot \"" + Escaped(argument) +
                                       "\": it is none of its values: give require, prefer or off");
}

FolderSnapshot::FolderSnapshot(SnapshotMode mode, const std::vector<WString>& folders,
                               const LibraryFailures& library)
    : m_originals(folders), m_begun(HostFileClock()) {
    if (mode == SnapshotMode::Off) {
        ReadAsTheyAre();
        return;
    }
    m_held = true;
    try {
        Take(mode, library);
    } catch (const Failure& failure) {
        GiveBack();
        if (mode == SnapshotMode::Require) {
            throw;
        }
        ReadAsTheyAre();
        m_note = failure.what();
    } catch (...) {
        GiveBack();
        throw;
    }
}

FolderSnapshot::~FolderSnapshot() {
    Release();
}

void FolderSnapshot::Take(SnapshotMode mode, const LibraryFailures& library) {
    const PolicyScope policy(mode == SnapshotMode::Prefer, &m_uses);
    std::vector<MetaVolVssInfo> entries(m_originals.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].strMetaPath = m_originals[i];
    }
    m_volumes.AddMetaFileVol(entries);
    if (const int code = m_volumes.CreateSnapshotForMetaVol()) {
        throw Refusal(mode, code, library);
    }
    m_volumes.GetMetaFileVolSnapshot(entries);
    for (const MetaVolVssInfo& entry : entries) {
        if (entry.strSnapshotDevice.empty()) {
            throw Refusal(mode, static_cast<int>(ERROR_NOT_SUPPORTED), library);
        }
        m_folders.push_back(PlaceOf(entry));
    }
    TellUses(entries);
}

const vsswrapper::VssProviderUse* FolderSnapshot::LiveUse(const MetaVolVssInfo& entry) const {
    const auto use = std::find_if(m_uses.begin(), m_uses.end(), [&](const auto& it) {
        return it.strVolumeName == entry.strVolumeName && it.strProvider == WIDE("live");
    });
    return use == m_uses.end() ? nullptr : &*use;
}

// A live view may show the volume through another mount point, below which other volumes may be
// mounted than below the folder's own: the folder itself is the same and safe.
WString FolderSnapshot::PlaceOf(const MetaVolVssInfo& entry) {
    WString folder = WithSeparator(entry.strMetaPath);
    if (LiveUse(entry) != nullptr) {
        return folder;
    }
    const WString device = WithSeparator(entry.strSnapshotDevice);
    if (std::find(m_devices.begin(), m_devices.end(), device) == m_devices.end()) {
        m_devices.push_back(device);
    }
    if (!IsOn(folder, entry.strVolumePath)) {
        throw Failure(ExitCode::NoSnapshot,
                      "cannot find " + Quoted(entry.strMetaPath) + " in the snapshot of " +
                          Quoted(entry.strVolumePath) +
                          ": it does not begin with the place where its volume is mounted: name "
                          "it by a path that does");
    }
    return device + folder.substr(entry.strVolumePath.size());
}

void FolderSnapshot::TellUses(const std::vector<MetaVolVssInfo>& entries) {
    std::vector<std::string> providers;
    for (const vsswrapper::VssProviderUse& use : m_uses) {
        const std::string name = HostDisplayText(use.strProvider);
        if (std::find(providers.begin(), providers.end(), name) == providers.end()) {
            providers.push_back(name);
            m_provider += (m_provider.empty() ? "" : ", ") + name;
        }
    }
    std::vector<WString> live;
    int refusal = 0;
    for (const MetaVolVssInfo& entry : entries) {
        if (const vsswrapper::VssProviderUse* const use = LiveUse(entry)) {
            live.push_back(entry.strMetaPath);
            refusal = refusal != 0 ? refusal : use->nRefusal;
        }
    }
    if (!live.empty()) {
        m_note = "reading " + NamesOf(live) + " without a snapshot: " +
                 (refusal != 0 ? Reason(refusal) : "nothing here takes snapshots of such a volume");
    }
}

// The library's code says nothing about a disk that it refuses.
Failure FolderSnapshot::Refusal(SnapshotMode mode, int code, const LibraryFailures& library) const {
    const std::string action = "cannot take a snapshot of " + NamesOf(m_originals);
    const std::string remedy =
        mode == SnapshotMode::Require ? SnapshotRemedy(code) : "reading without one";
    const std::string problem = code == SYNC_EC_FAILED ? DiskProblem(m_originals) : "";
    if (!problem.empty()) {
        return {ExitCode::NoSnapshot, code, action + ": " + problem + ": " + remedy};
    }
    return library.FailureOf(ExitCode::NoSnapshot, code, action, remedy);
}

void FolderSnapshot::ReadAsTheyAre() {
    m_folders.clear();
    std::transform(m_originals.begin(), m_originals.end(), std::back_inserter(m_folders),
                   WithSeparator);
    m_provider = "off";
}

// Deletes what was taken, as far as that goes.
void FolderSnapshot::GiveBack() {
    m_volumes.DeleteVssSnapShot();
    m_held = false;
}

// The library does not report whether it could delete.
std::uint64_t FolderSnapshot::Release() {
    if (!m_held) {
        return 0;
    }
    GiveBack();
    return static_cast<std::uint64_t>(std::count_if(m_devices.begin(), m_devices.end(), Remains));
}
