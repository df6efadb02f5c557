// Owners of what COM hands out.
#pragma once

#include <memory>

#include "platform/Platform.h"

// <objbase.h> relies on <windows.h> above.
#include <objbase.h>

struct ComRelease {
    void operator()(IUnknown* object) const { object->Release(); }
};

// One reference to a COM object.
template <class Interface>
using ComRef = std::unique_ptr<Interface, ComRelease>;

// COM on the calling thread, while the object lives. A thread that the host has put into an
// apartment of another kind is used as it is.
class ComThread {
public:
    ComThread() : m_result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComThread() {
        if (SUCCEEDED(m_result)) {
            CoUninitialize();
        }
    }
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;

private:
    const HRESULT m_result;
};

// Keeps COM alive in the process from Hold to destruction, whichever threads come and go. Without
// it an object that outlives a ComThread would lose its ties to the service.
class ComProcess {
public:
    ComProcess() = default;
    ~ComProcess() {
        if (m_cookie != nullptr) {
            CoDecrementMTAUsage(m_cookie);
        }
    }
    ComProcess(const ComProcess&) = delete;
    ComProcess& operator=(const ComProcess&) = delete;

    HRESULT Hold() { return CoIncrementMTAUsage(&m_cookie); }

private:
    CO_MTA_USAGE_COOKIE m_cookie = nullptr;
};
