// A program that runs with more rights than its user takes no path from the environment.
#include <gtest/gtest.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestRoles.h"
#include "TestSupport.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

enum : int { kReadRegistry = 1, kTookStateFolder = 2, kHasRaisedRights = 4 };

// Tells by its exit code what of the environment counted.
int TellWhatCounts(const std::vector<std::string>& /*unused*/) {
    HKEY key = nullptr;
    const bool read =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, WIDE("planted"), 0, KEY_READ, &key) == ERROR_SUCCESS;
    RegCloseKey(key);
    return (read ? kReadRegistry : 0) | (HostStateFolder().empty() ? 0 : kTookStateFolder) |
           (getauxval(AT_SECURE) != 0 ? kHasRaisedRights : 0);
}

const TestRole g_tellWhatCounts("environment-that-counts", TellWhatCounts);

// Runs the program in that role as another account; its exit code.
int RunAsStranger(const std::filesystem::path& program) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(54321) == 0 && setuid(54321) == 0) {
            execl(program.c_str(), program.c_str(), "--role", "environment-that-counts", nullptr);
        }
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(RaisedRights, NoPathComesFromTheEnvironment) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, who can make a set-user program";
    }
    const TempFolder folder;
    const std::filesystem::path copy = folder / "copy";
    std::filesystem::copy_file(HostOwnProgram(), copy);
    WriteBytes(folder / "registry", "REGEDIT4\n[HKEY_LOCAL_MACHINE\\planted]\n");
    const std::pair<const char*, std::string> variables[] = {
        {"FENWICKEL_REGISTRY", folder / "registry"},
        {"XDG_STATE_HOME", folder / "state"},
        {"HOME", folder / "home"},
    };
    std::vector<std::string> before;
    for (const auto& [name, value] : variables) {
        const char* const old = getenv(name);
        before.emplace_back(old != nullptr ? old : "");
        setenv(name, value.c_str(), 1);
    }
    ASSERT_EQ(chmod(copy.c_str(), 0755), 0);
    const int ordinary = RunAsStranger(copy);
    ASSERT_EQ(chmod(copy.c_str(), 04755), 0);
    const int raised = RunAsStranger(copy);
    for (std::size_t i = 0; i < before.size(); ++i) {
        before[i].empty() ? unsetenv(variables[i].first)
                          : setenv(variables[i].first, before[i].c_str(), 1);
    }
    EXPECT_EQ(ordinary, kReadRegistry | kTookStateFolder);
    if (raised >= 0 && (raised & kHasRaisedRights) == 0) {
        GTEST_SKIP() << "set-user bits do not count in the folder for temporary files";
    }
    EXPECT_EQ(raised, kHasRaisedRights);
}

}  // namespace
