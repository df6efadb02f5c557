// Named objects for tests, and a process that holds some.
#pragma once

#include <memory>

#include "TestRoles.h"
#include "TestSupport.h"
#include "logshare/NamedLock.h"
#include "system/Child.h"

// A test that hangs fails instead.
inline constexpr DWORD kLimit = 60000;
inline constexpr DWORD kBlockSize = 100000;

struct CloseIt {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Owned = std::unique_ptr<void, CloseIt>;

enum Kind { Mutex, Event, Mapping };

// Events are for every account, the others are not.
inline Owned Create(Kind kind, const WString& name) {
    OpenToAll everyone;
    return Owned(kind == Mutex   ? CreateMutexW(nullptr, FALSE, name.c_str())
                 : kind == Event ? CreateEventW(everyone.get(), FALSE, FALSE, name.c_str())
                                 : CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                                      0, kBlockSize, name.c_str()));
}

inline Owned Open(Kind kind, const WString& name) {
    return Owned(kind == Mutex   ? OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name.c_str())
                 : kind == Event ? OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str())
                                 : OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name.c_str()));
}

inline DWORD ErrorOf(const Owned& object) {
    return object ? ERROR_SUCCESS : GetLastError();
}

// A beginning of names that no other test uses.
inline std::string UniquePrefix() {
    static int count = 0;
    return "Global\\fenwickel-test-" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(++count) + "-";
}

// A process that owns the mutex "PREFIXmutex" and holds "PREFIXevent" and "PREFIXblock".
inline HostChild StartHolder(const std::string& prefix) {
    const Owned ready = Create(Event, Wide(prefix + "ready"));
    HostChild holder = HostChild::Start(RoleCommand("named-hold", {prefix}));
    WaitForSingleObject(ready.get(), kLimit);
    return holder;
}
