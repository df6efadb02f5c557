// Variables of the environment.
#pragma once

#include "platform/Platform.h"

// The variable's value, empty when there is none.
inline WString Environment(const WCHAR* name) {
    WString value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    const auto capacity = static_cast<DWORD>(value.size());
    value.resize(GetEnvironmentVariableW(name, value.data(), capacity));
    return value;
}
