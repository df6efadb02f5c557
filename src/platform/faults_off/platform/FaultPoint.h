// Fault points of the shipped library: none. The compiler removes every trace of them.
#pragma once

#include <cstddef>

#include "fenwickel/Types.h"

constexpr bool FaultFails(const char*) {
    return false;
}

constexpr DWORD FaultLimit(const char*, DWORD byteCount) {
    return byteCount;
}

struct FaultScope {
    constexpr explicit FaultScope(const char*) {}
    ~FaultScope() {}
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};

constexpr void FaultHandleOpened() {}
constexpr void FaultHandleClosed() {}

constexpr const char* FaultObjectFolder(std::size_t) {
    return nullptr;
}
