// Owns a handle that CloseHandle closes.
#pragma once

#include <memory>

#include "platform/Platform.h"

struct HandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

// Null when nothing is open: whoever fills it turns INVALID_HANDLE_VALUE into null.
using OwnedHandle = std::unique_ptr<void, HandleCloser>;
