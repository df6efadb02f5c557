// The machine: processor, system version, name, clock, random identifiers.
#include <sys/random.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <charconv>
#include <climits>
#include <cstring>
#include <ctime>
#include <string_view>

#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"

static_assert(sizeof(OSVERSIONINFOW) == 276 && sizeof(OSVERSIONINFOEXW) == 284);

namespace {

constexpr WORD kUnknownArchitecture = 0xFFFF;

WORD Architecture(std::string_view machine) {
    constexpr struct {
        std::string_view name;
        WORD number;
    } kKnown[] = {
        {"x86_64", PROCESSOR_ARCHITECTURE_AMD64}, {"aarch64", PROCESSOR_ARCHITECTURE_ARM64},
        {"i386", PROCESSOR_ARCHITECTURE_INTEL},   {"i486", PROCESSOR_ARCHITECTURE_INTEL},
        {"i586", PROCESSOR_ARCHITECTURE_INTEL},   {"i686", PROCESSOR_ARCHITECTURE_INTEL},
        {"ia64", PROCESSOR_ARCHITECTURE_IA64}};
    for (const auto& known : kKnown) {
        if (known.name == machine) {
            return known.number;
        }
    }
    return kUnknownArchitecture;
}

// Takes a number and the point behind it off the front; 0 when there is none.
DWORD TakeNumber(std::string_view* text) {
    DWORD number = 0;
    const char* const end = text->data() + text->size();
    const char* const stop = std::from_chars(text->data(), end, number).ptr;
    text->remove_prefix(static_cast<std::size_t>(stop - text->data()));
    text->remove_prefix(text->starts_with('.') ? 1 : 0);
    return number;
}

}  // namespace

void GetNativeSystemInfo(SYSTEM_INFO* information) {
    utsname system;
    const bool known = uname(&system) == 0;
    information->wProcessorArchitecture =
        known ? Architecture(system.machine) : kUnknownArchitecture;
    information->wReserved = 0;
    information->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    information->dwNumberOfProcessors = static_cast<DWORD>(sysconf(_SC_NPROCESSORS_ONLN));
}

// A program of another width gets the same answer.
void GetSystemInfo(SYSTEM_INFO* information) {
    GetNativeSystemInfo(information);
}

BOOL GetVersionExW(OSVERSIONINFOW* version) {
    if (FaultFails("GetVersionExW")) {
        return FALSE;
    }
    const DWORD size = version->dwOSVersionInfoSize;
    utsname system;
    if (size != sizeof(OSVERSIONINFOW) && size != sizeof(OSVERSIONINFOEXW)) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (uname(&system) != 0) {
        return Fail(CommonError(errno));
    }
    std::memset(version, 0, size);
    version->dwOSVersionInfoSize = size;
    std::string_view release = system.release;
    version->dwMajorVersion = TakeNumber(&release);
    version->dwMinorVersion = TakeNumber(&release);
    version->dwBuildNumber = TakeNumber(&release);
    return TRUE;
}

BOOL GetComputerNameW(WCHAR* buffer, DWORD* size) {
    if (FaultFails("GetComputerNameW")) {
        return FALSE;
    }
    char bytes[HOST_NAME_MAX + 1] = {};
    if (gethostname(bytes, sizeof bytes - 1) != 0) {
        return Fail(CommonError(errno));
    }
    const WString name = WideFromValue(bytes);
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(name.size());
    if (name.size() >= capacity) {
        ++*size;  // the room that is needed counts the terminator
        return Fail(ERROR_BUFFER_OVERFLOW);
    }
    name.copy(buffer, name.size());
    buffer[name.size()] = 0;
    return TRUE;
}

void GetLocalTime(SYSTEMTIME* time) {
    timespec now{};
    tm local{};
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    *time = {static_cast<WORD>(local.tm_year + 1900), static_cast<WORD>(local.tm_mon + 1),
             static_cast<WORD>(local.tm_wday),        static_cast<WORD>(local.tm_mday),
             static_cast<WORD>(local.tm_hour),        static_cast<WORD>(local.tm_min),
             static_cast<WORD>(local.tm_sec),         static_cast<WORD>(now.tv_nsec / 1000000)};
}

RPC_STATUS UuidCreate(UUID* identifier) {
    if (FaultFails("UuidCreate")) {
        return static_cast<RPC_STATUS>(GetLastError());
    }
    // Short requests are never answered in part.
    const auto count = Uninterrupted([&] { return getrandom(identifier, sizeof *identifier, 0); });
    if (count != static_cast<ssize_t>(sizeof *identifier)) {
        return static_cast<RPC_STATUS>(CommonError(errno));
    }
    identifier->Data3 = static_cast<WORD>((identifier->Data3 & 0x0FFF) | 0x4000);
    identifier->Data4[0] = static_cast<BYTE>((identifier->Data4[0] & 0x3F) | 0x80);
    return static_cast<RPC_STATUS>(ERROR_SUCCESS);
}
