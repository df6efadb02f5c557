// Child processes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fenwickel/Types.h"

// No limit, as a number of milliseconds.
inline constexpr std::uint32_t kHostForever = 0xFFFFFFFF;

// What differs in a child process from what it would get anyway.
struct HostChildOptions {
    WString output;  // file for its standard output, made or emptied; "": as this process
    WString errors;  // the same for its standard error
    bool outputToErrors = false;  // standard output goes to that of this process
    HANDLE inherited = nullptr;   // an open file that stays open, and locked, until the child ends,
                                  // too; still the caller's to close
};

// A child process, owned: the destructor kills one that still runs and waits for its end. When this
// process is killed, Windows ends the child as well; elsewhere it lives on, and what it inherited
// with it.
class HostChild {
public:
    // Starts the program command[0], looked for as the system's shell does, with the rest as
    // arguments. Standard streams are this process's own unless options say otherwise, except that
    // input is empty. An object without a process when it cannot be started, with the last error
    // set: ERROR_FILE_NOT_FOUND when there is no such program.
    static HostChild Start(const std::vector<std::string>& command,
                           const HostChildOptions& options = {});

    HostChild() = default;
    HostChild(HostChild&& other) noexcept;
    HostChild& operator=(HostChild&& other) noexcept;
    ~HostChild();

    explicit operator bool() const { return m_handle != 0; }
    std::uint32_t Id() const { return m_id; }

    // Asks it to end, by SIGTERM. Without effect on Windows, where only the console asks.
    void AskToEnd();

    // Ends it at once, as SIGKILL does.
    void Kill();

    // Its exit code, 128 + N after signal N; nothing when it still runs after the time, which
    // kHostForever makes endless. Once the end was seen, further calls give the same answer.
    std::optional<int> Wait(std::uint32_t milliseconds);

private:
    std::intptr_t m_handle = 0;  // process handle on Windows, process id elsewhere
    std::uint32_t m_id = 0;
    std::optional<int> m_exitCode;
};
