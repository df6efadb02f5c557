// What the command-line tool needs of the system beyond the functions of Platform.h.
//
// Text in std::string is UTF-8, except for HostArguments and HostWidePath on POSIX systems, where
// an argument is the bytes as the user gave them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fenwickel/Types.h"

// The arguments of the process without its name.
std::vector<std::string> HostArguments(int argc, char** argv);

// A path argument in the library's form: absolute, '\' between components, "." and ".." resolved by
// their text, no separator at the end unless it is a root. Every byte of a POSIX name is kept.
// Empty for an empty argument, and for a relative one on POSIX when the working folder is gone
// (Windows keeps it from going).
WString HostWidePath(std::string_view argument);

// A library path or message text for people and for messages: UTF-8 with the system's own
// separator. On POSIX a name that is not valid UTF-8 shows U+FFFD for each such byte.
std::string HostDisplayText(const WString& text);

// True when the path names an existing folder (links followed).
bool HostIsFolder(const WString& path);

// True when the path names an existing file of the ordinary kind (links followed): no folder, no
// device, no pipe.
bool HostIsRegularFile(const WString& path);

// What stands at a path, links not followed.
enum class HostEntry {
    File,
    Folder,
    Link,     // symbolic link, or what the system has of that kind
    Other,    // socket, pipe, device
    Missing,  // certainly nothing
    Unknown,  // that could not be found out; the last error tells why
};
HostEntry HostEntryAt(const WString& path);

// A path or a part of one as other programs of this system are given it: the exact bytes on POSIX,
// UTF-8 elsewhere; with '/' between components.
std::string HostNativePath(const WString& path);

// The time now as file systems stamp it on what is written now, 100-ns units since 1601 UTC.
std::uint64_t HostFileClock();

// Full paths of what is mounted below the folder, and of the subvolumes below it, sorted, without
// snapshots of this program. For a program that reads the folder these are other volumes. Those
// that this account may not see are left out. links in folder are resolved.
std::vector<WString> HostVolumesBelow(const WString& folder);

// Root folders of the volumes that can hold snapshots which a killed process left there, sorted, as
// far as this account sees them. None where the system itself deletes such snapshots.
std::vector<WString> HostSnapshotVolumes();

// The folder that holds the path.
WString HostParentFolder(const WString& path);

// The path with its links resolved as far as it exists; the part that does not exist follows as
// given, in lower case on a system that ignores case. For telling whether two paths
// mean one place, not for opening. A relative path begins in the working folder.
WString HostResolvedPath(const WString& path);

// A number for the file system that holds the path (or its nearest existing folder); nothing when
// that cannot be told.
std::optional<std::uint64_t> HostFileSystemId(const WString& path);

// True when both paths name one existing file, by whatever names or links.
bool HostSameFile(const WString& first, const WString& second);

// A path for a file of this process in the system's temporary folder, under a name that nobody else
// can have created; the file exists and is empty. Empty when none could be made. On POSIX the name
// is that of an open descriptor where the system has such names: nothing is left when the process
// ends, however it does.
WString HostMakeTemporaryFile();

// True when the standard stream (1 output, 2 error) is a terminal.
bool HostIsTerminal(int stream);

// Columns of the terminal on standard error, 80 when unknown.
int HostTerminalWidth();

// From now on a first Ctrl-C, termination request or loss of the terminal is remembered, a second
// ends the process. One
// that was ignored when the process started stays ignored.
void HostCatchStopSignals();

// 0, or the exit code that the remembered request asks for: 130 for Ctrl-C, 143 for termination,
// and 129 for the loss of the terminal.
int HostStopExitCode();

// What the system says about a Windows error code, without a line end: "The system cannot find the
// file specified". Empty when it says nothing.
std::string HostErrorText(std::uint32_t code);

// True when the standard stream (1 output, 2 error) is a terminal that shows colours by ANSI escape
// sequences, which it is told to do where it must be told, and the user does not refuse colours by
// a NO_COLOR that is not empty.
bool HostEnableColours(int stream);

// Where the tool keeps what outlives a run, in the library's form: fenwickel in the user's folder
// for such things. It need not exist. Empty when that is unknown.
WString HostStateFolder();

// As many milliseconds as it takes.
inline constexpr std::uint32_t kHostForever = 0xFFFFFFFF;

// What a wait for input ended with.
enum class HostInput { Line, Nothing, End };

// Waits for the next line of standard input, at most so long. Line: *line has it without its end,
// the last one also when it had none. Nothing: the time was over, or a caught stop request came,
// which ends the wait at once. End: no line will follow. To be called by one thread; nothing else
// may read standard input then.
HostInput HostReadLine(std::string* line, std::uint32_t milliseconds);

// Puts standard output into a mode that keeps UTF-8 bytes and line feeds as written, and in which
// writing to a closed pipe, or beyond the limit on file sizes, fails instead of ending the process.
void HostPrepareOutput();

// The path of this program, as HostChild::Start takes it.
std::string HostOwnProgram();

// A running process.
struct HostProcess {
    std::uint32_t id = 0;
    WString name;  // file name of its executable, as the library has it; of the process itself
                   // where that is hidden
};

// All running processes that this account may see, in no order.
std::vector<HostProcess> HostProcesses();

// True while a process with the id runs (also one of another account).
bool HostProcessRuns(std::uint32_t id);

// What differs in a child process from what it would get anyway.
struct HostChildOptions {
    WString output;               // file for its standard output, made or emptied; "": our own
    WString errors;               // the same for its standard error
    bool outputToErrors = false;  // standard output goes to our own standard error
    HANDLE inherited = nullptr;   // an open file that stays open, and locked, until the child ends,
                                  // too; still the caller's to close
};

// A child process, owned: the destructor kills one that still runs and waits for its end. When this
// process is killed, Windows ends the child as well; elsewhere it lives on, and what it inherited
// with it.
class HostChild {
public:
    // Starts the program command[0], looked for as the system's shell does, with the rest as
    // arguments. Standard streams are this process's own unless options say otherwise, except that
    // input is empty. An object without a process when it cannot be started, with the last error
    // set: ERROR_FILE_NOT_FOUND when there is no such program.
    static HostChild Start(const std::vector<std::string>& command,
                           const HostChildOptions& options = {});

    HostChild() = default;
    HostChild(HostChild&& other) noexcept;
    HostChild& operator=(HostChild&& other) noexcept;
    ~HostChild();

    explicit operator bool() const { return handle_ != 0; }
    std::uint32_t Id() const { return id_; }

    // Asks it to end, by SIGTERM. Without effect on Windows, where only the console asks.
    void AskToEnd();

    // Ends it at once, as SIGKILL does.
    void Kill();

    // Its exit code, 128 + N after signal N; nothing when it still runs after the time, which
    // kHostForever makes endless. Once the end was seen, further calls give the same answer.
    std::optional<int> Wait(std::uint32_t milliseconds);

private:
    std::intptr_t handle_ = 0;  // process handle on Windows, process id elsewhere
    std::uint32_t id_ = 0;
    std::optional<int> exitCode_;
};
