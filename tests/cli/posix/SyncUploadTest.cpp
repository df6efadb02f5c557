// The way of files to the destination: real rsync, real rclone, and commands.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

#include "../CliFixture.h"
#include "../TreeCompare.h"
#include "system/Processes.h"

namespace {

namespace fs = std::filesystem;

// Edits a tree at random, but the same way in every run.
class RandomEdits {
public:
    explicit RandomEdits(fs::path root) : m_root(std::move(root)) {}

    void Do() {
        const fs::path path = SomePath();
        switch (m_random() % 8) {
            case 0:
                fs::remove_all(path, m_ignored);
                break;
            case 1:
                MakeRoom(path);
                fs::create_symlink("target " + std::to_string(m_random() % 3), path);
                break;
            case 2:
                Move(path);
                break;
            default:
                MakeRoom(path);
                // No two writes have one size.
                WriteBytes(path, std::string(++m_writes, 'x'));
                m_newest = path;
        }
    }

    // Other bytes of the same number into the newest file, often within the second of its last
    // writing.
    void Rewrite() const {
        if (fs::is_regular_file(fs::symlink_status(m_newest))) {
            WriteBytes(m_newest, std::string(m_writes, ReadBytes(m_newest)[0] == 'x' ? 'y' : 'x'));
        }
    }

private:
    // Few names, so that paths meet again as files, folders and links.
    fs::path SomePath() {
        static const std::vector<std::string> names = {
            "#hash",    ";semicolon",  "-dash",   " blanks ", "new\nline", "twin",     "Twin",
            "\xff\xfe", "back\\slash", "[a-z]*?", "dot.",     "end\r",     "e\u0301",  "\u00e9",
            "a:b",      "\u201bq",     "\u240a",  "{list}",   "$HOME `x`", "--delete", "plain"};
        static const std::string longest(255, 'l');
        if (m_random() % 20 == 0) {
            return m_root / longest;
        }
        fs::path path = m_root;
        for (std::size_t depth = m_random() % 8 == 0 ? 1 : 2 + m_random() % 2; depth > 0; --depth) {
            path /= names[m_random() % names.size()];
        }
        return path;
    }

    // Folders above the path, in the place of whatever is there; nothing at the path.
    void MakeRoom(const fs::path& path) const {
        fs::path above = m_root;
        for (const fs::path& name : path.parent_path().lexically_relative(m_root)) {
            above /= name;
            if (!fs::is_directory(fs::symlink_status(above))) {
                fs::remove(above);
                fs::create_directory(above);
            }
        }
        fs::remove_all(path);
    }

    void Move(const fs::path& to) {
        const fs::path from = SomePath();
        const std::string relative = to.lexically_relative(from).string();
        if (fs::is_regular_file(fs::symlink_status(from)) && relative.starts_with("..")) {
            MakeRoom(to);
            if (fs::exists(fs::symlink_status(from))) {
                fs::rename(from, to);
            }
        }
    }

    const fs::path m_root;
    std::error_code m_ignored;  // nothing there, or a file above it
    std::mt19937 m_random{20261123};
    std::size_t m_writes = 0;
    fs::path m_newest;
};

bool RcloneCarries(const std::string& path, const std::string& what) {
    return !what.starts_with("link") && path.find('\n') == std::string::npos &&
           !path.ends_with('\r') && path.find("\u201b") == std::string::npos &&
           path.find("\u240a") == std::string::npos;
}

class SyncUploadTest : public CliFixture {
protected:
    SyncUploadTest() {
        WriteBytes("rclone.conf", "");
        setenv("RCLONE_CONFIG", fs::absolute("rclone.conf").c_str(), 1);
        setenv("RCLONE_DRY_RUN", "true", 1);  // of which no run may take notice
        // A remote shell that stays here: RSYNC_RSH HOST WORDS... When kill-at holds so many bytes
        // as there were calls it kills the tool, whose rsync has started it.
        WriteBytes("rsh",
                   "#!/bin/sh\nshift\nsh -c \"$*\"\nended=$?\nprintf x >>calls\n"
                   "if cmp -s calls kill-at; then kill -9 $(cut -d' ' -f4 /proc/$PPID/stat); fi\n"
                   "exit $ended\n");
        fs::permissions("rsh", fs::perms::owner_all);
        setenv("RSYNC_RSH", fs::absolute("rsh").c_str(), 1);
    }
    ~SyncUploadTest() override {
        unsetenv("RCLONE_CONFIG");
        unsetenv("RCLONE_DRY_RUN");
        unsetenv("RSYNC_RSH");
    }

    ToolResult Sync(const std::string& to, const std::string& more = "") const {
        return Run(kSync + more + " --to '" + to + "' tree");
    }

    // Ten rounds of edits; carries says what the program is able to carry.
    void ExpectEqualCopies(const std::string& to,
                           bool (*carries)(const std::string&, const std::string&)) const {
        RandomEdits edits("tree");
        for (int round = 1; round <= 10; ++round) {
            edits.Rewrite();
            for (int edit = 0; edit < (round == 1 ? 200 : 40); ++edit) {
                edits.Do();
            }
            auto expected = TreeOf("tree");
            const std::size_t refused = std::erase_if(
                expected, [&](const auto& entry) { return !carries(entry.first, entry.second); });
            const ToolResult result = Sync(to);
            ASSERT_EQ(result.exitCode, 0) << "round " << round << ": " << result.err;
            ASSERT_EQ(Differences(expected, TreeOf("the copy")), "") << "round " << round;
            ASSERT_EQ(Count(result.err, "not carried: "), refused) << result.err;
            ASSERT_GT(expected.size(), 20U);
        }
        const ToolResult again = Sync(to, " --json");
        EXPECT_NE(again.out.find("\"sent\":0,\"removed\":0"), std::string::npos) << again.out;
    }

    // Starts a sync whose command waits, and returns once it does.
    pid_t StartWaiting() const {
        WriteBytes("wait.sh",
                   "trap 'echo >ended; exit 9' TERM\necho >started\n"
                   "until [ -e go ]; do sleep 0.01; done\n");
        const pid_t tool = fork();
        if (tool == 0) {
            execl(FENWICKEL_TOOL, "fenwickel", "sync", "--state", "st", "--snapshot", "off", "--to",
                  "cmd:sh wait.sh {list}", "tree", nullptr);
            _exit(127);
        }
        while (!fs::exists("started") && HostProcessRuns(static_cast<std::uint32_t>(tool))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return tool;
    }

    static constexpr const char* kSync = "sync --state st --snapshot off --max-delete 100%";
};

TEST_F(SyncUploadTest, RsyncKeepsACopyEqual) {
    ExpectEqualCopies("rsync:the copy", [](const auto&, const auto&) { return true; });
}

TEST_F(SyncUploadTest, RsyncKeepsARemoteCopyEqual) {
    ExpectEqualCopies("rsync:host:" + fs::absolute("the copy").string(),
                      [](const auto&, const auto&) { return true; });
}

TEST_F(SyncUploadTest, RcloneKeepsACopyEqualButForWhatItCannotCarry) {
    ExpectEqualCopies("rclone:the copy", RcloneCarries);
}

// Their files went in an earlier run, which leaves the folders.
TEST_F(SyncUploadTest, AFileMayComeWhereFoldersWereEmptiedLongAgo) {
    for (const char* to : {"rsync:the copy", "rclone:the copy"}) {
        fs::remove_all("st");
        fs::remove_all("the copy");
        for (int step = 0; step < 3; ++step) {
            fs::remove_all("tree/f");
            if (step == 0) {
                fs::create_directories("tree/f/g/h");
                WriteBytes("tree/f/g/h/i", "1");
            } else if (step == 2) {
                WriteBytes("tree/f", "2");
            }
            const ToolResult result = Sync(to);
            EXPECT_EQ(result.exitCode, 0) << to << step << result.err;
            EXPECT_EQ(Differences(TreeOf("tree"), TreeOf("the copy")), "") << to << step;
        }
    }
}

// As a run that was cut off may leave it.
TEST_F(SyncUploadTest, AFolderInThePlaceOfARemovedFileIsNoObstacle) {
    for (const char* to : {"rsync:the copy", "rclone:the copy"}) {
        fs::remove_all("st");
        fs::remove_all("the copy");
        WriteBytes("tree/a", "1");
        ASSERT_EQ(Sync(to).exitCode, 0);
        fs::remove("the copy/a");
        fs::create_directory("the copy/a");
        fs::remove("tree/a");
        fs::remove("tree/b");
        const ToolResult result = Sync(to);
        EXPECT_EQ(result.exitCode, 0) << to << result.err;
        EXPECT_EQ(Differences(TreeOf("tree"), TreeOf("the copy")), "") << to;
        WriteBytes("tree/b", "2");
    }
}

// Two folders become one and a link to it: the files below the link are gone, those where it leads
// to are not. The calls: one that looks whether the copy is empty, one that removes, one that
// sends.
TEST_F(SyncUploadTest, ARunThatIsKilledAroundACallIsPutRight) {
    const std::string to = "rsync:host:" + fs::absolute("the copy").string();
    for (const char* calls : {"x", "xx", "xxx"}) {
        for (const char* path : {"st", "the copy", "tree/one", "kill-at"}) {
            fs::remove_all(path);
        }
        for (const char* path : {"tree/one/a", "tree/two/a", "tree/gone"}) {
            fs::create_directories(fs::path(path).parent_path());
            WriteBytes(path, "1");
        }
        fs::permissions("tree", fs::perms::owner_all);
        ASSERT_EQ(Sync(to).exitCode, 0);
        fs::remove_all("tree/one");
        fs::create_symlink("two", "tree/one");
        fs::remove("calls");
        WriteBytes("kill-at", calls);
        ASSERT_EQ(Sync(to).exitCode, 128 + SIGKILL) << calls;
        for (const char* gone : {"", "tree/gone"}) {
            fs::remove(gone);
            const ToolResult result = Sync(to, " --lock-wait 60");
            EXPECT_EQ(result.exitCode, 0) << calls << result.err;
            EXPECT_EQ(Differences(TreeOf("tree"), TreeOf("the copy")), "") << calls;
        }
        EXPECT_EQ(fs::status("the copy").permissions(), fs::perms::owner_all) << calls;
        EXPECT_FALSE(fs::exists("st/uploader.out.empty")) << calls;
    }
}

TEST_F(SyncUploadTest, CommandsGetTheirWordsAndTheLists) {
    WriteBytes("put.sh",
               "for word; do printf '<%s>' \"$word\"; done; echo\n"
               "if [ $1 = send ]; then rsync -0 --files-from=\"$2\" \"$3\" copy/; fi\n"
               "if [ $1 = remove ]; then (cd copy && xargs -0 rm <\"$2\"); fi\n");
    const std::string to = "cmd:sh put.sh {action} {list} {folder} \"a  b\"\"{count}\" <{place}>";
    ToolResult result = Sync(to);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string root = fs::current_path().string();
    EXPECT_NE(result.err.find("<send><" + root + "/st/send-0.list><" + root + "/tree/><a  b4><<>>"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(result.out.find("<send>"), std::string::npos);
    fs::remove("tree/a");
    result = Sync(to);
    EXPECT_NE(result.err.find("/st/remove-0.list><" + root + "/tree/><a  b1>"), std::string::npos)
        << result.err;
    EXPECT_EQ(Files().contains("./copy/a"), false);
    EXPECT_EQ(Files().contains("./copy/sub/skip/c"), true);
}

TEST_F(SyncUploadTest, AFailureNamesTheProgramAndCommitsNothing) {
    fs::create_directory("file");
    WriteBytes("file/stands", "here");
    const struct {
        const char* to;
        const char* message;
    } rows[] = {
        {"cmd:sh -c \"exit 7\" {list}", "\"sh\": it ended with 7: "},
        {"cmd:sh -c \"kill -9 $$\" {list}", "signal 9"},
        {"cmd:sh -c \"kill -PIPE $$\" {list}", "signal 13"},
        {"cmd:no-such-program {list}", "cannot run \"no-such-program\": No such file (2): install"},
        {"rsync:file/stands", "rsync ended with 3 "},
        {"rsync:rsync://127.0.0.1:1/module", "rsync ended with 10 (the connection failed)"},
        {"rclone:nowhere:x", "rclone ended with 1"},
        {"rclone:file/stands", "rclone ended with "},
    };
    for (const auto& row : rows) {
        // What rsync leaves behind when it fails may hold the lock for a moment.
        const ToolResult result = Sync(row.to, " --lock-wait 60");
        EXPECT_EQ(result.exitCode, 10) << row.to << result.err;
        EXPECT_NE(result.err.find(row.message), std::string::npos) << row.to << result.err;
        EXPECT_FALSE(fs::exists("st/base")) << row.to;
    }
}

TEST_F(SyncUploadTest, DestinationsThatMeanNothingAreRefused) {
    for (const char* to :
         {"rsync:", "rsync:-oProxyCommand=x:y", "rsync:user@-host:y", "rsync::y",
          "rsync:host::", "rsync:rsync://host/", "rclone:", "rclone:-x", "cmd:", "cmd:x",
          "cmd:x {list} {lists}", "cmd:x \"{list}", "cmd:{}", "copy", "ftp:copy"}) {
        const ToolResult result = Sync(to);
        EXPECT_EQ(result.exitCode, 2) << to << result.err;
        EXPECT_EQ(Count(result.err, "\n"), 1U) << result.err;
        EXPECT_FALSE(fs::exists("st/base") || fs::exists("copy")) << to;
    }
}

// A program that looks into the new listing while it is to be replaced by one without the pipe.
TEST_F(SyncUploadTest, AReaderOfTheNewListingIsWaitedFor) {
    ASSERT_EQ(mkfifo("tree/pipe", 0600), 0);
    WriteBytes("rsh",
               "#!/bin/sh\nshift\n"
               "flock -s st/syncing sleep 3 >/dev/null 2>&1 </dev/null &\n"
               "while flock -n st/syncing true; do :; done\n"
               "exec sh -c \"$*\"\n");
    const ToolResult result = Sync("rsync:host:" + fs::absolute("the copy").string());
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(fs::exists("st/base"));
}

// The same at the end of a run that is stopped: that it was stopped is written down.
TEST_F(SyncUploadTest, AStoppedRunWaitsForAReaderToo) {
    WriteBytes("stop.sh", "");
    ASSERT_EQ(Sync("cmd:sh stop.sh {list}").exitCode, 0);
    WriteBytes("tree/new", "1");
    WriteBytes("stop.sh",
               "flock -s st/last.json sleep 1 >/dev/null 2>&1 </dev/null &\n"
               "while flock -n st/last.json true; do :; done\n"
               "kill $PPID\nsleep 5\n");
    EXPECT_EQ(Sync("cmd:sh stop.sh {list}").exitCode, 143);
    const ToolResult status = Run("status --state st --json");
    EXPECT_NE(status.out.find("\"last_exit_code\":143"), std::string::npos) << status.out;
}

TEST_F(SyncUploadTest, AnUploaderThatOutlivesItsRunHoldsTheLock) {
    const pid_t tool = StartWaiting();
    kill(tool, SIGKILL);
    waitpid(tool, nullptr, 0);
    EXPECT_EQ(Sync("cmd:true {list}").exitCode, 6);
    WriteBytes("go", "");
    const ToolResult result = Sync("cmd:true {list}", " --lock-wait 60");
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(SyncUploadTest, AStopRequestEndsTheUploaderAndCommitsNothing) {
    const pid_t tool = StartWaiting();
    kill(tool, SIGTERM);
    int status = 0;
    waitpid(tool, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 143) << status;
    EXPECT_TRUE(fs::exists("ended"));
    EXPECT_FALSE(fs::exists("st/base"));
}

}  // namespace
