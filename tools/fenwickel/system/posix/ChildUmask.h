// The umask of child processes.
#pragma once

#include <sys/types.h>

#include <optional>

// What this process was started with; nothing while it still has that.
std::optional<mode_t> UmaskForChildren();
