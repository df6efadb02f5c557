#include "StateFolder.h"

#include <chrono>
#include <thread>

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"

namespace {

constexpr std::size_t kPieceBytes = 1U << 20U;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// How long a file is waited for that somebody looks into, which keeps it from being replaced on
// some systems. A program that looks at the state has it open for a moment.
constexpr std::chrono::seconds kReplacePatience{2};
constexpr std::chrono::milliseconds kReplaceNap{10};

const char* const kRemedy = "make the file and its folder readable and writable";

// A file, closed at the end.
class FileHandle {
public:
    FileHandle(const WString& path, DWORD access, DWORD share, DWORD disposition)
        : m_file(CreateFileW(path.c_str(), access, share, nullptr, disposition,
                             FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle() { Close(); }

    bool IsOpen() const { return m_file != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_file; }

    bool Close() {
        const HANDLE file = m_file;
        m_file = INVALID_HANDLE_VALUE;
        return file == INVALID_HANDLE_VALUE || CloseHandle(file) != FALSE;
    }

private:
    HANDLE m_file;
};

Failure CannotAccess(const char* action, const WString& path, const char* remedy = kRemedy) {
    const DWORD code = GetLastError();
    return SystemFailure(code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed,
                         action, path, code, code == ERROR_DISK_FULL ? "free some space" : remedy);
}

bool WriteAll(HANDLE file, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t piece = std::min(kPieceBytes, bytes.size() - done);
        DWORD written = 0;
        if (!WriteFile(file, bytes.data() + done, static_cast<DWORD>(piece), &written, nullptr)) {
            return false;
        }
        done += written;
    }
    return true;
}

// What a killed run left of the same name is overwritten.
void WriteDurably(const WString& path, const std::string& bytes) {
    FileHandle file(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_ALWAYS);
    if (!file.IsOpen() || !WriteAll(file.get(), bytes) || !SetEndOfFile(file.get()) ||
        !FlushFileBuffers(file.get()) || !file.Close()) {
        throw CannotAccess("write", path);
    }
}

}  // namespace

StateFolder ResolveStateFolder(const std::string& argument) {
    if (argument.empty()) {
        throw Failure(ExitCode::Usage, "--state is empty: name a folder");
    }
    StateFolder state;
    state.path = PathArgument("--state", argument);
    // "/" and the like: a folder of the whole system.
    if (state.path.back() == '\\') {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " is a root folder: name a folder that keeps nothing else");
    }
    if (!HostIsFolder(state.path) && !IsGone(state.path)) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " is not a folder that can be entered: name another folder");
    }
    state.files = {state.File(WIDE("base")), state.File(WIDE("syncing")),
                   state.File(WIDE("deleted")), state.File(WIDE("base.lock")), true};
    RequireOwnFiles(state.files);
    return state;
}

void CreateStateFolder(const StateFolder& state) {
    if (HostIsFolder(state.path)) {
        return;
    }
    if (!CreateDirectoryW(state.path.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        throw CannotAccess("create the state folder", state.path,
                           "see that the folder that holds it exists and is writable");
    }
}

void RequireStateFolder(const StateFolder& state) {
    if (!HostIsFolder(state.path)) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " does not exist: name the folder that fenwickel sync was given");
    }
}

std::optional<std::string> ReadWholeFile(const WString& path) {
    const FileHandle file(path, GENERIC_READ, kShareAll, OPEN_EXISTING);
    if (!file.IsOpen()) {
        const DWORD code = GetLastError();
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) {
            return {};
        }
        throw CannotAccess("read", path);
    }
    std::string bytes;
    DWORD count = 1;
    while (count != 0) {
        const std::size_t filled = bytes.size();
        bytes.resize(filled + kPieceBytes);
        if (!ReadFile(file.get(), bytes.data() + filled, static_cast<DWORD>(kPieceBytes), &count,
                      nullptr)) {
            throw CannotAccess("read", path);
        }
        bytes.resize(filled + count);
    }
    return bytes;
}

void WriteWholeFile(const WString& path, const std::string& bytes) {
    const WString fresh = path + WIDE(".new");
    WriteDurably(fresh, bytes);
    const auto end = std::chrono::steady_clock::now() + kReplacePatience;
    while (!MoveFileExW(fresh.c_str(), path.c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD code = GetLastError();
        const bool mayPass = code == ERROR_ACCESS_DENIED || code == ERROR_SHARING_VIOLATION;
        if (!mayPass || std::chrono::steady_clock::now() >= end) {
            throw SystemFailure(ExitCode::Failed, "replace", path, code, kRemedy);
        }
        std::this_thread::sleep_for(kReplaceNap);
    }
}

void RemoveFile(const WString& path) {
    if (!DeleteFileW(path.c_str())) {
        const DWORD code = GetLastError();
        if (code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND) {
            throw CannotAccess("delete", path);
        }
    }
}
