// Joins the lines of a log file into messages.
#pragma once

#include <deque>
#include <string_view>

#include "logshare/LogLineParser.h"

// What a log file consists of.
struct LogEntry {
    enum class Kind {
        Message,
        Summary,   // a line of the block with which a file begins
        Fragment,  // anything else, such as the beginning of a line of a killed writer
    };
    Kind kind = Kind::Fragment;
    WString lines;         // as the file has them, '\n' between two of them
    LogLineHeader header;  // this and what follows: of a message
    WString text;
    LogLineTail tail;  // empty when its writer was killed before it
};

// Takes lines in file order and gives entries.
//
// A text with line breaks spreads over several lines: what follows a header without a tail belongs
// to it until the tail or the next header comes. A line may hold the fragment of a killed writer
// and behind it the line of the next one. Memory is bounded by the longest line.
class LogEntryReader {
public:
    void AddLine(std::basic_string_view<WCHAR> line);

    // No line will follow, so a message that is still open ends here.
    void End();

    // Takes the next entry that is whole. False when there is none.
    bool Next(LogEntry* entry);

private:
    void AddPiece(std::basic_string_view<WCHAR> piece);
    void Begin(std::basic_string_view<WCHAR> line, const LogLineHeader& header, std::size_t length);
    void EndIfWhole();

    std::deque<LogEntry> m_ready;
    LogEntry m_open;  // a message without tail so far; text empty until it ends
    std::size_t m_headerLength = 0;
    bool m_isOpen = false;
};
