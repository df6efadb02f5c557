// Which log calls the threads of the process are in.
#pragma once

#include <atomic>

// Counts a call of the logger while it lives. The logger's outputs and settings may be in the hands
// of such a call, so what is destroyed at unload is only closed while there is one.
class CallsInProgress {
public:
    CallsInProgress() { Begin(); }
    ~CallsInProgress() { End(); }
    CallsInProgress(const CallsInProgress&) = delete;
    CallsInProgress& operator=(const CallsInProgress&) = delete;

    static void Begin() { count.fetch_add(1); }
    static void End() { count.fetch_sub(1); }
    static bool Any() { return count.load() != 0; }

    // In a child of fork, where the threads that made the calls do not exist.
    static void Forget() { count.store(0); }

private:
    static inline constinit std::atomic<int> count{0};
};
