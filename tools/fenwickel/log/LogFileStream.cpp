#include "LogFileStream.h"

#include "logshare/LogFileName.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

namespace {

constexpr std::size_t kBlockBytes = 65536;
// Files that were removed leave gaps in the numbers; a longer gap ends the series.
constexpr DWORD kWidestGap = 64;

OwnedHandle OpenLogFile(const WString& path) {
    OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        throw SystemFailure(ExitCode::Failed, "read", path, GetLastError(),
                            "name a log file that exists and that you may read");
    }
    return file;
}

}  // namespace

LogFileStream::LogFileStream(const WString& path)
    : m_path(path), m_file(OpenLogFile(path)), m_block(kBlockBytes) {}

bool LogFileStream::Next(LogEntry* entry) {
    WString line;
    while (!m_entries.Next(entry)) {
        if (m_text.NextLine(&line)) {
            m_entries.AddLine(line);
        } else if (!ReadBlock()) {
            return false;
        }
    }
    return true;
}

bool LogFileStream::ReadBlock() {
    DWORD bytes = 0;
    if (!ReadFile(m_file.get(), m_block.data(), static_cast<DWORD>(m_block.size()), &bytes,
                  nullptr)) {
        throw SystemFailure(ExitCode::Failed, "read", m_path, GetLastError(), "check the disk");
    }
    m_offset += bytes;
    m_text.Feed({m_block.data(), bytes});
    return bytes != 0;
}

void LogFileStream::Finish() {
    WString line;
    while (m_text.NextLine(&line) || m_text.Rest(&line)) {
        m_entries.AddLine(line);
    }
    m_entries.End();
}

bool LogFileStream::WasCut() const {
    LARGE_INTEGER size;
    return GetFileSizeEx(m_file.get(), &size) &&
           static_cast<std::uint64_t>(size.QuadPart) < m_offset;
}

bool LogFileStream::FindNextFile(WString* path) const {
    const LogFileName name = SplitLogFileName(m_path);
    for (DWORD step = 1; step <= kWidestGap; ++step) {
        *path = NumberedLogFile(name.base, name.number + step);
        if (PathFileExistsW(path->c_str())) {
            return true;
        }
    }
    return false;
}

void LogFileStream::Restart() {
    Finish();
    m_text = LogTextDecoder();
    m_offset = 0;
}

bool LogFileStream::Advance() {
    WString next;
    if (WasCut()) {
        Restart();
        LARGE_INTEGER start;
        start.QuadPart = 0;
        return SetFilePointerEx(m_file.get(), start, nullptr, FILE_BEGIN) != FALSE;
    }
    if (!m_leaving) {
        m_leaving = FindNextFile(&next);
        return m_leaving;
    }
    m_leaving = false;
    if (!FindNextFile(&next)) {
        return false;
    }
    m_file = OpenLogFile(next);
    m_path = next;
    Restart();
    return true;
}
