// Where the log's own failures go.
#pragma once

#include <type_traits>

#include "platform/Platform.h"

// Takes a WideFormat text with its arguments and discards them: the log cannot report into itself,
// and nothing may depend on what is said here. Each format begins with the process and the thread.
template <typename... Arguments>
constexpr void TraceHook(const WCHAR*, DWORD /*processId*/, DWORD /*threadId*/,
                         const Arguments&...) {
    static_assert(
        (... && (std::is_integral_v<Arguments> || std::is_convertible_v<Arguments, const WCHAR*>)),
        "WideFormat takes numbers and wide strings");
}
