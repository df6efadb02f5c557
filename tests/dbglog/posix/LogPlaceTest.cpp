// Where an account may log. The tests need root, to make what belongs to other accounts.
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "LogFileFixture.h"
#include "TestRoles.h"
#include "dbglog/DbgLogger.h"
#include "logshare/SharedText.h"
#include "platform/LogPlace.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kStranger = 54321;

struct LogPlace : testing::Test {
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root";
        }
    }
    std::string Folder(const std::string& name, mode_t mode, uid_t owner = 0, gid_t group = 0) {
        fs::create_directories(folder / name);
        return Own(name, mode, owner, group);
    }
    std::string File(const std::string& name, mode_t mode, uid_t owner = 0, gid_t group = 0) {
        WriteBytes(folder / name, "");
        return Own(name, mode, owner, group);
    }
    std::string Link(const std::string& name, const std::string& target, uid_t owner = 0) {
        fs::create_symlink(target, folder / name);
        EXPECT_EQ(lchown((folder / name).c_str(), owner, owner), 0);
        return name;
    }
    std::string Own(const std::string& name, mode_t mode, uid_t owner, gid_t group) {
        EXPECT_EQ(chown((folder / name).c_str(), owner, group), 0);
        EXPECT_EQ(chmod((folder / name).c_str(), mode), 0);
        return name;
    }

    TempFolder folder;
};

TEST_F(LogPlace, IsDecidedByTheAccountAndRoot) {
    Folder("own", 0755);
    Folder("theirs", 0755, kStranger);
    Folder("theirs/roots", 0755);
    Folder("open", 0777);
    Folder("open/roots", 0755);
    Folder("sticky", 01777);
    Folder("staff", 0775, 0, 50);
    Folder("same", 0775);
    const struct {
        std::string path;
        bool allowed;
    } cases[] = {
        {"missing", true},
        {"missing/folder/file", true},
        {File("own/file", 0600), true},
        {File("own/read", 0644), true},
        {File("own/open", 0666), false},
        {File("own/group", 0660, 0, 50), false},
        {File("own/theirs", 0600, kStranger), false},
        {Link("own/link", "file"), false},
        {Link("own/nowhere", "missing"), false},
        {"own/../own/./file", true},
        {"theirs/missing", false},
        {"theirs/../own/file", false},
        {"theirs/roots/missing", false},
        {"open/missing", false},
        {"open/roots/missing", false},
        {"sticky/missing", true},
        {File("sticky/file", 0600), true},
        {File("sticky/theirs", 0644, kStranger), false},
        {"staff/missing", false},
        {"same/missing", true},
        {Link("good", "own") + "/missing", true},
        {Link("bad", "theirs") + "/missing", false},
        {Link("sticky/planted", folder.path() / "own", kStranger) + "/missing", false},
        {Link("through", "sticky/planted") + "/missing", false},
        {Link("loop", "loop") + "/missing", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MayLogTo(folder.wide(c.path).c_str()), c.allowed) << c.path;
    }
}

TEST_F(LogPlace, IsNoFolderOfPrograms) {
    const std::pair<std::string, bool> cases[] = {
        {"/usr/bin/Logs/", false},       {"/opt/host-that-is-missing/Logs/", false},
        {"/lib/Logs/", false},           {"/librarian/Logs/", true},
        {folder.path() / "Logs/", true},
    };
    for (const auto& [path, fits] : cases) {
        EXPECT_EQ(IsFolderForLogs(HostWidePath(path)), fits) << path;
    }
}

// Logs, after it has been told the file if there is one. 0 when its settings then name the second
// file.
const TestRole g_stranger("log-as-stranger", [](const std::vector<std::string>& arguments) -> int {
    if (!arguments[0].empty()) {
        SetProcessLogFile(Wide(arguments[0]));
    }
    g_DbgLogger.Log(1, WIDE("text"));
    const OpenConfig config;
    const WString file =
        arguments[0].empty() ? TextOf(config->entries[0].szLogFile) : TextOf(config->szLogFile);
    // A sanitizer cannot look for leaks in a program with raised rights, and would end it with 1.
    _exit(file == Wide(arguments[1]) ? 0 : 1);
});

// Runs the program as the other account, with these variables and no home but what they say.
int RunAsStranger(const fs::path& program, const std::string& role, bool raised,
                  std::vector<std::string> arguments, const std::vector<std::string>& variables) {
    std::vector<std::string> command = RoleCommand(role, std::move(arguments));
    command[0] = program;
    std::vector<char*> pointers;
    for (std::string& word : command) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        unsetenv("HOME");
        unsetenv("XDG_STATE_HOME");
        for (const std::string& variable : variables) {
            putenv(const_cast<char*>(variable.c_str()));
        }
        if (!raised &&
            (setgroups(0, nullptr) != 0 || setgid(kStranger) != 0 || setuid(kStranger) != 0)) {
            _exit(99);
        }
        execv(pointers[0], pointers.data());
        _exit(98);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(LogPlace, IsTheAccountsOwnWhereTheOtherIsForeign) {
    Folder("bin", 0755);
    fs::copy_file(HostOwnProgram(), folder / "bin/host");
    const std::string state = "XDG_STATE_HOME=" + (folder / "home").string();
    const std::string home = "HOME=" + (folder / "home").string();
    const std::string logs = "LOGS_DIRECTORY=" + (folder / "home").string() + ":/other";
    const struct {
        std::string file;       // that it is told; "" for none
        std::string variables;  // one of the above
        std::string used;       // where it logs then; "" for nowhere
        bool raised = false;
    } cases[] = {
        {"home/a.log", state, "home/a.log"},
        {"home/sub/a.log", state, "home/sub/a.log"},
        {"open/a.log", state, "home/fenwickel/Logs/a.log"},
        {"open/a.log", home, "home/.local/state/fenwickel/Logs/a.log"},
        {"open/a.log", logs, "home/a.log"},
        {"open/a.log", "HOME=relative", ""},
        {"open/a.log", state, "", true},
        {"home/link", state, "home/fenwickel/Logs/link"},
        {"", state, "home/fenwickel/Logs/host.Log"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file + " " + c.variables);
        for (const char* const made : {"home", "open"}) {
            fs::remove_all(folder / made);
        }
        Folder("home", 0755, kStranger, kStranger);
        Folder("open", 0777);
        Link("home/link", "target", kStranger);
        Own("bin/host", c.raised ? 04755 : 0755, c.raised ? kStranger : 0, 0);
        if (c.raised) {
            ASSERT_EQ(chmod((folder / "bin/host").c_str(), 04755), 0);
        }
        const std::string told = c.file.empty() ? "" : Narrow(folder.wide(c.file));
        const std::string named = Narrow(folder.wide(c.used.empty() ? c.file : c.used));
        EXPECT_EQ(RunAsStranger(folder / "bin/host", "log-as-stranger", c.raised, {told, named},
                                {c.variables}),
                  0);
        int files = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
            files += entry.is_regular_file() ? 1 : 0;
        }
        EXPECT_EQ(files, c.used.empty() ? 1 : 2);
        if (!c.used.empty()) {
            EXPECT_EQ(MessagesOf(LogText(folder / c.used)), std::vector<std::string>{"text"});
            EXPECT_EQ(fs::status(folder / c.used).permissions(), fs::perms(0600));
        }
    }
}

}  // namespace
