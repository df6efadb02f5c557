// Tells at the very end of a faulty program what it left open.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "platform/FaultPoint.h"

namespace {

// The thread sanitizer's runtime has a thread of its own as soon as the program has started one.
#ifdef __SANITIZE_THREAD__
constexpr long long kForeignThreads = 1;
#else
constexpr long long kForeignThreads = 0;
#endif

void Report() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    const long long threads = std::distance(begin(tasks), end(tasks)) - kForeignThreads;
    std::fprintf(stderr, "left: %lld handles, %lld threads\n", FaultOpenHandles(),
                 std::max(threads, 1LL));
}

// Registered before every static object, so that it runs after the last of them is gone.
[[gnu::constructor(101)]] void RegisterReport() {
    std::atexit(Report);
}

}  // namespace
