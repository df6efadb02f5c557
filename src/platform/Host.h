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

// From now on a first Ctrl-C or termination request is remembered, a second ends the process. One
// that was ignored when the process started stays ignored.
void HostCatchStopSignals();

// 0, or the exit code that the remembered request asks for: 130 for Ctrl-C, 143 for termination.
int HostStopExitCode();

// What the system says about a Windows error code, without a line end: "The system cannot find the
// file specified". Empty when it says nothing.
std::string HostErrorText(std::uint32_t code);

// Puts standard output into a mode that keeps UTF-8 bytes and line feeds as written, and in which
// writing to a closed pipe, or beyond the limit on file sizes, fails instead of ending the process.
void HostPrepareOutput();
