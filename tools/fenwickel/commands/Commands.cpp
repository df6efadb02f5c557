#include "Commands.h"

#include <array>

namespace {

JsonFields NoFields() {
    return {};
}

constexpr std::array kCommands = {
    Command{"sync", "bring a remote copy of folders up to date, from a snapshot", RunSync,
            EmptySyncResult},
    Command{"status", "show what is pending and what the last sync did", RunStatus,
            EmptyStatusResult},
    Command{"snapshots", "list or remove the snapshots that killed runs have left", RunSnapshots,
            nullptr},
    Command{"detect", "find new, changed and deleted files", RunDetect, EmptyDetectResult},
    Command{"dump", "list the records of a record file", RunDump, nullptr},
    Command{"commit", "make the pending listing the base of the next run", RunCommit, NoFields},
    Command{"discard", "delete the pending listings", RunDiscard, NoFields},
    Command{"log show", "show at which level and into which file a process logs", RunLogShow,
            nullptr},
    Command{"log level", "change the level at which a process logs", RunLogLevel, NoFields},
    Command{"log file", "change the file into which a process logs", RunLogFile, NoFields},
    Command{"log cat", "print a log file as UTF-8", RunLogCat, nullptr},
    Command{"log watch", "print the messages of running processes as they come", RunLogWatch,
            nullptr},
    Command{"log break", "hold threads at a message", RunLogBreak, nullptr},
};

}  // namespace

std::span<const Command> AllCommands() {
    return kCommands;
}
