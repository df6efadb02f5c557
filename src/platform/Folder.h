// What a log folder gets beyond its existence. Systems without access lists and compression have
// nothing to do here.
#pragma once

#include "fenwickel/Types.h"

// Sees to it that the local service account may read, write, execute and delete in the folder and
// in what is made in it later. Each failing system call prints one line to standard output. False
// when the right could not be given.
bool GrantLocalServiceAccess(const WCHAR* folder);

// Switches file-system compression on for the folder unless it is on already. Failures are ignored.
void CompressFolder(const WCHAR* folder);
