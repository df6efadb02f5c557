#include "WholeFile.h"

#include "Failure.h"
#include "FileWriter.h"
#include "Patience.h"
#include "platform/OwnedHandle.h"

namespace {

constexpr std::size_t kPieceBytes = 1U << 20U;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool IsMissing(DWORD code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

// Forces the file to the disk.
bool ForceToDisk(const WString& path) {
    const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && FlushFileBuffers(file.get());
}

}  // namespace

// Windows refuses with 5 what an open file forbids, other systems with 5 or 32.
void Replacement::PutInPlace() const {
    const Patience patience(kFilePatience);
    while (!ForceToDisk(m_fresh) ||
           !MoveFileExW(m_fresh.c_str(), m_file.c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD code = GetLastError();
        const bool mayPass = code == ERROR_ACCESS_DENIED || code == ERROR_SHARING_VIOLATION;
        if (!mayPass || !patience.Nap()) {
            throw FileFailure("replace", m_file, code);
        }
    }
}

std::optional<std::string> ReadWholeFile(const WString& path) {
    const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        if (IsMissing(GetLastError())) {
            return {};
        }
        throw FileFailure("read", path, GetLastError());
    }
    std::string bytes;
    DWORD count = 1;
    while (count != 0) {
        const std::size_t filled = bytes.size();
        bytes.resize(filled + kPieceBytes);
        if (!ReadFile(file.get(), bytes.data() + filled, static_cast<DWORD>(kPieceBytes), &count,
                      nullptr)) {
            throw FileFailure("read", path, GetLastError());
        }
        bytes.resize(filled + count);
    }
    return bytes;
}

void WriteWholeFile(const WString& path, const std::string& bytes) {
    const Replacement next(path);
    FileWriter file(next.Path());
    file.Append(bytes);
    file.Finish();
    next.PutInPlace();
}

void RemoveFile(const WString& path) {
    if (!DeleteFileW(path.c_str()) && !IsMissing(GetLastError())) {
        throw FileFailure("delete", path, GetLastError());
    }
}
