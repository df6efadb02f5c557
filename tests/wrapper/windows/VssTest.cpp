// The Volume Shadow Copy Service replaced by a stand-in in which a chosen step fails. In C the
// interfaces are tables of functions, of which only those in use need be filled in.
#define CINTERFACE
#include <gtest/gtest.h>

#include <algorithm>

#include "windows/VssProvider.h"

namespace {

using Calls = std::vector<std::string>;
using Backup = IVssBackupComponents;

// An asynchronous step can also begin well and then end badly, not be waited for, or not end.
enum class At { Once, End, Wait, Never };

struct Fake {
    std::string failing;
    At at = At::Once;
    HRESULT code = S_OK;
    Calls calls = {};
    int held = 0;  // references and property records not given back
    bool cancelled = false;
} g_fake;

HRESULT Fail(const std::string& step, At at, HRESULT otherwise = S_OK) {
    return g_fake.failing == step && g_fake.at == at ? g_fake.code : otherwise;
}

HRESULT Call(const char* step) {
    g_fake.calls.push_back(step);
    return Fail(step, At::Once);
}

HRESULT Give(const char* step) {
    const HRESULT result = Call(step);
    return g_fake.held += SUCCEEDED(result), result;
}

struct FakeStep : IVssAsync {
    const char* name;
    bool early;  // found pending at first, where there is time to ask again
} g_step;

IVssAsyncVtbl StepTable() {
    IVssAsyncVtbl table{};
    table.Release = [](IVssAsync*) -> ULONG { return --g_fake.held, 0; };
    table.Cancel = [](IVssAsync*) -> HRESULT { return g_fake.cancelled = true, S_OK; };
    table.Wait = [](IVssAsync*, DWORD) { return Fail(g_step.name, At::Wait); };
    table.QueryStatus = [](IVssAsync*, HRESULT* state, INT*) {
        const bool pending = g_step.early || Fail(g_step.name, At::Never) != S_OK;
        g_step.early = false;
        *state = pending ? VSS_S_ASYNC_PENDING : Fail(g_step.name, At::End, VSS_S_ASYNC_FINISHED);
        return S_OK;
    };
    return table;
}

HRESULT Begin(const char* name, IVssAsync** step) {
    static IVssAsyncVtbl table = StepTable();
    g_step = {{&table}, name, g_fake.at != At::Never};
    *step = &g_step;
    return Give(name);
}

IVssBackupComponentsVtbl BackupTable() {
    IVssBackupComponentsVtbl table{};
    table.Release = [](Backup*) -> ULONG { return --g_fake.held, 0; };
    table.InitializeForBackup = [](Backup*, BSTR) { return Call("initialize"); };
    table.SetContext = [](Backup*, LONG) { return Call("context"); };
    table.SetBackupState = [](Backup*, BYTE some, BYTE boot, VSS_BACKUP_TYPE type, BYTE part) {
        return Call(!some && !boot && type == VSS_BT_COPY && !part ? "state" : "other state");
    };
    table.IsVolumeSupported = [](Backup*, VSS_ID, VSS_PWSZ, BOOL* supported) {
        return *supported = g_fake.failing != "unsupported", Call("supported");
    };
    table.GatherWriterMetadata = [](Backup*, IVssAsync** step) { return Begin("gather", step); };
    table.StartSnapshotSet = [](Backup*, VSS_ID* set) { return set->Data1 = 9, Call("start"); };
    table.AddToSnapshotSet = [](Backup*, VSS_PWSZ volume, VSS_ID, VSS_ID* copy) {
        return copy->Data1 = *volume, Call("add");
    };
    table.PrepareForBackup = [](Backup*, IVssAsync** step) { return Begin("prepare", step); };
    table.DoSnapshotSet = [](Backup*, IVssAsync** step) { return Begin("do", step); };
    table.GetSnapshotProperties = [](Backup*, VSS_ID copy, VSS_SNAPSHOT_PROP* properties) {
        static WCHAR device[] = L"copy of ?";
        device[8] = static_cast<WCHAR>(copy.Data1);
        properties->m_pwszSnapshotDeviceObject = device;
        return Give("properties");
    };
    table.BackupComplete = [](Backup*, IVssAsync** step) { return Begin("complete", step); };
    table.AbortBackup = [](Backup*) { return Call("abort"); };
    table.DeleteSnapshots = [](Backup*, VSS_ID set, VSS_OBJECT_TYPE, BOOL, LONG*, VSS_ID*) {
        return Call(set.Data1 == 9 ? "delete" : "delete other");
    };
    return table;
}

std::unique_ptr<SnapshotProvider> Provider() {
    const auto create = [](Backup** backup) {
        static IVssBackupComponentsVtbl table = BackupTable();
        static Backup only{&table};
        return *backup = &only, Give("create");
    };
    const auto free = [](VSS_SNAPSHOT_PROP*) { --g_fake.held; };
    return NewVssProvider({create, free, std::chrono::hours(g_fake.at == At::Never ? 0 : 1)});
}

constexpr HRESULT kTimeout = static_cast<HRESULT>(0x800705B4);

// A set that the program does not delete goes as well.
TEST(Vss, EveryFailureIsToldAndLeavesNothingBehind) {
    const Calls steps = {"create", "initialize", "context", "state", "gather",
                         "start",  "add",        "prepare", "do",    "properties"};
    const Calls asyncs = {"gather", "prepare", "do"};
    const auto codes = {E_ACCESSDENIED, E_OUTOFMEMORY, VSS_E_PROVIDER_VETO,
                        VSS_E_SNAPSHOT_SET_IN_PROGRESS, VSS_E_MAXIMUM_NUMBER_OF_SNAPSHOTS_REACHED};
    const auto check = [&](std::size_t step, At at, HRESULT code) {
        g_fake = {steps[step], at, code};
        const bool fails =
            at == At::Once || std::count(asyncs.begin(), asyncs.end(), steps[step]) == 1;
        Calls calls = steps;
        calls.resize(fails ? step + 1 : steps.size());
        calls.insert(calls.end(), calls.size() > 4, "abort");
        calls.insert(calls.end(), calls.size() > steps.size(), "delete");
        int result = 1;
        Provider()->Create({L"A"}, &result);
        EXPECT_EQ(result, fails ? code : S_OK) << steps[step];
        EXPECT_EQ(g_fake.calls, calls) << steps[step];
        EXPECT_EQ(g_fake.held, 0) << steps[step];
        EXPECT_TRUE(g_fake.cancelled || !fails || at < At::Wait) << steps[step];
    };
    for (std::size_t step = 0; step < steps.size(); ++step) {
        for (const HRESULT code : codes) {
            for (const At at : {At::Once, At::End, At::Wait}) {
                check(step, at, code);
            }
        }
        check(step, At::End, VSS_S_ASYNC_CANCELLED);
        check(step, At::Never, kTimeout);
    }
}

TEST(Vss, OneSetHoldsAllVolumesAndItsDeletionReleasesIt) {
    const std::tuple<Fake, int, Calls> cases[] = {
        {{""}, 0, {"complete", "delete"}},
        {{"complete", At::Once, E_FAIL}, E_FAIL, {"complete", "abort", "delete"}},
        {{"complete", At::Never, kTimeout}, kTimeout, {"complete", "abort", "delete"}},
        {{"delete", At::Once, E_FAIL}, E_FAIL, {"complete", "delete"}},
        {{"delete", At::Once, VSS_E_OBJECT_NOT_FOUND}, 0, {"complete", "delete"}}};
    for (const auto& [failure, expected, calls] : cases) {
        g_fake = failure;
        int code = 1;
        const auto set = Provider()->Create({L"A", L"B"}, &code);
        ASSERT_EQ(code, 0);
        EXPECT_EQ(std::count(g_fake.calls.begin(), g_fake.calls.end(), "start"), 1);
        EXPECT_EQ(set->Devices(), (std::vector<WString>{L"copy of A\\", L"copy of B\\"}));
        g_fake.calls.clear();
        EXPECT_EQ(set->Delete(true), expected);
        EXPECT_EQ(g_fake.calls, calls);
        EXPECT_EQ(g_fake.held, 0);
    }
}

TEST(Vss, AVolumeIsLeftToOthersOnlyWhenTheServiceSaysSo) {
    for (const char* failing : {"", "unsupported", "supported", "create"}) {
        g_fake = {failing, At::Once, E_FAIL};
        EXPECT_NE(Provider()->Serves(L"A"), g_fake.failing == "unsupported");
    }
}

}  // namespace
