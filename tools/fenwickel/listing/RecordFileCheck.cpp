#include "RecordFileCheck.h"

#include <algorithm>
#include <cstring>

#include "RecordReader.h"
#include "platform/OwnedHandle.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"

namespace {

constexpr std::size_t kStartBytes = SYNC_RECORD_HEADER_SIZE + SYNC_RECORD_MAX_SIZE;
constexpr std::size_t kChunkBytes = 65536;
constexpr std::size_t kLongestLock = 16;  // a process id and a line feed

Failure NotOurs(const StateRole& role, const char* what) {
    return {ExitCode::Usage, std::string(role.name) + " " + Quoted(role.path) + " is not a " +
                                 what +
                                 ": name another file, or remove this one if it is not needed"};
}

// Reads up to the given number of bytes; fewer at the end of the file. False with the last error
// set when it cannot be read.
bool ReadUpTo(HANDLE file, std::size_t most, std::string* bytes) {
    bytes->assign(most, '\0');
    std::size_t filled = 0;
    DWORD count = 1;
    while (count != 0 && filled < most) {
        if (!ReadFile(file, bytes->data() + filled, static_cast<DWORD>(most - filled), &count,
                      nullptr)) {
            return false;
        }
        filled += count;
    }
    bytes->resize(filled);
    return true;
}

bool AllZero(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte == 0; });
}

// The first bytes of the file, also while other programs have it open; none when it has just gone.
// A file that is zero throughout counts as empty: after a loss of power, what was not yet flushed
// may come back like that.
std::string Start(const WString& path, const char* remedy) {
    const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string bytes;
    std::string more;
    bool read = file && ReadUpTo(file.get(), kStartBytes, &bytes);
    bool isZero = read && AllZero(bytes);
    for (more = bytes; isZero && !more.empty(); isZero = read && AllZero(more)) {
        read = ReadUpTo(file.get(), kChunkBytes, &more);
    }
    const DWORD code = read ? ERROR_SUCCESS : GetLastError();
    if (code == ERROR_FILE_NOT_FOUND) {
        return {};
    }
    if (!read) {
        throw SystemFailure(code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed,
                            "read", path, code,
                            code == ERROR_FILENAME_EXCED_RANGE ? "shorten it" : remedy);
    }
    return isZero ? std::string() : bytes;
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
    constexpr std::size_t kCountAt = offsetof(unSyncRecordFileHeader, stFields.llRecordCount);
    constexpr std::size_t kCountEnd = kCountAt + sizeof(std::int64_t);
    const std::string_view header = bytes.substr(0, SYNC_RECORD_HEADER_SIZE);
    return AllZero(header.substr(0, kCountAt)) &&
           (header.size() <= kCountEnd || AllZero(header.substr(kCountEnd))) &&
           (bytes.size() <= SYNC_RECORD_HEADER_SIZE ||
            BeginsRecord(bytes.substr(SYNC_RECORD_HEADER_SIZE)));
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
