// Security attributes: everybody or the owner alone.
#pragma once

#include "platform/Platform.h"

// Whether an object with these attributes (null: none) is for every account. False for what is not
// supported, with the last error set.
bool ReadSecurity(const SECURITY_ATTRIBUTES* security, bool* everyone);
