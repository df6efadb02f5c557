// fenwickel log break: holds threads at a message, to look at them.
#include <chrono>
#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "log/ExecutableName.h"
#include "log/LibraryLog.h"
#include "log/LogAccount.h"
#include "log/StoppedThreads.h"
#include "logshare/BreakpointTable.h"
#include "logshare/LogViewer.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/StopSignals.h"
#include "system/Terminal.h"

namespace {

constexpr DWORD kBreakWaitMs = 50;  // also how long a stop request or a key may go unnoticed
constexpr std::chrono::seconds kEndedPause{1};

LogBreakpointWish WishOf(const LogBreakOptions& options) {
    LogBreakpointWish wish{.executable = ExecutableName(options.executable),
                           .text = WideFromUtf8(options.text),
                           .dwProcessId = options.process,
                           .dwThreadId = options.thread};
    if (wish.text.size() >= kBreakpointTextCapacity) {
        throw Failure(ExitCode::Usage, "--text is too long: a message has at most " +
                                           std::to_string(kBreakpointTextCapacity - 1) +
                                           " characters");
    }
    return wish;
}

void RequireOpen(const BreakpointTable& table, LogViewer& viewer, const WString& executable) {
    if (!table.IsOpen()) {
        throw SystemFailure(ExitCode::Failed, "make the breakpoint table", kBreakpointBlock,
                            GetLastError(),
                            "check whether another account made objects of that name");
    }
    if (!viewer.IsPresent()) {
        throw ViewerFailure();
    }
    if (!viewer.LetAttach(executable)) {
        throw SystemFailure(ExitCode::Failed, "make the log event of", executable, GetLastError(),
                            "check the name, and whether another account made one of that name");
    }
}

// Releases as the user asked for: by Enter, or after a time.
class Releaser {
public:
    Releaser(StoppedThreads& threads, const std::optional<std::uint32_t>& seconds)
        : m_threads(threads), m_seconds(seconds) {}

    void Step() {
        if (m_seconds) {
            m_threads.ReleaseOlderThan(std::chrono::seconds(*m_seconds));
            return;
        }
        std::string line;
        switch (HostReadLine(&line, 0)) {
            case HostInput::Line:
                m_threads.ReleaseOldest();
                break;
            case HostInput::End:
                // No Enter will come any more: from now on hits are only listed.
                m_seconds = 0;
                break;
            case HostInput::Nothing:
                break;
        }
    }

private:
    StoppedThreads& m_threads;
    std::optional<std::uint32_t> m_seconds;
};

void HoldThreads(const LogBreakOptions& options, BreakpointTable& table) {
    StoppedThreads threads(table, ValidUtf8(options.executable), options.json);
    Releaser releaser(threads, options.releaseAfter);
    auto nextLook = std::chrono::steady_clock::now();
    while (HostStopExitCode() == 0) {
        threads.LookForHits();
        releaser.Step();
        if (std::chrono::steady_clock::now() >= nextLook) {
            threads.ForgetEnded();
            nextLook = std::chrono::steady_clock::now() + kEndedPause;
        }
        table.Wait(kBreakWaitMs);
    }
}

void Break(const LogBreakOptions& options, const std::string& who) {
    const LogBreakpointWish wish = WishOf(options);
    // Comes first: writers that attach look for the table once.
    BreakpointTable table;
    LogViewer viewer;
    RequireOpen(table, viewer, wish.executable);
    if (!table.Add(wish)) {
        throw Failure(ExitCode::Failed,
                      "cannot set the breakpoint: the table is full or another program holds it: "
                      "end other fenwickel log break commands and try again");
    }
    std::fprintf(
        stderr, "%s: threads of %s stop at %s; %s, Ctrl-C releases all and ends\n", who.c_str(),
        Quoted(wish.executable).c_str(),
        wish.text.empty() ? "every message" : "messages with that text",
        options.releaseAfter ? "each goes on after the time" : "Enter releases the oldest");
    try {
        HoldThreads(options, table);
    } catch (const OutputClosed&) {
        // the reader of the pipe has seen enough
    }
    // The table does this again when it is destroyed, in case its mutex was not free here.
    table.ReleaseMine();
}

}  // namespace

int RunLogBreak(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogBreakOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    ActFor(options->user);
    RequireSharedObjects();
    HostCatchStopSignals();
    const LibraryLog log;
    Break(*options, std::string("fenwickel ") + command.name);
    return HostStopExitCode();
}
