// What only POSIX systems show: signals, odd names, broken outputs.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "../CliFixture.h"

namespace {

class PosixCliTest : public CliFixture {
protected:
    // A detect run that holds its lock and waits: its first message does not fit the full pipe.
    void StartBlocked(bool ignoringInterrupts = false) {
        ASSERT_EQ(pipe2(m_pipe, O_NONBLOCK), 0);
        while (write(m_pipe[1], "x", 1) == 1) {
        }
        fcntl(m_pipe[1], F_SETFL, 0);
        const std::string temporary = std::filesystem::current_path();
        m_child = fork();
        if (m_child == 0) {
            dup2(m_pipe[1], 2);
            std::signal(SIGINT, ignoringInterrupts ? SIG_IGN : SIG_DFL);
            setenv("TMPDIR", temporary.c_str(), 1);
            execl(FENWICKEL_TOOL, "fenwickel", "detect", "--base", "s/b", "--syncing", "s/s",
                  "--deleted", "s/d", "tree", nullptr);
            _exit(127);
        }
        while (ReadBytes("s/b.lock").find('\n') == std::string::npos) {
            siginfo_t ended{};  // left waitable: its id must stay its own until Finish
            waitid(P_PID, m_child, &ended, WEXITED | WNOHANG | WNOWAIT);
            ASSERT_EQ(ended.si_pid, 0) << "the run ended early";
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    int Finish() {
        char bytes[4096];
        while (read(m_pipe[0], bytes, sizeof bytes) > 0) {
        }
        int status = 0;
        waitpid(m_child, &status, 0);
        close(m_pipe[0]);
        close(m_pipe[1]);
        return status;
    }

    pid_t m_child = 0;
    int m_pipe[2] = {};
};

TEST_F(PosixCliTest, AFirstSignalStopsTheRunAndDiscardsItsFiles) {
    for (const int signalNumber : {SIGINT, SIGTERM}) {
        StartBlocked();
        kill(m_child, signalNumber);
        const int status = Finish();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 128 + signalNumber);
        EXPECT_FALSE(std::filesystem::exists("s/b") || std::filesystem::exists("s/s") ||
                     std::filesystem::exists("s/d"));
    }
}

TEST_F(PosixCliTest, AnInterruptIgnoredFromTheStartStaysIgnored) {
    StartBlocked(true);
    kill(m_child, SIGINT);
    kill(m_child, SIGTERM);
    const int status = Finish();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 143) << status;
}

TEST_F(PosixCliTest, ASecondSignalEndsAtOnceAndTheLockIsFree) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer holds signals back while a write blocks";
#endif
    StartBlocked();
    int status = 0;
    constexpr int kMostSignals = 30000;
    for (int i = 0; waitpid(m_child, &status, WNOHANG) == 0; ++i) {
        kill(m_child, i < kMostSignals ? SIGTERM : SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(Run(std::string("detect ") + kState + "tree").exitCode, 0);
}

// The usual shell redirects to descriptors of one digit alone.
int Bash(const std::string& line) {
    return std::system(("bash -c '" + line + "'").c_str());
}

TEST_F(PosixCliTest, AnOutputThatTakesNothingIsAFailureAndLeavesNothingPending) {
    ASSERT_EQ(pipe(m_pipe), 0);
    close(m_pipe[0]);
    const std::string detect = std::string("detect tree ") + kState;
    for (const std::string& end :
         {std::string(">/dev/full"), std::string(">&-"), ">&" + std::to_string(m_pipe[1])}) {
        for (const std::string& arguments : {detect, std::string("--help")}) {
            const std::string line = FENWICKEL_TOOL " " + arguments + " 2>s/err " + end;
            EXPECT_EQ(WEXITSTATUS(Bash(line)), 1) << line;
            EXPECT_NE(ReadBytes("s/err").find("cannot write the results"), std::string::npos);
            EXPECT_FALSE(std::filesystem::exists("s/s") || std::filesystem::exists("s/b"));
        }
    }
    WriteBytes("s/b", "");
    const std::string dump = FENWICKEL_TOOL " dump s/b >&" + std::to_string(m_pipe[1]);
    EXPECT_EQ(Bash(dump), 0) << "its reader has seen enough";
    close(m_pipe[1]);
}

TEST_F(PosixCliTest, OddSurroundings) {
    const std::string state = kState;
    const std::string longName(300, 'n');
    const struct {
        std::string before;
        std::string arguments;
        int exitCode;
        const char* words;
    } cases[] = {
        {"mkdir g; cd g; rmdir ../g;", "dump x", 2, "the working folder is gone"},
        {"mkfifo s/fifo;", "detect tree --base s/b --syncing s/s --deleted s/fifo", 2, "--deleted"},
        {"", "detect tree --base /proc/b --syncing s/s --deleted s/d", 2, "two file systems"},
        {"", "detect " + state + longName, 1, "(206): shorten it"},
        {"", "detect --json " + state + "$(printf 'n\\377')", 1, "n\xEF\xBF\xBD"},
        {"XDG_STATE_HOME=/dev/null", "detect tree " + state, 0, "found"},  // no log, a run
#ifndef __SANITIZE_THREAD__  // which needs a file of its own
        {"ulimit -f 0;", "discard " + state, 0, ""},
#endif
        {"", "detect tree " + state, 0, ""},
        {"", "commit " + state + " >/dev/full", 1, "committed, but"},
    };
    for (const auto& test : cases) {
        const std::string line = test.before + " " FENWICKEL_TOOL " 2>&1 " + test.arguments;
        FILE* const output = popen(line.c_str(), "r");
        char text[8192] = {};
        fread(text, 1, sizeof text - 1, output);
        EXPECT_EQ(WEXITSTATUS(pclose(output)), test.exitCode) << line << text;
        EXPECT_NE(std::string(text).find(test.words), std::string::npos) << line << text;
    }
}

TEST_F(PosixCliTest, OddNamesAndLongPaths) {
    for (const char* name : {"line\nfeed", "bad\xFFutf8", "back\\slash", "private\xEF\x9E\x80"}) {
        WriteBytes(std::string("tree/") + name, "1");
    }
    std::filesystem::create_symlink(".", "tree/loop");
    const ToolResult found = Run(std::string("detect ") + kState + "tree");
    EXPECT_NE(found.out.find("found                   9\n"), std::string::npos) << found.out;
    EXPECT_NE(Run("dump s/s").out.find("  line\\nfeed\n"), std::string::npos);

    const std::string folder = "tree/" + std::string(250, 'n');
    std::filesystem::create_directory(folder);
    WriteBytes(folder + "/123456789", "");
    const ToolResult tooLong = Run(std::string("detect --json ") + kState + "tree");
    EXPECT_EQ(tooLong.exitCode, 1);
    EXPECT_NE(tooLong.out.find("\"result\":1,"), std::string::npos) << tooLong.out;
    EXPECT_NE(tooLong.err.find("too long.[" + std::string(250, 'n')), std::string::npos);
    EXPECT_EQ(std::count(tooLong.err.begin(), tooLong.err.end(), '\n'), 2);
    EXPECT_FALSE(std::filesystem::exists("s/s"));
}

}  // namespace
