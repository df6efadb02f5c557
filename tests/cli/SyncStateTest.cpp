// What a state folder keeps between the runs of sync, how a pending run ends, and the brakes.
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

#include "CliFixture.h"
#include "system/Processes.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kFiles[] = {"tree/a", "tree/b", "tree/sub/c", "tree/sub/d"};

class SyncStateTest : public CliFixture {
protected:
    SyncStateTest() { MakeTree(); }

    // The same four files each time, also for a listing.
    static void MakeTree() {
        fs::remove_all("tree");
        fs::create_directories("tree/sub");
        for (const char* file : kFiles) {
            WriteBytes(file, "1");
            fs::last_write_time(file, fs::last_write_time("s") - std::chrono::hours(1));
        }
    }

    ToolResult Sync(const std::string& arguments = "tree") const {
        return Run("sync --state st --snapshot off " + arguments);
    }

    ToolResult End(const std::string& how) const { return Run(how + " --state st"); }

    Json Status() const {
        const ToolResult result = Run("status --json --state st");
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return Json::parse(result.out, nullptr, false);
    }

    void CommitTree() const {
        EXPECT_EQ(Sync().exitCode, 0);
        EXPECT_EQ(End("commit").exitCode, 0);
    }

    // Everything in the state folder but what tells of the past.
    static std::map<std::string, std::string> StateBytes() {
        auto files = Files();
        std::erase_if(files, [](const auto& file) {
            return !file.first.starts_with("./st") || file.first.ends_with(".Log") ||
                   file.first.ends_with("last.json");
        });
        return files;
    }

    static void PutBack(const std::map<std::string, std::string>& files) {
        fs::remove_all("st");
        for (const auto& [name, bytes] : files) {
            name == "./st" ? (void)fs::create_directory(name) : WriteBytes(name, bytes);
        }
    }

    static void Edit(const char* file, const std::string& from, const std::string& to) {
        std::string bytes = ReadBytes(file);
        const std::size_t at = bytes.find(from);
        ASSERT_NE(at, std::string::npos) << from << " in " << bytes;
        WriteBytes(file, bytes.replace(at, from.size(), to));
    }
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The file, cut and changed in ways that no writer of ours leaves. Both kinds of file are read by
// the same code, so one of them gets a few of these only: starting programs is slow on one system.
std::vector<std::string> Damaged(const std::string& whole) {
    std::vector<std::string> all = {"", "[]", whole.substr(0, whole.size() / 2),
                                    std::string(300000, '['), std::string(64, '\0')};
    const std::pair<std::string, std::string> edits[] = {
        {"\"format\":1", "\"format\":2"},
        {"\"nested\":[]", "\"nested\":[[\"x\"]]"},
        {"\"nested\":[]", "\"nested\":[1]"},
        {"\"volumes\":[", "\"volumes\":[\"\","},
        {"\"nested\":[],", ""},
        {"\"nested\":[]", "\"nested\":[],\"more\":1"},
        {"\"nested\":[]", "\"nested\":{}"},
        {"\"destination\":\"", "\"destination\":\"\xFF"}};
    for (const auto& [from, to] : edits) {
        all.push_back(whole);
        all.back().replace(all.back().find(from), from.size(), to);
    }
    return all;
}

TEST_F(SyncStateTest, DamagedRecordsAreNamedAndLeftAlone) {
    CommitTree();
    fs::remove("tree/a");
    EXPECT_EQ(Sync().exitCode, 0);
    for (const char* name : {"run.json", "settings.json"}) {
        const std::string file = std::string("st/") + name;
        const std::string whole = ReadBytes(file);
        const std::vector<std::string> all = Damaged(whole);
        for (std::size_t i = 0; i < all.size(); i += file == "st/run.json" ? 5 : 1) {
            const std::string& bytes = all[i];
            WriteBytes(file, bytes);
            const ToolResult result = Run("status --json --state st");
            EXPECT_EQ(result.exitCode, 8) << bytes.substr(0, 500);
            EXPECT_TRUE(Contains(result.err, name) && Contains(result.err, "delete it"))
                << result.err;
            EXPECT_TRUE(Contains(result.out, "\"result\":8,")) << result.out;
        }
        const auto before = StateBytes();
        EXPECT_EQ(Sync().exitCode, 8) << file;
        if (file == "st/run.json") {
            EXPECT_EQ(End("commit").exitCode, 8);
            EXPECT_EQ(End("discard").exitCode, 8);
        }
        EXPECT_TRUE(StateBytes() == before) << file;
        WriteBytes(file, whole);
        if (file == "st/run.json") {
            EXPECT_EQ(End("discard").exitCode, 0);
        }
    }
    // What the messages say helps.
    EXPECT_EQ(Sync().exitCode, 0);
    fs::remove("st/run.json");
    EXPECT_EQ(Json::parse(Sync("--json tree").out)["deleted"], 1);
    EXPECT_EQ(End("discard").exitCode, 0);
    fs::remove("st/settings.json");
    EXPECT_EQ(Sync().exitCode, 8) << "a base of nobody knows what";
    fs::remove("st/base");
    EXPECT_EQ(Json::parse(Sync("--json tree").out)["new"], 3);
}

TEST_F(SyncStateTest, ADamagedSummaryStopsNothing) {
    CommitTree();
    WriteBytes("st/last.json", "{");
    const ToolResult status = Run("status --state st");
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_TRUE(Contains(status.out, "last run unknown")) << status.out;
    CommitTree();
    EXPECT_EQ(Status()["last_unchanged"], 4);
}

TEST_F(SyncStateTest, APendingRunWaitsForItsEnd) {
    const std::string first = Json::parse(Sync("--json tree").out)["run"];
    const ToolResult refused = Sync();
    EXPECT_EQ(refused.exitCode, 6);
    EXPECT_TRUE(Contains(refused.err, first)) << refused.err;
    const std::string second = Json::parse(Sync("--json --replace-pending tree").out)["run"];
    EXPECT_NE(first, second);
    const auto pending = StateBytes();
    for (const char* how : {"commit", "discard"}) {
        const ToolResult wrong = End(how + (" --run " + first));
        EXPECT_EQ(wrong.exitCode, 9);
        EXPECT_TRUE(Contains(wrong.err, first) && Contains(wrong.err, second)) << wrong.err;
    }
    EXPECT_TRUE(StateBytes() == pending);
    const std::string listing = ReadBytes("st/syncing");
    EXPECT_EQ(End("commit --run " + second).exitCode, 0);
    EXPECT_EQ(ReadBytes("st/base"), listing);
    EXPECT_EQ(End("commit").exitCode, 9);

    fs::remove("tree/a");
    const auto before = StateBytes();
    const std::string third = Json::parse(Sync("--json tree").out)["run"];
    const auto waiting = StateBytes();
    EXPECT_EQ(Sync("--replace-pending s").exitCode, 2);
    fs::rename("tree", "away");
    EXPECT_EQ(Sync("--replace-pending tree").exitCode, 5);
    fs::rename("away", "tree");
    EXPECT_TRUE(StateBytes() == waiting) << "a refused run replaces nothing";
    EXPECT_EQ(End("discard --run " + third).exitCode, 0);
    EXPECT_EQ(End("discard").exitCode, 9);
    EXPECT_EQ(Status()["last_outcome"], "discarded");
    auto after = StateBytes();
    EXPECT_EQ(after.erase("./st/unsettled"), 1U) << "somebody may have deleted what it listed";
    EXPECT_TRUE(after == before);
}

TEST_F(SyncStateTest, StatusTellsTheCommandsThatEndARun) {
    Sync();
    const std::string out = Run("status --state st").out;
    const std::size_t at = out.find("commit --state");
    EXPECT_EQ(Run(out.substr(at, out.find('\n', at) - at)).exitCode, 0) << out;
    EXPECT_TRUE(Contains(Run("status --state st").out, "outcome      committed"));
}

// Every state that a commit can be killed in, and what is none of them.
TEST_F(SyncStateTest, AnInterruptedCommitIsFinished) {
    CommitTree();
    fs::remove("tree/a");
    EXPECT_EQ(Sync().exitCode, 0);
    const std::string listing = ReadBytes("st/syncing");
    Edit("st/run.json", "\"pending\"", "\"committing\"");
    const auto whole = StateBytes();
    const auto remove = [](const char* file) { fs::remove(file); };
    const auto taken = [] { fs::rename("st/syncing", "st/base"); };
    const std::pair<const char*, std::function<void()>> states[] = {
        {"commit", [] { fs::create_directory("st/uploader.out.empty"); }},
        {"sync --snapshot off tree", [&] { remove("st/base"); }},
        {"sync --snapshot off tree", taken},
        {"commit", [&] { taken(), remove("st/deleted"), remove("st/unsettled"); }}};
    for (const auto& [command, damage] : states) {
        PutBack(whole);
        damage();
        EXPECT_EQ(Status()["stage"], "committing");
        const ToolResult refused = End("discard");
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_TRUE(Contains(refused.err, "fenwickel commit")) << refused.err;
        EXPECT_EQ(Run(std::string(command) + " --state st").exitCode, 0) << command;
        if (command[0] == 's') {
            EXPECT_EQ(End("discard").exitCode, 0);  // the run that came after it
        }
        EXPECT_EQ(ReadBytes("st/base"), listing);
        const auto names = StateBytes();
        EXPECT_TRUE(!names.contains("./st/run.json") && !names.contains("./st/syncing") &&
                    !names.contains("./st/deleted") && !names.contains("./st/send-0.list") &&
                    !names.contains("./st/uploader.out.empty"));
    }

    PutBack(whole);
    remove("st/base");
    remove("st/syncing");
    EXPECT_EQ(Sync().exitCode, 8);
    EXPECT_EQ(End("commit").exitCode, 8);
    PutBack(whole);
    WriteBytes("st/syncing", listing.substr(0, 530));
    EXPECT_EQ(End("commit").exitCode, 1);
    EXPECT_EQ(ReadBytes("st/base"), whole.at("./st/base"));
    PutBack(whole);
    Edit("st/run.json", "\"committing\"", "\"pending\"");
    remove("st/base");
    EXPECT_EQ(Sync().exitCode, 6) << "nobody has said that it is sent";
    EXPECT_FALSE(fs::exists("st/base"));
}

TEST_F(SyncStateTest, StatusTellsWhatIsGoingOnAndTouchesNothing) {
    Sync();
    const std::string id = Status()["pending"];
    Edit("st/run.json", "\"pending\"", "\"running\"");
    const auto before = Files();
    EXPECT_EQ(Status()["stage"], "cut short");
    EXPECT_EQ(End("commit").exitCode, 9);
    const HANDLE lock =
        CreateFileW(WidePath(fs::absolute("st/base.lock")).c_str(), GENERIC_READ | GENERIC_WRITE,
                    FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const std::string process = std::to_string(GetCurrentProcessId());
    DWORD written = 0;
    WriteFile(lock, process.data(), DWORD(process.size()), &written, nullptr);
    const Json status = Status();
    EXPECT_TRUE(status["active"] == true && status["stage"] == "running" && status["pending"] == "")
        << status;
    EXPECT_TRUE(Contains(Run("status --state st").out, "active: process " + process + "\n"));
    CloseHandle(lock);
    EXPECT_EQ(Status()["active"], false) << "the holder was killed";
    WriteBytes("st/base.lock", "");
    auto after = Files();
    after["./st/fenwickel.Log"] = before.at("./st/fenwickel.Log");
    EXPECT_TRUE(after == before);
    for (const char* state : {"s", "none", "tree/a"}) {
        EXPECT_EQ(Run(std::string("status --state ") + state).exitCode, 2) << state;
    }
}

struct Brake {
    const char* name;
    std::function<void()> change;
    std::string options;
    const char* text;  // "": passes
    std::string override;
};

TEST_F(SyncStateTest, BrakesStopAndAreOverridden) {
    CommitTree();
    const auto state = StateBytes();
    const auto remove = [](int count) {
        return [=] { std::for_each(kFiles, kFiles + count, [](auto file) { fs::remove(file); }); };
    };
    const auto empty = [] { fs::remove_all("tree"), fs::create_directory("tree"); };
    const auto rewrite = [](int count) {
        return [=] { std::for_each(kFiles, kFiles + count, [](auto f) { WriteBytes(f, "22"); }); };
    };
    const auto unsettle = [] {  // what an interrupted run may have sent, and is gone
        std::string paths;
        for (const char name : std::string("12345")) {
            paths += std::string("\0\0", 2) + name + std::string("\0\0\0", 3);
        }
        WriteBytes("st/unsettled", paths);
    };
    const auto edit = [](const char* from, const char* to) {
        return [=] { Edit("st/settings.json", from, to); };
    };
    const Brake brakes[] = {
        {"empty", empty, "", "--allow-empty", "--allow-empty --max-delete 4"},
        {"empty and allowed", empty, "--allow-empty", "--max-delete 4",
         "--allow-empty --max-delete 100%"},
        {"half", remove(2), "", "", ""},
        {"more than half", remove(3), "", "3 of 4 files", "--max-delete 3"},
        {"share", remove(2), "--max-delete 49%", "--max-delete 2", "--max-delete 50%"},
        {"number", remove(1), "--max-delete 0", "--max-delete 1", "--max-delete 25%"},
        {"empty and unsettled", [&] { fs::remove("st/base"), unsettle(), empty(); }, "",
         "had 5 files", "--allow-empty"},
        {"all changed", rewrite(4), "", "--force-all", "--force-all"},
        {"nearly all changed", rewrite(3), "", "", ""},
        {"another volume", edit("Volume{", "Volume{1"), "", "--accept-mounts", "--accept-mounts"},
        {"another mount", edit("nested\":[]", "nested\":[\"\\\\old\"]"), "",
         "gone: ", "--accept-mounts"},
    };
    for (const auto& [name, change, options, text, override] : brakes) {
        PutBack(state);
        MakeTree();
        change();
        const auto before = ReadBytes("st/base");
        const bool stops = *text != '\0';
        const ToolResult result = Sync(options + " tree");
        EXPECT_EQ(result.exitCode, stops ? 5 : 0) << name << result.err;
        EXPECT_TRUE(Contains(result.err, text)) << name << result.err;
        EXPECT_EQ(fs::exists("st/run.json"), !stops) << name;
        EXPECT_EQ(ReadBytes("st/base"), before) << name;
        if (stops) {
            EXPECT_EQ(Sync(override + " tree").exitCode, 0) << name;
        }
    }
}

// Known files that the uploader cannot take any more go from the copy, too.
TEST_F(SyncStateTest, WhatCannotBeCarriedAnyMoreCountsAsDeleted) {
    const auto write = [](const std::string& bytes) {
        for (const char8_t* name : {u8"tree/1\u2401", u8"tree/2\u2401", u8"tree/3\u2401"}) {
            WriteBytes(name, bytes);
        }
    };
    write("1");
    CommitTree();
    write("22");
    const ToolResult stopped = Sync("-n --to rclone:r: --max-delete 2 tree");
    EXPECT_EQ(stopped.exitCode, 5) << stopped.err;
    EXPECT_TRUE(Contains(stopped.err, "--max-delete 3 ")) << stopped.err;
    EXPECT_EQ(Sync("-n --to rclone:r: --max-delete 3 tree").exitCode, 0);
}

TEST_F(SyncStateTest, ACommitWaitsForWhoLooksIntoAListing) {
    CommitTree();
    Sync();
    const HANDLE reader =
        CreateFileW(WidePath(fs::absolute("st/base")).c_str(), GENERIC_READ, FILE_SHARE_READ,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    std::thread look([=] {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        CloseHandle(reader);
    });
    EXPECT_EQ(End("commit").exitCode, 0);
    look.join();
}

TEST_F(SyncStateTest, AMissingFolderIsNoEmptyOne) {
    EXPECT_EQ(Sync("none").exitCode, 1);
    CommitTree();
    fs::rename("tree", "away");
    const ToolResult result = Sync("--allow-empty --max-delete 100% --force-all tree");
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_TRUE(Contains(result.err, "mount it")) << result.err;
    EXPECT_EQ(Status()["last_exit_code"], 5);
}

TEST_F(SyncStateTest, WrongUsageTouchesNothing) {
    CommitTree();
    fs::create_directories("odd/base");
    fs::create_directory("other");
    const auto before = Files();
    const std::pair<std::string, const char*> cases[] = {
        {"sync --state \"\" tree", "--state"},
        {"sync --state tree/a tree", "not a folder"},
        {"sync --state odd --snapshot off other", "is a folder"},
        {"sync --state tree/in --snapshot off tree", "inside"},
        {"sync --state st --snapshot off other", "belongs to"},
        {"sync --state st --snapshot off tree other", "belongs to"},
        {"sync --state st --snapshot off --to \"\" tree", "--to is empty"},
        {"commit --state st --run \"\"", "--run is empty"},
        {"commit --state none", "does not exist"},
        {"discard --state tree/a", "tree"},
    };
    for (const auto& [command, text] : cases) {
        const ToolResult result = Run(command);
        EXPECT_EQ(result.exitCode, 2) << command << result.err;
        EXPECT_TRUE(Contains(result.err, text)) << command << result.err;
    }
    for (const char* limit : {"", "-1", "101%", "1.5", "10%%", "99999999999999999999"}) {
        EXPECT_EQ(Sync(std::string("\"--max-delete=") + limit + "\" tree").exitCode, 2) << limit;
    }
    auto after = Files();
    after["./st/fenwickel.Log"] = before.at("./st/fenwickel.Log");
    EXPECT_TRUE(after == before);
}

// What stands in a folder without a state, and what a run that was killed at its beginning leaves.
TEST_F(SyncStateTest, AFolderOfOtherThingsIsNoState) {
    using Names = std::vector<const char*>;
    const std::pair<Names, bool> folders[] = {
        {{"last.json"}, false},
        {{"settings.json", "run.json", "send-0.list"}, false},
        {{"lost+found", "notes"}, false},
        {{"lost+found"}, true},
        {{"fenwickel.Log"}, true},
        {{"base.lock"}, true},
        {{"base.lock", "run.json.new", "fenwickel.Log", "lost+found"}, true}};
    for (const auto& [names, isState] : folders) {
        fs::remove_all("st");
        fs::create_directory("st");
        for (const char* name : names) {
            name == std::string("lost+found") ? (void)fs::create_directory("st/lost+found")
                                              : WriteBytes(std::string("st/") + name, "");
        }
        const auto before = Files();
        const ToolResult result = Sync();
        EXPECT_EQ(result.exitCode, isState ? 0 : 2) << names[0] << result.err;
        if (!isState) {
            EXPECT_TRUE(Contains(result.err, "no state folder")) << result.err;
            EXPECT_TRUE(Files() == before) << names[0];
        }
        if (names[0] == std::string("last.json")) {
            for (const char* command : {"status", "commit", "discard"}) {
                EXPECT_EQ(End(command).exitCode, 2) << command;
            }
        }
    }
    // What a copy of a state needs to be one.
    fs::remove_all("st");
    CommitTree();
    for (const char* name : {"base.lock", "last.json"}) {
        fs::remove(std::string("st/") + name);
    }
    EXPECT_EQ(Sync().exitCode, 0);
}

// The names of the program in the working folder, and ways to name that folder in PATH.
TEST_F(SyncStateTest, ProgramsInTheWorkingFolderAreNotRun) {
    fs::create_directory("bin");
    for (const std::string name : {"rsync", "rclone", "bin/rsync", "bin/rclone"}) {
        fs::copy_file(FENWICKEL_TOOL, name);
        fs::copy_file(FENWICKEL_TOOL, name + ".exe");
    }
    std::vector<WCHAR> before(1U << 15U);
    GetEnvironmentVariableW(WIDE("PATH"), before.data(), DWORD(before.size()));
    const bool onWindows = HostOwnProgram().ends_with(".exe");
    const std::pair<std::string, const char*> rows[] = {
        {"rsync", ""}, {"rclone", "."}, {"rsync", "||"}, {"rsync", "bin"}, {"rclone", "./bin|."}};
    for (const auto& [program, path] : rows) {
        std::string list = path;
        std::replace(list.begin(), list.end(), '|', onWindows ? ';' : ':');
        SetEnvironmentVariableW(WIDE("PATH"), Wide(list).c_str());
        const ToolResult result = Sync("--to " + program + ":copy tree");
        EXPECT_EQ(result.exitCode, 10) << list << result.err;
        EXPECT_TRUE(Contains(result.err, "cannot run \"" + program)) << list << result.err;
    }
    SetEnvironmentVariableW(WIDE("PATH"),
                            Wide(fs::absolute("bin").make_preferred().string()).c_str());
    const ToolResult found = Sync("--to rsync:copy tree");
    EXPECT_TRUE(Contains(found.err, "rsync ended with ")) << found.err;
    SetEnvironmentVariableW(WIDE("PATH"), before.data());
}

}  // namespace
