// A log file of foreign bytes: its lines are of bounded length, and what a header says survives
// being written and read again.
#include "FuzzTarget.h"
#include "logshare/LogLine.h"
#include "logshare/LogLineParser.h"
#include "logshare/LogText.h"

namespace {

using View = std::basic_string_view<WCHAR>;

WString Format(const LogLineHeader& header) {
    WCHAR text[kLineHeaderCapacity];
    FormatLineHeader(text, header.time, header.level, header.processId, header.threadId,
                     header.errorCode);
    return text;
}

// A year below 1000 is written with blanks, as no clock writes it.
void CheckHeader(const LogLineHeader& header) {
    const WString text = Format(header);
    LogLineHeader again;
    Require(header.time.wYear < 1000 ||
                (ParseLogHeader(text, &again) == text.size() && Format(again) == text),
            "a written header is read");
}

void CheckLine(View line) {
    const std::size_t at = FindLogHeader(line);
    const View text = line.substr(std::min(at, line.size()));
    LogLineHeader header;
    const std::size_t length = ParseLogHeader(text, &header);
    Require((length != 0) == (at != View::npos) && length <= text.size(), "a header is found");
    CheckHeader(header);
    LogLineTail tail;
    Require(ParseLogTail(text.substr(length), &tail) <= text.size(), "a tail is part of the text");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    LogLineHeader any;
    any.time.wYear = 2026;
    bytes.copy(reinterpret_cast<char*>(&any.level), sizeof any - offsetof(LogLineHeader, level));
    CheckHeader(any);
    LogTextDecoder decoder;
    WString line;
    for (std::size_t at = 0; at < size; at += 7) {
        decoder.Feed(bytes.substr(at, 7));
        while (decoder.NextLine(&line)) {
            CheckLine(line);
        }
    }
    if (decoder.Rest(&line)) {
        CheckLine(line);
    }
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string line =
        "[2026/11/22 09:05:07:042   01   00042   1000000             ] text   "
        "{host.exe::Fenwickel.dll(1.0)}\r\n";
    const std::string error =
        "[2026/11/22 09:05:07:042   -1   00042   -0042   0X0000001F] [f]x\r\n";
    std::string wide = "\xff\xfe";
    for (const char letter : line + "[" + error) {
        wide += {letter, '\0'};
    }
    return {wide, line, "fragment" + error, error + line.substr(0, 90)};
}
