#include "fenwickel/MetaVSS.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

#include "BackupManager.h"
#include "CapturedLog.h"
#include "TestSupport.h"

namespace {

using vsswrapper::IVSSMgrFactory;
using vsswrapper::VssSnapshotProp;

// The wrapper library of this test writes down how it was called, and fails where it is told to.
std::string g_calls;
std::string g_refuses;

VssSnapshotProp Record(char letter, const char* device) {
    return {{}, Wide(device), Wide(std::string("\\\\?\\Volume{") + letter + "}\\")};
}

// What every snapshot gives: C twice, one that differs in case alone, one that was not asked for.
VssSnapshotProp g_snapshots[] = {Record('C', "old"), Record('A', "a"), Record('b', "x"),
                                 Record('B', "b"),   Record('Q', "q"), Record('C', "c")};

int Note(const std::string& call, int result = 0) {
    g_calls += call + " ";
    return result;
}

class FakeManager final : public vsswrapper::UnusedSlots {
public:
    int InitBackup(int components, int bootable, int type, bool partial, void* context) override {
        const int flags = components + bootable + int{partial} + int{context != nullptr};
        return Note("Init:" + std::to_string(type + 100 * flags), g_refuses == "init" ? 7 : 0);
    }
    int CreateSnapshot(std::vector<WString> volumes, WString&) override {
        std::string letters;
        for (const WString& volume : volumes) {
            letters += Narrow(volume).at(11);
        }
        return Note("Create:" + letters, g_refuses == "create" ? -9 : 0);
    }
    std::vector<VssSnapshotProp*>* GetSnapshotProps() override { return &m_records; }
    int DeleteSnapshot(bool force) override { return Note(force ? "Delete" : "Delete?", 5); }
    int UninitBackup() override { return Note("Uninit", 5); }
    int SetInitOption(bool option) override { return Note(option ? "Option?" : "Option", 5); }

private:
    std::vector<VssSnapshotProp*> m_records = {&g_snapshots[0], &g_snapshots[1], &g_snapshots[2],
                                               &g_snapshots[3], &g_snapshots[4], &g_snapshots[5]};
} g_manager;

IVSSMgrFactory g_factory;

}  // namespace

IVSSMgrFactory* IVSSMgrFactory::GetFactory() {
    Note("Factory");
    return g_refuses == "factory" ? nullptr : &g_factory;
}
vsswrapper::IVSSBackupMgrInterface* IVSSMgrFactory::GetVSSBackupMgr() {
    Note("Mgr");
    return g_refuses == "manager" ? nullptr : &g_manager;
}
void IVSSMgrFactory::ReleaseBackupMgr() {
    Note("ReleaseMgr");
}
void IVSSMgrFactory::ReleaseFactory() {
    Note("ReleaseFactory");
}

namespace {

// One entry per letter, with the path "LETTER:\data" and the letter as its tag.
int Add(CMetaVSS& vss, const std::string& letters) {
    std::vector<MetaVolVssInfo> entries(letters.size());
    for (std::size_t i = 0; i < letters.size(); ++i) {
        entries[i].nTag = static_cast<std::uint32_t>(letters[i]);
        entries[i].strMetaPath = Wide(letters.substr(i, 1) + ":\\data");
    }
    return vss.AddMetaFileVol(entries);
}

// Tag, first letter of the volume path, drive type and device of all that is handed out.
std::string HandedOut(CMetaVSS& vss) {
    std::vector<MetaVolVssInfo> out(1);
    out[0].nTag = '?';
    EXPECT_EQ(vss.GetMetaFileVolSnapshot(out), 0);
    std::string text;
    for (const MetaVolVssInfo& entry : out) {
        text += static_cast<char>(entry.nTag) + Narrow(entry.strVolumePath).substr(0, 1) +
                std::to_string(entry.nDriveType) + Narrow(entry.strSnapshotDevice) + " ";
    }
    return text;
}

// "new" destroys the object, "+LETTERS" adds entries, "!STEP" is what fails from then on.
int Do(const std::string& step, std::optional<CMetaVSS>& vss) {
    if (step == "new") {
        vss.emplace();
    } else if (step[0] == '!') {
        g_refuses = step.substr(1);
    } else if (step[0] == '+') {
        return Add(*vss, step.substr(1));
    } else {
        return step == "create" ? vss->CreateSnapshotForMetaVol() : vss->DeleteVssSnapShot();
    }
    return 0;
}

TEST(MetaVss, States) {
    const std::string up = "Factory Mgr Option Init:5 ";
    const std::string down = "Uninit ReleaseMgr ReleaseFactory ";
    const std::string prepare = "[CMetaVSS::PrepareVSS]:failed to ";
    const std::string refused = ":\\data] can't be snapshot. its drive Type:";
    const struct {
        std::string steps;
        int code;  // of the last step
        std::string calls;
        std::string line = "";
        std::string handedOut = "?0 ";
    } rows[] = {{"delete create", 0, up + "Create: ", "", ""},
                {"delete", 0, "Delete " + down},
                {"+BAB +CD =Cold,Aa,bx,Bb,Qq,Cc", 0, ""},
                {"create", 0, up + "Create:BACD ", "", "BB3b AA3a BB3b CC3c DD3 "},
                {"delete", 0, "Delete " + down},
                {"delete +FA", 0, ""},
                {"create", 0, up + "Create:BACDF ", "", "BB3b AA3a BB3b CC3c DD3 FF3 AA3a "},
                {"new", 0, "Delete " + down},
                {"+AN create", 3, "", "GetVolumePathName for meta:[N:\\data] failed. EC:[3]."},
                {"new +RN create", -1, "", "The meta path:[R" + refused + "[2]."},
                {"new +AM create", -1, "", "The meta path:[M" + refused + "[4]."},
                {"new +E create", 87, "",
                 "GetVolumeNameForVolumeMountPoint for meta:[E:\\data] "
                 "volume:[E:\\] failed. EC:[87]."},
                {"new +A !factory create", -1, "Factory ", prepare + "get VSS factory."},
                {"delete !manager create", -1, "Factory Mgr ReleaseFactory ",
                 prepare + "get VSS backup manager."},
                {"delete !init create", 7, up, prepare + "initialize the vss.EC:[7]."},
                {"delete !create create", -9, down + up + "Create:A ",
                 "[CMetaVSS::TakeVssSnapShot]:Create Snapshot failed.EC:[-9]."},
                {"new", 0, down}};
    std::optional<CMetaVSS> vss(std::in_place);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.steps);
        const CapturedLog log;
        std::istringstream steps(row.steps);
        int code = 0;
        for (std::string step; steps >> step;) {
            code = Do(step, vss);
        }
        EXPECT_EQ(code, row.code);
        EXPECT_EQ(std::exchange(g_calls, {}), row.calls);
        EXPECT_EQ(log.Lines(), std::vector<std::string>(row.line.empty() ? 0 : 1, row.line));
        EXPECT_EQ(HandedOut(*vss), row.handedOut);
    }
}

TEST(MetaVss, CopiesAreMemberWiseAndNotOfWhatHoldsASnapshot) {
    CMetaVSS vss;
    Add(vss, "A");
    CMetaVSS copy(vss);
    vss = copy;
    Add(vss, "B");
    g_refuses.clear();
    EXPECT_EQ(copy.CreateSnapshotForMetaVol(), 0);
    EXPECT_EQ(HandedOut(copy), "AA3a ");
    EXPECT_DEBUG_DEATH({ const CMetaVSS shared(copy); }, "copied while");
}

}  // namespace
