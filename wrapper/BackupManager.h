// The backup manager over the providers of this system.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "Policy.h"
#include "SnapshotProvider.h"
#include "fenwickel/VSSProviderPolicy.h"
#include "fenwickel/VSSWrapper.h"

namespace vsswrapper {

// Answers 0 in every slot that users do not call.
class UnusedSlots : public IVSSBackupMgrInterface {
public:
    int Reserved1() override { return 0; }
    int Reserved3() override { return 0; }
    int Reserved4() override { return 0; }
    int Reserved5() override { return 0; }
    int Reserved6() override { return 0; }
    int Reserved8() override { return 0; }
    int Reserved10() override { return 0; }
    int Reserved11() override { return 0; }
    int Reserved12() override { return 0; }
    int Reserved13() override { return 0; }
    int Reserved14() override { return 0; }
    int Reserved15() override { return 0; }
    int Reserved16() override { return 0; }
    int Reserved17() override { return 0; }
    int Reserved18() override { return 0; }
    int Reserved20() override { return 0; }
    int Reserved21() override { return 0; }
    int Reserved22() override { return 0; }
    int Reserved23() override { return 0; }
    int Reserved24() override { return 0; }
    int Reserved25() override { return 0; }
    int Reserved26() override { return 0; }
    int Reserved27() override { return 0; }
    int Reserved28() override { return 0; }
    int Reserved29() override { return 0; }
    int Reserved30() override { return 0; }
    int Reserved31() override { return 0; }

protected:
    ~UnusedSlots() = default;
};

// Takes all volumes or none. Every volume goes to the first provider that serves it, and a provider
// gets all its volumes at once. When it fails, the next one that serves them is asked; when none is
// left, what the others took before is deleted.
class BackupManager final : public UnusedSlots {
public:
    // Keeps the policy for its life: a later one is for later managers.
    explicit BackupManager(const Policy& policy) : m_policy(policy) {}
    ~BackupManager();

    int InitBackup(int, int, int, bool, void*) override;
    int CreateSnapshot(std::vector<WString> volumes, WString& snapshotSet) override;
    std::vector<VssSnapshotProp*>* GetSnapshotProps() override { return &m_records; }
    int DeleteSnapshot(bool force) override;
    int UninitBackup() override;
    int SetInitOption(bool) override { return 0; }

    // Between UninitBackup and the next InitBackup. Any thread may ask.
    bool IsShutDown() const { return m_isShutDown; }

private:
    int TakeServed(SnapshotProvider& provider, std::vector<WString>& volumes);
    void Record(const std::vector<WString>& volumes, const SnapshotSet& set);
    void TellUses();
    void Forget();

    const Policy m_policy;
    std::atomic<bool> m_isShutDown{false};
    std::vector<std::unique_ptr<SnapshotProvider>> m_providers;
    std::vector<std::unique_ptr<SnapshotSet>> m_sets;
    std::vector<VssSnapshotProp*> m_records;  // owned
    std::vector<VssProviderUse> m_uses;       // reported once all volumes are taken
    std::map<WString, int> m_refusals;        // by volume, the code of the first that failed
};

}  // namespace vsswrapper
