// Places as rsync and rclone name them.
#pragma once

#include <string>

#include "fenwickel/Types.h"

// The folder of this machine that an argument of rsync or rclone means, in the library's form: one
// without ':' before its first '/', or one that begins with a drive letter where the system has
// such. "" for a remote one.
WString LocalArgument(const std::string& argument);

// True where paths begin with drive letters.
bool HasDriveLetters();

// The folder of the destination with the place below it; ':' and '/' at the end take it as it is.
std::string Below(std::string folder, const std::string& place);
