#include "logshare/LogEntries.h"

#include <utility>

namespace {

using View = std::basic_string_view<WCHAR>;

constexpr std::size_t kLongestEntry = 131072;  // units

LogEntry Plain(LogEntry::Kind kind, View line) {
    LogEntry entry;
    entry.kind = kind;
    entry.lines = line;
    return entry;
}

}  // namespace

void LogEntryReader::AddLine(View line) {
    if (IsLogColumnLine(line)) {
        End();
        m_ready.push_back(Plain(LogEntry::Kind::Summary, line));
        return;
    }
    const std::size_t first = FindLogHeader(line);
    if (first != 0) {
        AddPiece(line.substr(0, first));
    }
    for (std::size_t at = first; at < line.size();) {
        LogLineHeader header;
        const View left = line.substr(at);
        const std::size_t length = ParseLogHeader(left, &header);
        const std::size_t next = FindLogHeader(left.substr(length));
        const std::size_t end = next == View::npos ? left.size() : length + next;
        Begin(left.substr(0, end), header, length);
        at += end;
    }
}

// What stands before the first header of a line, or a line without one.
void LogEntryReader::AddPiece(View piece) {
    if (!m_isOpen) {
        m_ready.push_back(Plain(LogEntry::Kind::Fragment, piece));
        return;
    }
    m_open.lines += WCHAR{'\n'};
    m_open.lines += piece;
    EndIfWhole();
    if (m_open.lines.size() > kLongestEntry) {
        End();
    }
}

void LogEntryReader::Begin(View line, const LogLineHeader& header, std::size_t length) {
    End();
    m_open = Plain(LogEntry::Kind::Message, line);
    m_open.header = header;
    m_headerLength = length;
    m_isOpen = true;
    EndIfWhole();
}

void LogEntryReader::EndIfWhole() {
    LogLineTail tail;
    const View text = View(m_open.lines).substr(m_headerLength);
    if (ParseLogTail(text, &tail) != 0) {
        End();
    } else if (IsLogSummaryText(text)) {
        m_open.kind = LogEntry::Kind::Summary;
        End();
    }
}

void LogEntryReader::End() {
    if (!m_isOpen) {
        return;
    }
    m_isOpen = false;
    const View text = View(m_open.lines).substr(m_headerLength);
    m_open.text = text.substr(0, text.size() - ParseLogTail(text, &m_open.tail));
    m_ready.push_back(std::exchange(m_open, LogEntry()));
}

bool LogEntryReader::Next(LogEntry* entry) {
    if (m_ready.empty()) {
        return false;
    }
    *entry = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}
