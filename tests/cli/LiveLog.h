// A program that logs on request, and the tool running beside it.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "CliFixture.h"
#include "TestRoles.h"
#include "dbglog/DbgLogger.h"
#include "platform/OwnedHandle.h"
#include "system/Child.h"
#include "system/Processes.h"

inline constexpr int kLimitMs = 30000;  // of every wait: far more than any of them takes

inline OwnedHandle TestEvent(const std::string& name) {
    return OwnedHandle(CreateEventW(nullptr, FALSE, FALSE, Wide("Global\\" + name).c_str()));
}

// Message n of a thread says "a: message n." and has the level 1 + n % 2.
inline void LogOnRequest(const std::string& host, char thread, int messages) {
    const OwnedHandle go = TestEvent(host + thread);
    const OwnedHandle done = TestEvent(host + thread + "done");
    while (WaitForSingleObject(go.get(), INFINITE) == WAIT_OBJECT_0) {
        for (int i = 0; i < messages; ++i) {
            g_DbgLogger.Log(1 + i % 2, WIDE("%c: message %d."), thread, i);
        }
        SetEvent(done.get());
    }
}

inline const TestRole kHostRole("log-host", [](const std::vector<std::string>& arguments) {
    std::thread(LogOnRequest, arguments[0], 'b', 1).detach();
    LogOnRequest(arguments[0], 'a', std::stoi(arguments[1]));
    return 0;
});

// This program once more, under a name that no other run of the tests has. Its thread 'a' logs so
// many messages each time, 'b' one.
struct LoggingHost {
    LoggingHost(const std::string& tag, int messages)
        : name("FW" + std::to_string(GetCurrentProcessId()) + tag +
               (HostOwnProgram().ends_with(".exe") ? ".EXE" : "")),
          program(std::filesystem::path(HostOwnProgram()).replace_filename(name)) {
        auto command = RoleCommand("log-host", {name, std::to_string(messages)});
        std::filesystem::copy_file(command[0], program);
        command[0] = program.string();
        child = HostChild::Start(command);
    }
    ~LoggingHost() {
        child = HostChild();
        std::filesystem::remove(program);
        std::filesystem::remove(program.parent_path() / "Logs" / (name + ".Log"));
    }

    void Ask(char thread) const { SetEvent((thread == 'a' ? goA : goB).get()); }
    bool HasLogged(char thread, DWORD milliseconds = kLimitMs) const {
        const HANDLE done = (thread == 'a' ? doneA : doneB).get();
        return WaitForSingleObject(done, milliseconds) == WAIT_OBJECT_0;
    }

    const std::string name;  // of the executable, in upper case
    const std::filesystem::path program;
    const OwnedHandle goA = TestEvent(name + "a"), doneA = TestEvent(name + "adone");
    const OwnedHandle goB = TestEvent(name + "b"), doneB = TestEvent(name + "bdone");
    HostChild child;
};

// The tool in the background with both outputs in one file, killed at the end.
struct RunningTool {
    explicit RunningTool(const std::vector<std::string>& arguments) {
        std::fflush(nullptr);
        const int file = open((folder / "out").string().c_str(), O_WRONLY | O_CREAT, 0600);
        const int before[] = {dup(1), dup(2)};
        dup2(file, 1);
        dup2(file, 2);
        std::vector<std::string> command = {
            std::filesystem::absolute(FENWICKEL_LOG_TOOL).make_preferred().string(), "log"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        child = HostChild::Start(command);
        dup2(before[0], 1);
        dup2(before[1], 2);
        for (const int descriptor : {file, before[0], before[1]}) {
            close(descriptor);
        }
    }

    // What it has written when the text is in it and the line is whole; all there is after the
    // limit.
    std::string Await(const std::string& text) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLimitMs);
        for (;;) {
            const std::string all = ReadBytes(folder / "out");
            const std::size_t at = all.find(text);
            if ((at != std::string::npos && all.find('\n', at) != std::string::npos) ||
                std::chrono::steady_clock::now() > end) {
                return all;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    bool Says(const std::string& text) const { return Await(text).find(text) != std::string::npos; }

    TempFolder folder;
    HostChild child;
};
