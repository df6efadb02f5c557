#include "FileWriter.h"

#include <algorithm>
#include <utility>

#include "Failure.h"

namespace {

constexpr std::size_t kMostBytesAtOnce = std::size_t{64} << 20U;

}  // namespace

FileWriter::FileWriter(WString path)
    : m_path(std::move(path)),
      m_file(CreateFileW(m_path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (!m_file || !SetEndOfFile(m_file.get())) {
        throw FileFailure("write", m_path, GetLastError());
    }
}

void FileWriter::Write() {
    for (std::size_t done = 0; done < m_bytes.size();) {
        const auto piece = static_cast<DWORD>(std::min(m_bytes.size() - done, kMostBytesAtOnce));
        DWORD written = 0;
        if (!WriteFile(m_file.get(), m_bytes.data() + done, piece, &written, nullptr)) {
            throw FileFailure("write", m_path, GetLastError());
        }
        if (written != piece) {
            throw FileFailure("write", m_path, ERROR_DISK_FULL);
        }
        done += written;
    }
    m_bytes.clear();
}

void FileWriter::Finish() {
    Write();
    if (!m_file.Close()) {
        throw FileFailure("write", m_path, GetLastError());
    }
}
