// Who may read what sync makes: the state folder, and the modes and owners of a copy.
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "../CliFixture.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kStranger = 54321;

struct stat StatusOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

std::string OctalMode(const fs::path& path) {
    char text[8];
    std::snprintf(text, sizeof text, "%o", StatusOf(path).st_mode & 07777U);
    return text;
}

class SyncRightsTest : public CliFixture {
protected:
    SyncRightsTest() : m_umask(umask(022)) {
        WriteBytes("rclone.conf", "");
        setenv("RCLONE_CONFIG", fs::absolute("rclone.conf").c_str(), 1);
        WriteBytes("rsh", "#!/bin/sh\nshift\nexec sh -c \"$*\"\n");
        fs::permissions("rsh",
                        fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
        setenv("RSYNC_RSH", fs::absolute("rsh").c_str(), 1);
    }
    ~SyncRightsTest() override {
        unsetenv("RCLONE_CONFIG");
        unsetenv("RSYNC_RSH");
        umask(m_umask);
    }

    ToolResult Sync(const std::string& arguments) const {
        return Run("sync --state st --snapshot off tree " + arguments);
    }

    // Becomes the stranger for good in a child, which runs the command.
    static int RunAsStranger(const std::string& command) {
        const pid_t child = fork();
        if (child == 0) {
            const bool changed =
                setgroups(0, nullptr) == 0 && setgid(kStranger) == 0 && setuid(kStranger) == 0;
            _exit(changed ? WEXITSTATUS(std::system(command.c_str())) : 126);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    }

    static void ExpectPrivate(const fs::path& state) {
        EXPECT_EQ(OctalMode(state), "700");
        for (const auto& entry : fs::directory_iterator(state)) {
            EXPECT_EQ(OctalMode(entry.path()), "600") << entry.path();
        }
    }

private:
    const mode_t m_umask;
};

TEST_F(SyncRightsTest, AStateIsForItsAccountAloneAndUploadersKeepTheirUmask) {
    for (const bool isThere : {false, true}) {
        fs::remove_all("st");
        if (isThere) {
            fs::create_directory("st");
        }
        EXPECT_EQ(Sync("").exitCode, 0);
        ExpectPrivate("st");
        EXPECT_EQ(Run("commit --state st").exitCode, 0);
        WriteBytes("tree/a", "22");
        const ToolResult sent = Sync("--force-all --to 'cmd:sh -c \"umask >umask\" {list}'");
        EXPECT_EQ(sent.exitCode, 0) << sent.err;
        EXPECT_EQ(ReadBytes("umask"), "0022\n");
        ExpectPrivate("st");
    }
}

TEST_F(SyncRightsTest, AStateOfOthersIsRefusedWithTheCommandThatMendsIt) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give a folder to another account";
    }
    EXPECT_EQ(Sync("").exitCode, 0);
    const std::string path = fs::absolute("st").string();
    // The group with the number of the account is the account's own.
    ASSERT_EQ(chmod("st", 0775), 0);
    EXPECT_EQ(Run("status --state st").exitCode, 0);
    const struct {
        uid_t owner;
        gid_t group;
        mode_t mode;
        std::string command;
    } rows[] = {{0, 0, 0777, "chmod go-w " + path},
                {0, kStranger, 0770, "chmod go-w " + path},
                {0, 0, 01777, "chmod go-w " + path},
                {kStranger, 0, 0700, "chown 0 " + path}};
    for (const auto& row : rows) {
        ASSERT_TRUE(chown("st", row.owner, row.group) == 0 && chmod("st", row.mode) == 0);
        const auto before = Files();
        for (const char* command : {"sync --snapshot off tree", "status", "commit", "discard"}) {
            const ToolResult result = Run(std::string(command) + " --state st");
            EXPECT_EQ(result.exitCode, 2) << command << result.err;
            EXPECT_NE(result.err.find(row.command), std::string::npos) << result.err;
        }
        EXPECT_TRUE(Files() == before && StatusOf("st").st_uid == row.owner) << row.command;
        EXPECT_EQ(std::system(row.command.c_str()), 0);
        EXPECT_EQ(Run("status --state st").exitCode, 0) << row.command;
    }
}

// A program that lends its owner's rights, a file of two accounts, and a private one.
void MakeTree() {
    const struct {
        const char* path;
        uid_t user;
        gid_t group;
        mode_t mode;
    } rows[] = {{"tree/sub", 0, 0, 02755},
                {"tree/private", 0, 0, 0700},
                {"tree/sub/lends", 1234, 2345, 06755},
                {"tree/a", 1234, 2345, 0640},
                {"tree/private/key", 0, 0, 0600}};
    fs::create_directories("tree/private");
    for (const auto& row : rows) {
        if (!fs::exists(row.path)) {
            WriteBytes(row.path, "1");
        }
        ASSERT_TRUE(chown(row.path, row.user, row.group) == 0 && chmod(row.path, row.mode) == 0);
    }
}

TEST_F(SyncRightsTest, RootKeepsOwnersWhereItMayAndNobodyElsesProgramsBecomeRoots) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, which alone may give files away";
    }
    MakeTree();
    const std::string copy = fs::absolute("copy").string();
    const struct {
        std::string arguments;
        uid_t owner;
        const char* lends;
    } rows[] = {{"--to rsync:copy", 1234, "6755"},
                {"--to rsync:copy --no-owner", 0, "755"},
                {"--to rsync:host:" + copy, 0, "755"},
                {"--to rsync:host:" + copy + " --owner", 1234, "6755"},
                {"--to rclone:copy", 1234, "755"},
                {"--to rclone:copy --no-owner", 0, "755"}};
    for (const auto& row : rows) {
        fs::remove_all("st");
        fs::remove_all("copy");
        const ToolResult result = Sync(row.arguments);
        ASSERT_EQ(result.exitCode, 0) << row.arguments << result.err;
        EXPECT_EQ(StatusOf("copy/a").st_uid, row.owner) << row.arguments;
        EXPECT_EQ(StatusOf("copy/a").st_gid, row.owner == 0 ? 0U : 2345U) << row.arguments;
        EXPECT_EQ(OctalMode("copy/a"), "640") << row.arguments;
        EXPECT_EQ(OctalMode("copy/sub/lends"), row.lends) << row.arguments;
        EXPECT_EQ(OctalMode("copy/private/key"), "600") << row.arguments;
        EXPECT_EQ(OctalMode("copy/private"), "700") << row.arguments;
    }
    for (const char* to : {"cmd:true {list}", "rclone:remote:copy"}) {
        EXPECT_EQ(Sync("--force-all --owner --to '" + std::string(to) + "'").exitCode, 2) << to;
    }
}

// rclone gives up when it may not give the copy to the owner of the original.
TEST_F(SyncRightsTest, FilesOfOthersBecomeThoseOfTheAccountThatCopiesThem) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to become another account";
    }
    MakeTree();
    ASSERT_TRUE(chmod("tree/a", 0644) == 0 && chown("tree/private", kStranger, 0) == 0 &&
                chown("tree/private/key", kStranger, 0) == 0 && chown(".", kStranger, 0) == 0);
    if (RunAsStranger(FENWICKEL_TOOL " --version >/dev/null") != 0) {
        GTEST_SKIP() << "another account may not run " FENWICKEL_TOOL;
    }
    for (const std::string to : {"rsync:copy", "rclone:copy"}) {
        fs::remove_all("st");
        fs::remove_all("copy");
        EXPECT_EQ(RunAsStranger(FENWICKEL_TOOL " sync --state st --snapshot off tree >out 2>&1 "
                                               "--to " +
                                to),
                  0)
            << to << ReadBytes("out");
        EXPECT_EQ(StatusOf("copy/a").st_uid, kStranger) << to;
        EXPECT_EQ(OctalMode("copy/sub/lends"), "755") << to;
        EXPECT_EQ(OctalMode("copy/private/key"), "600") << to;
        EXPECT_EQ(OctalMode("copy/private"), "700") << to;
        EXPECT_EQ(Run("status --state st").exitCode, 2) << "root and the state of another account";
    }
}

}  // namespace
