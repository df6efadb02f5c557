#include "RecordFileCheck.h"

#include <algorithm>
#include <cstring>

#include "ExitCodes.h"
#include "Failure.h"
#include "RecordReader.h"
#include "platform/Host.h"
#include "platform/Platform.h"

namespace {

constexpr std::size_t kStartBytes = SYNC_RECORD_HEADER_SIZE + SYNC_RECORD_MAX_SIZE;
constexpr std::size_t kLongestLock = 16;  // a process id and a line feed

Failure NotOurs(const StateRole& role, const char* what) {
    return {ExitCode::Usage, std::string(role.name) + " " + Quoted(role.path) + " is not a " +
                                 what +
                                 ": name another file, or remove this one if nobody needs it"};
}

// The first bytes of the file, whoever else has it open; none when it has just gone.
std::string Start(const WString& path, const char* remedy) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    std::string bytes(kStartBytes, '\0');
    std::size_t filled = 0;
    DWORD count = 1;
    bool read = file != INVALID_HANDLE_VALUE;
    while (read && count != 0 && filled < kStartBytes) {
        read = ReadFile(file, bytes.data() + filled, static_cast<DWORD>(kStartBytes - filled),
                        &count, nullptr);
        filled += count;
    }
    const DWORD code = read ? ERROR_SUCCESS : GetLastError();
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
    }
    if (code == ERROR_FILE_NOT_FOUND) {
        return {};
    }
    if (!read) {
        throw SystemFailure(code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed,
                            "read", path, code, remedy);
    }
    bytes.resize(filled);
    return bytes;
}

// A first record that is cut off is judged by the part that is there.
bool BeginsRecord(std::string_view bytes) {
    std::uint32_t size = 0;
    if (bytes.size() < sizeof size) {
        return true;
    }
    std::memcpy(&size, bytes.data(), sizeof size);
    if (RecordSizeFault(size) != nullptr) {
        return false;
    }
    if (bytes.size() < size) {
        return true;
    }
    WString path((size - SYNC_RECORD_FIXED_SIZE) / sizeof(WCHAR), 0);
    std::memcpy(path.data(), bytes.data() + SYNC_RECORD_FIXED_SIZE, path.size() * sizeof(WCHAR));
    return RecordPathFault(path) == nullptr;
}

bool BeginsRecordFile(std::string_view bytes) {
    if (bytes.empty()) {
        return true;
    }
    if (bytes.size() < SYNC_RECORD_HEADER_SIZE) {
        return false;
    }
    const auto reserved = [&](std::size_t from, std::size_t end) {
        return std::all_of(bytes.begin() + from, bytes.begin() + end,
                           [](char byte) { return byte == 0; });
    };
    constexpr std::size_t kCountAt = offsetof(unSyncRecordFileHeader, stFields.llRecordCount);
    return reserved(0, kCountAt) &&
           reserved(kCountAt + sizeof(std::int64_t), SYNC_RECORD_HEADER_SIZE) &&
           BeginsRecord(bytes.substr(SYNC_RECORD_HEADER_SIZE));
}

bool IsLock(std::string_view bytes) {
    return bytes.size() <= kLongestLock &&
           bytes.find_first_not_of("0123456789\n") == std::string_view::npos;
}

}  // namespace

void RequireRecordFiles(const StateFiles& state, bool replacesBase) {
    for (const StateRole& role : Roles(state)) {
        const bool lock = &role.path == &state.lock;
        const char* const what = lock ? "lock file" : "record file";
        if (IsGone(role.path)) {
            continue;
        }
        // A device, a pipe, a link that leads nowhere.
        if (!HostIsRegularFile(role.path) && PathFileExistsW(role.path.c_str())) {
            throw NotOurs(role, what);
        }
        if (&role.path == &state.base && !replacesBase) {
            continue;
        }
        const std::string start =
            Start(role.path, lock ? "make it readable and writable, or delete it "
                                    "when no run is active"
                                  : "name a file that you may read");
        if (lock ? !IsLock(start) : !BeginsRecordFile(start)) {
            throw NotOurs(role, what);
        }
    }
}
