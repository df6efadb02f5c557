// The exported face: factory and policy.
#include <memory>
#include <mutex>
#include <vector>

#include "BackupManager.h"

namespace vsswrapper {

namespace {

// For the managers that this thread gets next.
constinit thread_local Policy t_policy;
constinit IVSSMgrFactory g_factory;

// The managers in use. A process may run several backups at once, each in its own thread. Never
// destroyed: the end of the process neither deletes a snapshot nor waits.
struct Managers {
    std::mutex mutex;
    std::vector<std::unique_ptr<BackupManager>> all;
};

Managers& HandedOut() {
    static Managers* const managers = new Managers;
    return *managers;
}

}  // namespace

void SetProviderPolicy(bool allowLiveView, std::vector<VssProviderUse>* uses) {
    t_policy = {allowLiveView, uses};
}

IVSSMgrFactory* IVSSMgrFactory::GetFactory() {
    return &g_factory;
}

void IVSSMgrFactory::ReleaseFactory() {}

IVSSBackupMgrInterface* IVSSMgrFactory::GetVSSBackupMgr() {
    Managers& managers = HandedOut();
    const std::lock_guard lock(managers.mutex);
    return managers.all.emplace_back(std::make_unique<BackupManager>(t_policy)).get();
}

// Users do not say which manager they release, but shut it down first. Managers that are not shut
// down belong to other users.
void IVSSMgrFactory::ReleaseBackupMgr() {
    Managers& managers = HandedOut();
    const std::lock_guard lock(managers.mutex);
    std::erase_if(managers.all, [](const auto& manager) { return manager->IsShutDown(); });
}

}  // namespace vsswrapper
