// fenwickel log watch: the messages of running processes as they come.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "log/ExecutableName.h"
#include "log/LibraryLog.h"
#include "log/LogAccount.h"
#include "log/LogRecordText.h"
#include "log/WatchedExecutables.h"
#include "logshare/BreakpointTable.h"
#include "logshare/LogLineParser.h"
#include "logshare/LogViewer.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/StopSignals.h"
#include "system/Terminal.h"

namespace {

constexpr DWORD kRecordWaitMs = 100;  // also how long a stop request may go unnoticed
constexpr std::chrono::seconds kDeadPause{1};

// Prints the records that the user wants to see.
class LivePrinter {
public:
    explicit LivePrinter(const LogWatchOptions& options)
        : m_options(options), m_colours(!options.json && HostEnableColours(1)) {}

    void Print(const std::vector<LogLoss>& losses) {
        for (const LogLoss& loss : losses) {
            const std::string process = Utf8FromWide(loss.executable);
            if (m_options.json) {
                AppendJsonLine(m_text, {{"lost", loss.count}, {"process", process}});
            } else {
                m_text += "-- lost " +
                          (loss.count == 0 ? "an unknown number of" : std::to_string(loss.count)) +
                          " messages of " + Escaped(process) + " --\n";
            }
        }
    }

    void Print(const std::vector<LiveRecord>& records) {
        for (const LiveRecord& record : records) {
            if (!IsWanted(record)) {
                continue;
            }
            if (m_options.json) {
                AppendJsonLine(m_text, Fields(record));
            } else {
                AppendLiveLine(m_text, record, m_colours);
            }
        }
    }

    // To be called once a round: a reader of a pipe is to see whole lines at once.
    void Flush() {
        if (!m_text.empty()) {
            PrintWhole(m_text);
            m_text.clear();
        }
    }

private:
    bool IsWanted(const LiveRecord& record) const {
        return (!m_options.level || record.level <= *m_options.level) &&
               record.text.find(m_options.text) != std::string::npos;
    }

    const LogWatchOptions& m_options;
    const bool m_colours;
    std::string m_text;
};

// Messages come ring by ring. They are merged by time, but the order of writing within a ring
// stays: a writer takes the time before its turn to write, and clocks are set back.
std::vector<LiveRecord> Merged(std::list<CLogMessage*>& messages) {
    std::vector<LiveRecord> records;
    records.reserve(messages.size());
    for (CLogMessage* message : messages) {
        LiveRecord& record = records.emplace_back(*message);
        message->Release();
        record.order = LogTimeKey(record.time);
        if (records.size() > 1 && records[records.size() - 2].process == record.process) {
            record.order = std::max(record.order, records[records.size() - 2].order);
        }
    }
    messages.clear();
    std::stable_sort(records.begin(), records.end(),
                     [](const LiveRecord& a, const LiveRecord& b) { return a.order < b.order; });
    return records;
}

void PrintRound(LogViewer& viewer, LivePrinter& printer) {
    std::list<CLogMessage*> messages;
    std::vector<LogLoss> losses;
    viewer.Poll(&messages, &losses);
    printer.Print(losses);
    printer.Print(Merged(messages));
    printer.Flush();
}

// Threads that stopped at a breakpoint of a tool that has died would stand for as long as this
// viewer runs.
class DeadBreakers {
public:
    DeadBreakers(BreakpointTable& table, const std::string& who) : m_table(table), m_who(who) {}

    void ReleaseWhenDue() {
        if (std::chrono::steady_clock::now() < m_next) {
            return;
        }
        m_next = std::chrono::steady_clock::now() + kDeadPause;
        if (const int released = m_table.ReleaseDead()) {
            std::fprintf(stderr, "%s: released %d (stopped by a tool that has died)\n",
                         m_who.c_str(), released);
        }
    }

private:
    BreakpointTable& m_table;
    const std::string& m_who;
    std::chrono::steady_clock::time_point m_next;
};

void Watch(const LogWatchOptions& options, const std::string& who) {
    // Comes first: writers that attach look for the table once.
    BreakpointTable table;
    if (!table.IsOpen()) {
        std::fprintf(stderr, "%s: cannot make the breakpoint table: %s: going on without it\n",
                     who.c_str(), Reason(static_cast<int>(GetLastError())).c_str());
    }
    LogViewer viewer;
    if (!viewer.IsPresent()) {
        throw ViewerFailure();
    }
    WatchedExecutables executables(viewer, who);
    DeadBreakers breakers(table, who);
    LivePrinter printer(options);
    if (options.executables.empty()) {
        executables.AddRunning();
    } else {
        executables.AddNamed(options.executables);
    }
    while (HostStopExitCode() == 0) {
        PrintRound(viewer, printer);
        if (options.executables.empty()) {
            executables.AddRunningWhenDue();
        }
        breakers.ReleaseWhenDue();
        viewer.Wait(kRecordWaitMs);
    }
    PrintRound(viewer, printer);
}

}  // namespace

int RunLogWatch(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogWatchOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    for (const std::string& name : options->executables) {
        ExecutableName(name);  // a wrong one is told before anything is made
    }
    ActFor(options->user);
    RequireSharedObjects();
    HostCatchStopSignals();
    const LibraryLog log;
    try {
        Watch(*options, std::string("fenwickel ") + command.name);
    } catch (const OutputClosed&) {
        return ExitCode::Done;  // the reader of the pipe has seen enough
    }
    return HostStopExitCode();
}
