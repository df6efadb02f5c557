// Bytes of a log file as lines of text.
#pragma once

#include <string>
#include <string_view>

#include "fenwickel/Types.h"

// Takes the bytes of a file from its beginning, in pieces of any size, and gives lines.
//
// A file that begins with FF FE is UTF-16LE, any other is in the system's ANSI code page. Memory is
// bounded: a line of more than kLongestLine units or bytes comes in pieces. After an odd number of
// bytes, which a killed writer may leave, the next line end shows where units begin.
class LogTextDecoder {
public:
    static constexpr std::size_t kLongestLine = 65536;

    void Feed(std::string_view bytes) { m_bytes.append(bytes); }

    // The next line, without its end. False when more bytes are needed for one.
    bool NextLine(WString* line);

    // At the end of the file: the last line, which has no line end. False when there is none.
    bool Rest(WString* line);

private:
    enum class Encoding { Unknown, Utf16, Ansi };
    // The first line of what is left: its bytes, and those of its end.
    struct Extent {
        std::size_t line = 0;
        std::size_t end = 0;
    };

    bool DetectEncoding(bool atEnd);
    bool FindLine(Extent* extent) const;
    bool FindUtf16Line(std::string_view left, Extent* extent) const;
    WString Decode(std::string_view bytes) const;
    void Take(const Extent& extent, WString* line);

    std::string m_bytes;
    std::size_t m_begin = 0;  // of the bytes not yet given
    Encoding m_encoding = Encoding::Unknown;
};
