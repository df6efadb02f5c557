#include "FileWriter.h"

#include <algorithm>
#include <utility>

#include "ExitCodes.h"
#include "Failure.h"

namespace {

constexpr std::size_t kMostBytesAtOnce = std::size_t{64} << 20U;

Failure WriteFailure(const WString& path, DWORD code = GetLastError()) {
    return SystemFailure(
        code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed, "write", path, code,
        code == ERROR_DISK_FULL ? "free some space" : "make the file and its folder writable");
}

}  // namespace

FileWriter::FileWriter(WString path)
    : m_path(std::move(path)),
      m_file(CreateFileW(m_path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (!m_file || !SetEndOfFile(m_file.get())) {
        throw WriteFailure(m_path);
    }
}

void FileWriter::Write() {
    for (std::size_t done = 0; done < m_bytes.size();) {
        const auto piece = static_cast<DWORD>(std::min(m_bytes.size() - done, kMostBytesAtOnce));
        DWORD written = 0;
        if (!WriteFile(m_file.get(), m_bytes.data() + done, piece, &written, nullptr)) {
            throw WriteFailure(m_path);
        }
        if (written != piece) {
            throw WriteFailure(m_path, ERROR_DISK_FULL);
        }
        done += written;
    }
    m_bytes.clear();
}

void FileWriter::Finish() {
    Write();
    if (!FlushFileBuffers(m_file.get()) || !m_file.Close()) {
        throw WriteFailure(m_path);
    }
}
