// The one header through which the library reaches the operating system.
//
// The library is written against the Windows functions by their own names. On Windows this header
// brings the real ones. Elsewhere it declares the subset that the library calls; what each of them
// honours is written in CONTRACT.md beside this file.
#pragma once

#include "fenwickel/Types.h"

#ifdef _WIN32
#include <rpc.h>
#include <shlwapi.h>
#else
#include "platform/posix/WindowsApi.h"
#endif
