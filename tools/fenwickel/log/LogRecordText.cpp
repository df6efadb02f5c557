#include "LogRecordText.h"

#include <cstdio>
#include <string_view>

#include "LogTime.h"
#include "logshare/LogMessage.h"
#include "platform/Text.h"
#include "report/Failure.h"

namespace {

constexpr std::string_view kPlain = "\x1b[0m";
constexpr std::string_view kFaint = "\x1b[2m";
constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kBold = "\x1b[1m";
constexpr int kErrorLevel = 1;    // errors, and the few messages that are always written
constexpr int kDefaultLevel = 2;  // the level without any configuration

// Most failures of the library tell their code at the end of the text only.
bool TellsCode(const LiveRecord& record) {
    return record.errorCode != 0 || record.text.find("EC:[") != std::string::npos;
}

// An error stands out, what only an investigation asked for steps back.
std::string_view ColourOf(const LiveRecord& record) {
    if (TellsCode(record)) {
        return kRed;
    }
    if (record.level < kErrorLevel) {
        return kBold;
    }
    return record.level > kDefaultLevel ? kFaint : std::string_view();
}

std::string CodeText(DWORD code) {
    char text[16] = "-";
    if (code != 0) {
        std::snprintf(text, sizeof text, "0X%08X", static_cast<unsigned>(code));
    }
    return text;
}

}  // namespace

// The names and the text are those that log files and breakpoints know, so they are not rewritten
// for display: what is copied from the screen finds its message again.
LiveRecord::LiveRecord(const CLogMessage& message)
    : time(message.GetTime()),
      level(message.GetLevel()),
      processId(message.GetProcessID()),
      threadId(message.GetThreadID()),
      errorCode(message.GetErrCode()),
      process(Utf8FromWide(message.GetProcessName())),
      module(Utf8FromWide(message.GetModuleName())),
      text(Utf8FromWide(message.GetText())) {}

void AppendLiveLine(std::string& text, const LiveRecord& record, bool colours) {
    const std::string_view colour = colours ? ColourOf(record) : std::string_view();
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, " %2d %6u %6u %-10s ", record.level,
                  static_cast<unsigned>(record.processId), static_cast<unsigned>(record.threadId),
                  CodeText(record.errorCode).c_str());
    text += colour;
    text += LocalTimeText(record.time) + numbers + Escaped(record.process);
    text += record.module.empty() ? "" : "::" + Escaped(record.module);
    text += "  " + Escaped(record.text);
    text += colour.empty() ? colour : kPlain;
    text += '\n';
}

JsonFields Fields(const LiveRecord& record) {
    return {{"time", LocalTimeText(record.time)},
            {"level", record.level},
            {"pid", std::uint64_t{record.processId}},
            {"tid", std::uint64_t{record.threadId}},
            {"code", std::uint64_t{record.errorCode}},
            {"process", record.process},
            {"module", record.module},
            {"text", record.text}};
}
