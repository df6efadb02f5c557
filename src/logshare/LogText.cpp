#include "logshare/LogText.h"

#include <cstring>

#include "platform/Platform.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xFF\xFE";
constexpr std::string_view kLineFeed = {"\n\0", 2};
constexpr std::string_view kLineEnd = {"\r\0\n\0", 4};

WString FromUtf16(std::string_view bytes) {
    bytes.remove_prefix(bytes.size() % sizeof(WCHAR));
    WString text(bytes.size() / sizeof(WCHAR), 0);
    std::memcpy(text.data(), bytes.data(), bytes.size());
    return text;
}

WString FromAnsi(std::string_view bytes) {
    const int size = static_cast<int>(bytes.size());
    const int units =
        size == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0);
    WString text(static_cast<std::size_t>(units), 0);
    if (units > 0) {
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data(), units);
    }
    return text;
}

}  // namespace

// Skips the mark, which belongs to no line. Needs two bytes to decide, unless the file ends.
bool LogTextDecoder::DetectEncoding(bool atEnd) {
    if (m_encoding == Encoding::Unknown && (atEnd || m_bytes.size() >= kByteOrderMark.size())) {
        const bool marked = m_bytes.starts_with(kByteOrderMark);
        m_encoding = marked ? Encoding::Utf16 : Encoding::Ansi;
        m_begin = marked ? kByteOrderMark.size() : 0;
    }
    return m_encoding != Encoding::Unknown;
}

// A complete line end at an odd distance means that the bytes before it end in half a unit. Sound
// text never looks like that: U+0A00 is no character.
bool LogTextDecoder::FindUtf16Line(std::string_view left, Extent* extent) const {
    for (std::size_t at = 0; at + 1 < left.size(); at += 2) {
        if (left.compare(at, 2, kLineFeed) == 0) {
            *extent = {at, kLineFeed.size()};
            return true;
        }
        if (left.compare(at + 1, 4, kLineEnd) == 0) {
            *extent = {at + 1, kLineEnd.size()};
            return true;
        }
    }
    return false;
}

bool LogTextDecoder::FindLine(Extent* extent) const {
    const std::string_view left = std::string_view(m_bytes).substr(m_begin);
    const bool wide = m_encoding == Encoding::Utf16;
    const std::size_t longest = kLongestLine * (wide ? sizeof(WCHAR) : 1);
    bool found = false;
    if (wide) {
        found = FindUtf16Line(left.substr(0, longest + kLineEnd.size()), extent);
    } else if (const std::size_t at = left.find('\n'); at != std::string_view::npos) {
        *extent = {at, 1};
        found = true;
    }
    if ((!found && left.size() > longest + kLineEnd.size()) || (found && extent->line > longest)) {
        *extent = {longest, 0};
        found = true;
    }
    return found;
}

WString LogTextDecoder::Decode(std::string_view bytes) const {
    WString line = m_encoding == Encoding::Utf16 ? FromUtf16(bytes) : FromAnsi(bytes);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

void LogTextDecoder::Take(const Extent& extent, WString* line) {
    *line = Decode(std::string_view(m_bytes).substr(m_begin, extent.line));
    m_begin += extent.line + extent.end;
    if (m_begin > kLongestLine) {
        m_bytes.erase(0, m_begin);
        m_begin = 0;
    }
}

bool LogTextDecoder::NextLine(WString* line) {
    Extent extent;
    if (!DetectEncoding(false) || !FindLine(&extent)) {
        return false;
    }
    Take(extent, line);
    return true;
}

bool LogTextDecoder::Rest(WString* line) {
    DetectEncoding(true);
    if (m_encoding == Encoding::Utf16 && (m_bytes.size() - m_begin) % sizeof(WCHAR) != 0) {
        m_bytes.pop_back();  // drops half a unit and keeps the text before it
    }
    if (m_begin >= m_bytes.size()) {
        return false;
    }
    Take({m_bytes.size() - m_begin, 0}, line);
    return true;
}
