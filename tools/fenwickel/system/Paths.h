// Paths between the command line, the library and other programs.
//
// Text in std::string is UTF-8, except that a path argument on POSIX systems is the bytes as the
// user gave them.
#pragma once

#include <string>
#include <string_view>

#include "fenwickel/Types.h"

// A path argument in the library's form: absolute, '\' between components, "." and ".." resolved by
// their text, no separator at the end unless it is a root. Every byte of a POSIX name is kept.
// Empty for an empty argument, and for a relative one on POSIX when the working folder is gone
// (Windows keeps it from going).
WString HostWidePath(std::string_view argument);

// A library path or message text for people and for messages: UTF-8 with the system's own
// separator. On POSIX a name that is not valid UTF-8 shows U+FFFD for each such byte.
std::string HostDisplayText(const WString& text);

// A path or a part of one as other programs of this system are given it: the exact bytes on POSIX,
// UTF-8 elsewhere; with '/' between components.
std::string HostNativePath(const WString& path);

// The folder that holds the path.
WString HostParentFolder(const WString& path);

// The path with its links resolved as far as it exists; the part that does not exist follows as
// given, in lower case on a system that ignores case. For telling whether two paths
// mean one place, not for opening. A relative path begins in the working folder.
WString HostResolvedPath(const WString& path);

// Where the tool keeps what outlives a run, in the library's form: fenwickel in the user's folder
// for such things. It need not exist. Empty when that is unknown, and in a program that runs with
// more rights than its user, who sets the environment.
WString HostStateFolder();
