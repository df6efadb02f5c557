// Access rights and compression of a log folder. Does nothing on systems that have no access lists
// and no compression of folders.
#pragma once

#include "fenwickel/Types.h"

// Lets the local service account read, write, execute and delete in the folder and
// in what is made in it later. Each failing system call prints one line to standard output. False
// when the right could not be given.
bool GrantLocalServiceAccess(const WCHAR* folder);

// Switches file-system compression on for the folder unless it is on already. Failures are ignored.
void CompressFolder(const WCHAR* folder);
