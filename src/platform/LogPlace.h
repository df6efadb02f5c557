// Which files an account may log into, and where it logs when it may not use the one that it was
// given. On Windows access lists decide, and every path will do.
#pragma once

#include "fenwickel/Types.h"

// True when no other account but root has a say in what the path names: neither the file, if there
// is one, nor its folder, nor a folder or link on the way belongs to or may be written by one, and
// the file itself is no link. Others may write to a sticky folder: what is in it is theirs only if
// they own it. What is missing does not count, nor what can be no path: opening it fails.
bool MayLogTo(const WCHAR* path);

// False for the folder of a program, or one of the system's folders for programs, where a log does
// not belong, and for one that this account may not write. The folder need not exist.
bool IsFolderForLogs(const WString& folder);

// The account's own folder for logs, which need not exist, with a separator at its end. Empty when
// there is none.
WString OwnLogFolder();

// To be called after opening a log file at the path: sees that the handle's file is the one that
// the path names, with the conditions of MayLogTo, and lets writes go to the end of the file. False
// with the last error set.
bool AdoptLogFile(HANDLE file, const WCHAR* path);

// Whether writes go to the end of the file, whatever other processes have written to it, or to the
// handle's position. Without effect on Windows.
void SetAppending(HANDLE file, bool appending);
