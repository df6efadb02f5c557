// The system's words for an error code.
#pragma once

#include <cstdint>
#include <string>

// What the system says about a Windows error code, without a line end: "The system cannot find the
// file specified". Empty when it says nothing.
std::string HostErrorText(std::uint32_t code);
