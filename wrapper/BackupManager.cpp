#include "BackupManager.h"

#include "platform/Platform.h"

namespace vsswrapper {

namespace {

// The only kind of backup that leaves other backup programs undisturbed.
constexpr int kCopyBackup = 5;

}  // namespace

BackupManager::~BackupManager() {
    Forget();
}

int BackupManager::InitBackup(int selectComponents, int bootableState, int backupType,
                              bool partialFiles, void* context) {
    if (selectComponents != 0 || bootableState != 0 || backupType != kCopyBackup || partialFiles ||
        context != nullptr) {
        return static_cast<int>(ERROR_INVALID_PARAMETER);
    }
    m_isShutDown = false;
    m_providers = SnapshotProviders(m_policy.allowLiveView);
    return 0;
}

// The code of the first provider that tried and failed says more than that of a later one.
int BackupManager::CreateSnapshot(std::vector<WString> volumes, WString& snapshotSet) {
    if (!m_sets.empty()) {
        return static_cast<int>(ERROR_ALREADY_EXISTS);
    }
    int firstFailure = 0;
    for (const auto& provider : m_providers) {
        const int code = TakeServed(*provider, volumes);
        firstFailure = firstFailure != 0 ? firstFailure : code;
    }
    if (!volumes.empty()) {
        DeleteSnapshot(true);
        return firstFailure != 0 ? firstFailure : static_cast<int>(ERROR_NOT_SUPPORTED);
    }
    if (!m_sets.empty()) {
        snapshotSet = m_sets.front()->Identifier();
    }
    TellUses();
    return 0;
}

// Takes those of the volumes that the provider serves out of the vector, unless it fails.
int BackupManager::TakeServed(SnapshotProvider& provider, std::vector<WString>& volumes) {
    std::vector<WString> served;
    std::vector<WString> others;
    for (const WString& volume : volumes) {
        (provider.Serves(volume) ? served : others).push_back(volume);
    }
    if (served.empty()) {
        return 0;
    }
    int code = 0;
    std::unique_ptr<SnapshotSet> set = provider.Create(served, &code);
    if (set == nullptr) {
        for (const WString& volume : served) {
            m_refusals.emplace(volume, code);
        }
        return code;
    }
    Record(served, *set);
    m_sets.push_back(std::move(set));
    for (const WString& volume : served) {
        const auto refusal = m_refusals.find(volume);
        m_uses.push_back(
            {volume, provider.Name(), refusal == m_refusals.end() ? 0 : refusal->second});
    }
    volumes = std::move(others);
    return 0;
}

// Records name the volumes as the caller did: users compare the names letter by letter.
void BackupManager::Record(const std::vector<WString>& volumes, const SnapshotSet& set) {
    const std::vector<WString> devices = set.Devices();
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        m_records.push_back(new VssSnapshotProp{{}, devices.at(i), volumes[i]});
    }
}

void BackupManager::TellUses() {
    if (m_policy.uses != nullptr) {
        m_policy.uses->insert(m_policy.uses->end(), m_uses.begin(), m_uses.end());
    }
}

int BackupManager::DeleteSnapshot(bool force) {
    int firstFailure = 0;
    for (const auto& set : m_sets) {
        const int code = set->Delete(force);
        firstFailure = firstFailure != 0 ? firstFailure : code;
    }
    Forget();
    return firstFailure;
}

void BackupManager::Forget() {
    for (VssSnapshotProp* record : m_records) {
        delete record;
    }
    m_records.clear();
    m_uses.clear();
    m_refusals.clear();
    m_sets.clear();
}

int BackupManager::UninitBackup() {
    Forget();
    m_providers.clear();
    m_isShutDown = true;
    return 0;
}

}  // namespace vsswrapper
