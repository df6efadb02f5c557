// A sync of a btrfs folder: what it reads, and what becomes of its snapshots. Needs root.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <thread>

#include "../CliFixture.h"
#include "snapshot/posix/BtrfsDisk.h"

namespace {

namespace fs = std::filesystem;

class SyncBtrfs : public CliFixture {
protected:
    static void SetUpTestSuite() { s_disk.emplace(); }
    static void TearDownTestSuite() { s_disk.reset(); }

    void SetUp() override {
        if (!s_disk->IsReady()) {
            GTEST_SKIP() << kNoBtrfs;
        }
        fs::create_directories(folder / "sub");
        WriteBytes(folder / "a", "1");
        WriteBytes(folder / "sub/b", "22");
    }
    void TearDown() override {
        if (s_disk->IsReady()) {
            EXPECT_EQ(Ours(), 0);
            fs::remove_all(folder);
        }
    }

    ToolResult Sync(const std::string& to, const std::string& more) const {
        return Run("sync --state state --to \"" + to + "\" " + more + " " + folder.string());
    }

    // Snapshots that lie beside the folder.
    static long Ours() { return std::distance(fs::directory_iterator(s_disk->path()), {}) - 1; }

    // Kills a run while its uploader is at work, and the uploader with it.
    void KillMidway() const {
        fs::remove("at-work");
        const pid_t run = fork();
        if (run == 0) {
            execl(FENWICKEL_TOOL, "fenwickel", "sync", "--force-all", "--state", "state", "--to",
                  "cmd:sh -c 'echo $$ >at-work; exec sleep 1000' {list}", folder.c_str(), nullptr);
            _exit(127);
        }
        while (!ReadBytes("at-work").ends_with('\n')) {
            ASSERT_EQ(waitpid(run, nullptr, WNOHANG), 0) << "the run ended early";
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const pid_t uploader = std::stoi(ReadBytes("at-work"));
        kill(run, SIGKILL);
        waitpid(run, nullptr, 0);
        kill(uploader, SIGKILL);  // which holds the lock of the state as well, until it is gone
    }

    static std::optional<BtrfsDisk> s_disk;
    const fs::path folder = s_disk->path() / "folder";
};

std::optional<BtrfsDisk> SyncBtrfs::s_disk;

// Every file below the folder with its bytes.
std::map<std::string, std::string> Content(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files[entry.path().lexically_relative(folder).string()] = ReadBytes(entry.path());
        }
    }
    return files;
}

TEST_F(SyncBtrfs, TheCopyIsThatOfTheSnapshot) {
    for (const char* const change : {"first", "second"}) {
        WriteBytes(folder / "a", change);
        const ToolResult sent = Sync("rsync:copy", "");
        EXPECT_EQ(sent.exitCode, 0) << sent.err;
        EXPECT_NE(sent.out.find("btrfs"), std::string::npos) << sent.out;
        EXPECT_EQ(Content("copy"), Content(folder));
    }
    WriteBytes(folder / "a", "third");
    const std::string source = folder.string();
    const ToolResult seen =
        Sync("cmd:sh -c 'echo later >" + source + "/a; cp {folder}/a seen' {list}", "--force-all");
    EXPECT_EQ(seen.exitCode, 0) << seen.err;
    EXPECT_EQ(ReadBytes("seen") + ReadBytes(folder / "a"), "thirdlater\n");
    EXPECT_EQ(Sync("cmd:false {list}", "--force-all").exitCode, 10);  // and no snapshot is left
}

TEST_F(SyncBtrfs, ASubvolumeBelowIsRefusedByNameOrSkipped) {
    const fs::path nested = folder / "sub/nested";
    ASSERT_TRUE(Shell("btrfs subvolume create " + nested.string()));
    WriteBytes(nested / "file", "1");
    const ToolResult refused = Sync("rsync:copy", "");
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_NE(refused.err.find('"' + nested.string() + '"'), std::string::npos) << refused.err;
    EXPECT_FALSE(fs::exists("copy"));
    for (const char* const mode : {"require", "off"}) {
        const ToolResult sent = Sync("rsync:copy", std::string("--skip-nested --snapshot ") + mode);
        EXPECT_EQ(sent.exitCode, 0) << sent.err;
        EXPECT_EQ(Content("copy"),
                  (std::map<std::string, std::string>{{"a", "1"}, {"sub/b", "22"}}));
    }
    ASSERT_TRUE(Shell("btrfs subvolume delete " + nested.string()));
}

TEST_F(SyncBtrfs, WhatAKilledRunLeavesIsFoundAndDeleted) {
    for (const bool prune : {true, false}) {
        KillMidway();
        ASSERT_EQ(Ours(), 1);
        const std::string listed = Run("snapshots " + folder.string()).out;
        EXPECT_TRUE(listed.starts_with(s_disk->path().string() + "/.fenwickel-snapshot-"))
            << listed;
        EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 1) << listed;
        // All volumes: this one is mounted twice, and counts once.
        const std::size_t slash = listed.rfind('/');
        const std::string name = listed.substr(slash, listed.size() - slash - 1);
        ASSERT_TRUE(Shell("mkdir -p twice && mount --bind " + s_disk->path().string() + " twice"));
        const std::string json = Run("snapshots --json").out;
        const std::string line = name + "\",\"deleted\":false}\n";
        EXPECT_NE(json.find(line), std::string::npos) << json;
        EXPECT_EQ(json.find(line), json.rfind(line)) << json;
        ASSERT_TRUE(Shell("umount twice"));
        if (prune) {
            EXPECT_EQ(Run("snapshots --prune " + folder.string()).out, "deleted " + listed);
            EXPECT_EQ(Run("snapshots " + folder.string()).out, "");
            EXPECT_EQ(Ours(), 0);
        }
        const ToolResult sent = Sync("rsync:copy", "--force-all --lock-wait 60");
        EXPECT_EQ(sent.exitCode, 0) << sent.err;
        EXPECT_EQ(Content("copy"), Content(folder));
        EXPECT_EQ(Ours(), 0);
    }
}

// What another account locks and plants on the volume stops no run.
TEST_F(SyncBtrfs, AStrangerOnTheVolumeStopsNothing) {
    KillMidway();
    const Stranger stranger(s_disk->path());
    ASSERT_TRUE(stranger.IsReady());
    const ToolResult sent = Sync("rsync:copy", "--force-all --lock-wait 60 --snapshot require");
    EXPECT_EQ(sent.exitCode, 0) << sent.err;
    EXPECT_EQ(Content("copy"), Content(folder));
    EXPECT_EQ(Run("snapshots --prune " + folder.string()).out, "");  // the run has done that
}

// Where no snapshot can be taken: what a run that requires one says, and what one that only
// prefers one reads.
TEST_F(SyncBtrfs, WithoutASnapshot) {
    fs::create_directory("memory");
    const struct {
        const char* before;
        std::string source;
        std::string after;
        const char* words;
        const char* provider;
    } cases[] = {
        {"mount -t tmpfs none memory", "memory", "umount memory", "a disk in memory", "off"},
        {"mount -o remount,ro ", folder.string(), "mount -o remount,rw ",
         "Create Snapshot failed: The file system is read-only (19)", "live"},
    };
    for (const auto& test : cases) {
        const bool isDisk = test.source == folder.string();
        const std::string disk = isDisk ? s_disk->path().string() : "";
        ASSERT_TRUE(Shell(test.before + disk));
        const std::string sync = "sync --state state-of-" + std::string(test.provider) +
                                 " --to rsync:copy-" + test.provider + " --allow-empty --json ";
        const ToolResult refused = Run(sync + "--snapshot require " + test.source);
        EXPECT_EQ(refused.exitCode, 7);
        EXPECT_NE(refused.err.find(test.words), std::string::npos) << refused.err;
        EXPECT_NE(refused.err.find("--snapshot prefer"), std::string::npos) << refused.err;
        const ToolResult preferred = Run(sync + "--snapshot prefer " + test.source);
        EXPECT_EQ(preferred.exitCode, 0) << preferred.err;
        EXPECT_NE(preferred.out.find("\"snapshot\":\"" + std::string(test.provider)),
                  std::string::npos)
            << preferred.out;
        EXPECT_EQ(preferred.out.find("\"note\":\"\""), std::string::npos) << preferred.out;
        ASSERT_TRUE(Shell(test.after + disk));
    }
}

}  // namespace
