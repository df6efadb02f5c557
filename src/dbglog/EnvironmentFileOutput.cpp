#include "dbglog/EnvironmentFileOutput.h"

#include <algorithm>

#include "platform/Text.h"

namespace NSDBG {

namespace {

constexpr int kThreshold = 2;
constexpr DWORD kLongestPath = 32768;

WString LogFilePath() {
    WString path(kLongestPath, 0);
    const DWORD length = GetEnvironmentVariableW(WIDE("FENWICKEL_LOG"), path.data(), kLongestPath);
    path.resize(length < kLongestPath ? length : 0);
    return path;
}

// Line ends inside the text, which names of files may hold, become visible signs: a line of the
// file is a message, and no name can pass for one.
WString OneLine(WString text) {
    std::replace(text.begin(), text.end(), WIDE('\n'), WIDE('\u240A'));
    std::replace(text.begin(), text.end(), WIDE('\r'), WIDE('\u240D'));
    return text;
}

}  // namespace

void CEnvironmentFileOutput::Release() {
    delete this;
}

CEnvironmentFileOutput::~CEnvironmentFileOutput() {
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
    }
}

int CEnvironmentFileOutput::GetLogLevel() {
    return kThreshold;
}

void CEnvironmentFileOutput::WriteLogA(int level, unsigned int, const char* text) {
    if (level <= kThreshold) {
        WriteLine(Utf8FromWide(OneLine(WideFromUtf8(text))));
    }
}

void CEnvironmentFileOutput::WriteLogW(int level, unsigned int, const WCHAR* text) {
    if (level <= kThreshold) {
        WriteLine(Utf8FromWide(OneLine(text)));
    }
}

void CEnvironmentFileOutput::Open() {
    m_opened = true;
    const WString path = LogFilePath();
    if (!path.empty()) {
        // Shared for everything: others append to it, read it, and may delete it under us.
        m_file = CreateFileW(path.c_str(), FILE_APPEND_DATA,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    }
}

void CEnvironmentFileOutput::WriteLine(std::string line) {
    const std::lock_guard guard(m_lock);
    if (!m_opened) {
        Open();
    }
    if (m_file != INVALID_HANDLE_VALUE) {
        line += '\n';
        DWORD written = 0;
        WriteFile(m_file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
}

}  // namespace NSDBG
