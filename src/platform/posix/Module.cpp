// Modules of the process. A module's handle is the address at which its image begins.
#include "platform/posix/Module.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/FaultPoint.h"
#include "platform/Text.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"

namespace {

// Where the image that holds the address begins; null when none does.
void* BaseOf(const void* address) {
    Dl_info found;
    return dladdr(address, &found) != 0 ? found.dli_fbase : nullptr;
}

void* ExecutableBase() {
    return BaseOf(reinterpret_cast<const void*>(getauxval(AT_PHDR)));
}

// The file that is mapped at the address, as the system knows it: absolute whatever the name was
// under which it was loaded. Empty when there is none.
std::string MappedFile(const void* address) {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        std::uintptr_t first = 0;
        std::uintptr_t end = 0;
        const char* const last = line.data() + line.size();
        const auto [dash, error] = std::from_chars(line.data(), last, first, 16);
        if (error != std::errc() || dash == last) {
            continue;
        }
        std::from_chars(dash + 1, last, end, 16);
        const auto wanted = reinterpret_cast<std::uintptr_t>(address);
        const std::size_t path = line.find('/');
        if (wanted >= first && wanted < end && path != std::string::npos) {
            return WithoutDeletedMark(line.substr(path));
        }
    }
    return std::string();
}

// True for an absolute path that no component "", "." or ".." makes ambiguous.
bool IsPlainPath(const std::string& path) {
    return path.starts_with('/') && path.find("//") == std::string::npos &&
           path.find("/./") == std::string::npos && path.find("/../") == std::string::npos;
}

std::string PathOfModule(void* base) {
    if (base == ExecutableBase()) {
        return ExecutablePath();
    }
    Dl_info found;
    if (base == nullptr || dladdr(base, &found) == 0 || found.dli_fbase != base) {
        return std::string();
    }
    const std::string loaded = found.dli_fname;
    return IsPlainPath(loaded) ? loaded : MappedFile(base);
}

// An address inside each loaded image, the executable first.
int CollectImage(dl_phdr_info* image, std::size_t, void* addresses) {
    for (int i = 0; i < image->dlpi_phnum; ++i) {
        if (image->dlpi_phdr[i].p_type == PT_LOAD) {
            const ElfW(Addr) address = image->dlpi_addr + image->dlpi_phdr[i].p_vaddr;
            static_cast<std::vector<const void*>*>(addresses)->push_back(
                reinterpret_cast<const void*>(address));
            return 0;
        }
    }
    return 0;
}

bool HasFileName(const std::string& path, std::basic_string_view<WCHAR> name) {
    const std::string file = path.substr(path.find_last_of('/') + 1);
    return !file.empty() && EqualNoCase(WideFromPath(file), name);
}

}  // namespace

std::string WithoutDeletedMark(std::string path) {
    constexpr std::string_view kMark = " (deleted)";
    if (path.ends_with(kMark)) {
        path.resize(path.size() - kMark.size());
    }
    return path;
}

std::string ExecutablePath() {
    std::string path(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return WithoutDeletedMark(path);
}

SIZE_T VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, SIZE_T byteCount) {
    if (FaultFails("VirtualQuery")) {
        return 0;
    }
    if (byteCount < sizeof *information) {
        return static_cast<SIZE_T>(Fail(ERROR_BAD_LENGTH));
    }
    void* const base = BaseOf(address);
    if (base == nullptr) {
        return static_cast<SIZE_T>(Fail(ERROR_INVALID_PARAMETER));
    }
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    information->BaseAddress = reinterpret_cast<void*>(number / page * page);
    information->AllocationBase = base;
    return sizeof *information;
}

DWORD GetModuleFileNameW(HMODULE module, WCHAR* buffer, DWORD size) {
    if (FaultFails("GetModuleFileNameW")) {
        return 0;
    }
    const WString path = WideFromPath(module == nullptr ? ExecutablePath() : PathOfModule(module));
    if (path.empty()) {
        return static_cast<DWORD>(Fail(ERROR_MOD_NOT_FOUND));
    }
    if (path.size() < size) {
        path.copy(buffer, path.size());
        buffer[path.size()] = 0;
        SetLastError(ERROR_SUCCESS);
        return static_cast<DWORD>(path.size());
    }
    if (size > 0) {
        path.copy(buffer, size - 1);
        buffer[size - 1] = 0;
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

HMODULE GetModuleHandleW(const WCHAR* name) {
    if (FaultFails("GetModuleHandleW")) {
        return nullptr;
    }
    if (name == nullptr) {
        return static_cast<HMODULE>(ExecutableBase());
    }
    std::vector<const void*> addresses;
    dl_iterate_phdr(CollectImage, &addresses);
    for (const void* const address : addresses) {
        void* const base = BaseOf(address);
        if (base != nullptr && HasFileName(PathOfModule(base), name)) {
            return static_cast<HMODULE>(base);
        }
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

HMODULE GetModuleHandleA(const char*) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

FARPROC GetProcAddress(HMODULE, const char*) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}
