#include <gtest/gtest.h>

#include <thread>

#include "fenwickel/VSSProviderPolicy.h"
#include "fenwickel/VSSWrapper.h"
#include "platform/Platform.h"

namespace {

using vsswrapper::IVSSMgrFactory;
using vsswrapper::VssProviderUse;

// A volume that nothing but the live view serves: /proc, or on Windows one that does not exist.
WString VolumeWithoutSnapshots() {
    WCHAR name[MAX_PATH];
    return GetVolumeNameForVolumeMountPointW(WIDE("\\proc\\"), name, MAX_PATH)
               ? name
               : WIDE("\\\\?\\Volume{00000000-0000-0000-0000-000000000000}\\");
}

// One manager and the vector of the policy under which it was got.
struct Taker {
    Taker() : manager(IVSSMgrFactory::GetFactory()->GetVSSBackupMgr()) {}
    explicit Taker(bool allowLiveView) {
        vsswrapper::SetProviderPolicy(allowLiveView, &uses);
        manager = IVSSMgrFactory::GetFactory()->GetVSSBackupMgr();
    }
    Taker(const Taker&) = delete;
    Taker& operator=(const Taker&) = delete;
    ~Taker() {
        manager->UninitBackup();
        IVSSMgrFactory::GetFactory()->ReleaseBackupMgr();
        vsswrapper::SetProviderPolicy(false, nullptr);
    }

    bool Init() { return manager->InitBackup(0, 0, 5, false, nullptr) == 0; }
    bool Take() {
        WString set;
        return manager->CreateSnapshot({VolumeWithoutSnapshots()}, set) == 0;
    }

    std::vector<VssProviderUse> uses;
    vsswrapper::IVSSBackupMgrInterface* manager = nullptr;
};

TEST(ProviderPolicy, BelongsToTheManager) {
    Taker live(true);
    Taker strict(false);
    EXPECT_TRUE(live.Init());
    EXPECT_TRUE(strict.Init());
    EXPECT_TRUE(live.Take());
    EXPECT_FALSE(strict.Take());
    ASSERT_EQ(live.uses.size(), 1U);
    EXPECT_EQ(live.uses[0].strProvider, WIDE("live"));
    EXPECT_TRUE(strict.uses.empty());
}

TEST(ProviderPolicy, ReachesTheCallingThreadOnly) {
    Taker live(true);
    std::thread([] {
        Taker unasked;
        EXPECT_TRUE(unasked.Init());
        EXPECT_FALSE(unasked.Take());
        Taker alsoLive(true);
        EXPECT_TRUE(alsoLive.Init());
        EXPECT_TRUE(alsoLive.Take());
        EXPECT_EQ(alsoLive.uses.size(), 1U);
    }).join();
    EXPECT_TRUE(live.uses.empty());
    Taker underTheSame;
    EXPECT_TRUE(underTheSame.Init());
    EXPECT_TRUE(underTheSame.Take());
    EXPECT_EQ(live.uses.size(), 1U);
}

}  // namespace
