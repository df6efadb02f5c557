// Processes that log numbered messages, hold the log's locks and watch it.
#pragma once

#include <set>
#include <string>

#include "platform/Platform.h"
#include "system/Child.h"

constexpr int kThreads = 4;                    // of a writer
constexpr int kSteadyWriters = 3;              // those with the first numbers live
constexpr std::uint32_t kPatienceMs = 120000;  // what takes longer has failed

// The usual size or, when the environment asks for it, the full one.
int LoadSize(int usual, int full);

// Messages of each thread of a writer.
int LineCount();

std::string Message(int writer, int thread, int number);

WString OwnExecutable();

// A child in a role of this program: "writer FILE NUMBER" logs and, unless it is a steady one,
// tells of its first message, a "steady writer" into one file; "holder FILE" takes the file's mutex
// and tells; "viewer MANNER" attaches and tells. The manner "hold" stops the thread that logs
// Message(1, 1, 0) and tells again, "leave" ends with the first messages. Roles wait to be killed
// where nothing else ends them.
HostChild StartRole(const std::string& role, const std::string& first, int writer = 0);

// Waits until a child has told that it has come that far.
bool AwaitChild();

// Stops a process in its tracks, or lets it go on. False where there is no such thing.
bool PauseProcess(DWORD id, bool pause);

// How much is left of the shared objects of these processes: their files, the memory behind them.
int TracesOf(const std::set<DWORD>& dead);
