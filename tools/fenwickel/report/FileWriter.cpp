#include "ListFile.h"

#include <utility>

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

namespace {

Failure WriteFailure(const WString& path) {
    return SystemFailure(ExitCode::Failed, "write", path, GetLastError(),
                         "see that the state folder has room and can be written");
}

}  // namespace

ListFile::ListFile(WString path)
    : m_path(std::move(path)),
      m_file(CreateFileW(m_path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (m_file == INVALID_HANDLE_VALUE) {
        throw WriteFailure(m_path);
    }
    if (!SetEndOfFile(m_file)) {
        const Failure failure = WriteFailure(m_path);
        CloseHandle(m_file);
        throw failure;
    }
}

ListFile::ListFile(ListFile&& other) noexcept
    : m_path(std::move(other.m_path)),
      m_file(std::exchange(other.m_file, INVALID_HANDLE_VALUE)),
      m_bytes(std::move(other.m_bytes)) {}

ListFile::~ListFile() {
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
    }
}

void ListFile::Write() {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(m_bytes.size());
    if (!WriteFile(m_file, m_bytes.data(), size, &written, nullptr)) {
        throw WriteFailure(m_path);
    }
    if (written != size) {
        SetLastError(ERROR_DISK_FULL);
        throw WriteFailure(m_path);
    }
    m_bytes.clear();
}

void ListFile::Finish() {
    Write();
    if (!FlushFileBuffers(m_file)) {
        throw WriteFailure(m_path);
    }
}
