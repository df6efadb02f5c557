// What other accounts may do with the files of this one. On Windows the folder above a new one
// decides that: functions that look find no fault there, and functions that change do nothing.
#pragma once

#include <string>
#include <vector>

#include "fenwickel/Types.h"

// True when this process may give files to other accounts.
bool HostIsRoot();

// The user and the group that new files of this process get in the folder, which need not exist, as
// "uid=N" and "gid=N"; none on Windows.
std::vector<std::string> HostOwnerIds(const WString& folder);

// From now on what this process makes is for its account alone. Its child processes keep the umask
// that it was started with. Call it before the first other thread starts.
void HostMakeFilesPrivate();

// The command, without the path at its end, that takes a folder from another account which owns it
// or may write into it; "" when none does, and for a missing folder. Links are followed.
std::string HostCommandToOwn(const WString& folder);

// Takes the rights of all other accounts from a folder. False with the last error set.
bool HostMakeFolderPrivate(const WString& folder);
