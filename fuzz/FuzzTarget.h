// What a fuzz target consists of. libFuzzer brings its own main; elsewhere ReplayMain.cpp is the
// main that runs the seeds as a plain test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Runs the code under test once. Ends the process when it breaks a promise.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Inputs to start from.
std::vector<std::string> FuzzSeeds();

inline void Require(bool condition, const char* promise) {
    if (!condition) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}
