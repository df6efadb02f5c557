// Security attributes. Everything belongs to the account that makes it, so the list that lets every
// account in means every process of this account.
#pragma once

#include "platform/Platform.h"

// False, with the last error set, for attributes that are neither null nor a null access list.
bool IsSecuritySupported(const SECURITY_ATTRIBUTES* security);
