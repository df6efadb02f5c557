// Lines, their encoding and the file's mark.
#include <cstring>
#include <memory_resource>
#include <numeric>
#include <string>

#include "dbglog/FileOutput.h"
#include "dbglog/TraceHook.h"
#include "platform/LogPlace.h"
#include "platform/Text.h"

namespace NSDBG {

namespace {

using View = std::basic_string_view<WCHAR>;

constexpr char kByteOrderMark[] = {'\xFF', '\xFE'};
constexpr int kConvertedCapacity = 1024;    // characters
constexpr std::size_t kTailCapacity = 260;  // characters, terminator included
constexpr std::size_t kUsualLineBytes = 3072;

constexpr const WCHAR* kHeaderFailure =
    WIDE("[%d:%d] Failed to Write log header. ERR=%d, [%d]File=%s\r\n");
constexpr const WCHAR* kMessageFailure =
    WIDE("[%d:%d] Failed to Write log message. ERR=%d, [%d]File=%s\r\n");
constexpr const WCHAR* kTailFailure =
    WIDE("[%d:%d] Failed to Write log tail. ERR=%d, [%d]File=%s\r\n");
constexpr const WCHAR* kLineEndFailure =
    WIDE("[%d:%d] Failed to Write [rn]. ERR=%d, [%d]File=%s\r\n");

std::string_view BytesOf(View text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(WCHAR)};
}

std::string_view ToAnsi(View text, char* buffer, int capacity) {
    const int length =
        text.empty() ? 0
                     : WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                           buffer, capacity, nullptr, nullptr);
    return {buffer, static_cast<std::size_t>(length)};
}

View ToWide(std::string_view text, WCHAR* buffer, int capacity) {
    const int length = text.empty()
                           ? 0
                           : MultiByteToWideChar(CP_ACP, 0, text.data(),
                                                 static_cast<int>(text.size()), buffer, capacity);
    return {buffer, static_cast<std::size_t>(length)};
}

// "   {host::Module.dll(build.revision)}"
using Tail = WCHAR[kTailCapacity];

void MakeTail(Tail& tail, const WCHAR* process, const WCHAR* module, DWORD version) {
    WideFormat(tail, kTailCapacity, WIDE("   {%s::%s(%d.%d)}"), process, module, version >> 16,
               version & 0xFFFF);
}

}  // namespace

bool CFileOutput::PrepareFile() {
    // An unknown size counts as a large one, so that nothing overwrites the start of a file.
    if (SizeOfOpenFile(sizeof kByteOrderMark + 1) > sizeof kByteOrderMark) {
        FindEncoding();
        return true;
    }
    if (m_bUnicodeFile != 0 && !WriteByteOrderMark()) {
        return false;
    }
    WriteSummary();
    return true;
}

bool CFileOutput::WriteByteOrderMark() {
    DWORD written = 0;
    // Not appended: should two processes do it at once, the second changes nothing.
    SetAppending(m_hFile, false);
    const bool done =
        SetFilePointerEx(m_hFile, LARGE_INTEGER{}, nullptr, FILE_BEGIN) &&
        WriteFile(m_hFile, kByteOrderMark, sizeof kByteOrderMark, &written, nullptr) &&
        written == sizeof kByteOrderMark;
    SetAppending(m_hFile, true);
    if (done) {
        FlushFileBuffers(m_hFile);
    }
    return done;
}

// The encoding stays as it is when the start of the file cannot be read.
void CFileOutput::FindEncoding() {
    char start[sizeof kByteOrderMark];
    DWORD bytes = 0;
    if (SetFilePointerEx(m_hFile, LARGE_INTEGER{}, nullptr, FILE_BEGIN) &&
        ReadFile(m_hFile, start, sizeof start, &bytes, nullptr) && bytes == sizeof start) {
        m_bUnicodeFile = std::memcmp(start, kByteOrderMark, sizeof start) == 0 ? 1 : 0;
    }
}

void CFileOutput::WriteLineW(View header, View text, bool withTail) {
    if (m_bUnicodeFile == 0) {
        char narrowHeader[kConvertedCapacity];
        char narrowText[kConvertedCapacity];
        WriteLineA(ToAnsi(header, narrowHeader, kConvertedCapacity),
                   ToAnsi(text, narrowText, kConvertedCapacity), withTail);
        return;
    }
    Tail tail = {};
    if (withTail) {
        MakeTail(tail, m_szProcessName, m_szModuleName, m_dwFileVersionLS);
    }
    WriteParts({{BytesOf(header), kHeaderFailure},
                {BytesOf(text), kMessageFailure},
                {BytesOf(tail), kTailFailure},
                {BytesOf(WIDE("\r\n")), kLineEndFailure}});
}

void CFileOutput::WriteLineA(std::string_view header, std::string_view text, bool withTail) {
    if (m_bUnicodeFile != 0) {
        WCHAR wideHeader[kConvertedCapacity];
        WCHAR wideText[kConvertedCapacity];
        WriteLineW(ToWide(header, wideHeader, kConvertedCapacity),
                   ToWide(text, wideText, kConvertedCapacity), withTail);
        return;
    }
    char narrowTail[kConvertedCapacity];
    std::string_view tailBytes;
    if (withTail) {
        Tail tail;
        MakeTail(tail, m_szProcessName, m_szModuleName, m_dwFileVersionLS);
        tailBytes = ToAnsi(tail, narrowTail, kConvertedCapacity).substr(0, kTailCapacity - 1);
    }
    WriteParts({{header, kHeaderFailure},
                {text, kMessageFailure},
                {tailBytes, kTailFailure},
                {"\r\n", kLineEndFailure}});
}

// One write for all: a line that other processes write at the same time comes before or behind it.
// A usual line fits into the memory on the stack.
void CFileOutput::WriteParts(std::initializer_list<Part> parts) {
    if (!SeekToEnd()) {
        return;
    }
    char room[kUsualLineBytes];
    std::pmr::monotonic_buffer_resource memory(room, sizeof room);
    std::pmr::string line(&memory);
    line.reserve(
        std::accumulate(parts.begin(), parts.end(), std::size_t{0},
                        [](std::size_t sum, const Part& part) { return sum + part.bytes.size(); }));
    for (const Part& part : parts) {
        line += part.bytes;
    }
    DWORD written = 0;
    WriteFile(m_hFile, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    std::size_t end = 0;
    for (const Part& part : parts) {
        end += part.bytes.size();
        if (!part.bytes.empty() && end > written) {
            TraceFailure(part.failure);
        }
    }
}

bool CFileOutput::SeekToEnd() {
    if (SetFilePointerEx(m_hFile, LARGE_INTEGER{}, nullptr, FILE_END)) {
        return true;
    }
    TraceFailure(WIDE("[%d:%d] Failed to SetFilePointer. ERR=%d, [%d]File=%s\r\n"));
    return false;
}

void CFileOutput::TraceFailure(const WCHAR* format) const {
    TraceHook(format, GetCurrentProcessId(), GetCurrentThreadId(), GetLastError(),
              reinterpret_cast<std::intptr_t>(m_hFile), m_szLogFile);
}

}  // namespace NSDBG
