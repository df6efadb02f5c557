// The file of a loaded module.
#pragma once

#include "platform/Platform.h"

// Full path of the module, of the executable for null. Empty when it is unknown.
WString ModulePath(HMODULE module);

// The part behind the last '\'.
WString FileNameOf(const WString& path);

// The fixed part of the version resource. False, with info left alone, when the file has none.
bool ReadFileVersion(const WString& path, VS_FIXEDFILEINFO* info);
