// Environment variables for this layer's own settings.
#pragma once

#include <string>

// The value as bytes, empty when there is none, and in a program that runs with more rights than
// the user who started it.
std::string TrustedEnvironment(const char* name);
