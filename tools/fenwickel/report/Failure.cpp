#include "Failure.h"

#include "ExitCodes.h"
#include "fenwickel/SyncCodes.h"
#include "platform/Platform.h"
#include "platform/Text.h"
#include "system/ErrorText.h"
#include "system/Paths.h"

namespace {

std::string OwnReason(int code) {
    switch (code) {
        case SYNC_EC_STOPPED:
            return "stopped on request";
        case SYNC_EC_NO_MEMORY:
            return "not enough memory or threads";
        case SYNC_EC_FAILED:
            return "a transfer fell short or a record is damaged";
        case SYNC_EC_PATH_TOO_LONG:
            return "a relative path has 260 characters or more";
        default:
            return HostErrorText(static_cast<std::uint32_t>(code));
    }
}

std::string EscapeOf(unsigned char unit) {
    constexpr char digits[] = "0123456789abcdef";
    switch (unit) {
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '\r':
            return "\\r";
        default:
            return {'\\', 'x', digits[unit >> 4U], digits[unit & 15U]};
    }
}

}  // namespace

Failure SystemFailure(int exitCode, const std::string& action, const WString& path,
                      std::uint32_t code, const std::string& remedy) {
    const int result = static_cast<int>(code);
    return {exitCode, result,
            "cannot " + action + " " + Quoted(path) + ": " + Reason(result) + ": " + remedy};
}

Failure FileFailure(const std::string& action, const WString& path, std::uint32_t code) {
    const char* remedy = "make the file and its folder readable and writable";
    if (code == ERROR_DISK_FULL) {
        remedy = "free some space";
    } else if (code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED) {
        remedy = "end the program that has it open, or make it and its folder writable";
    }
    return SystemFailure(ExitCode::Failed, action, path, code, remedy);
}

std::string Quoted(const WString& path) {
    return '"' + Escaped(HostDisplayText(path)) + '"';
}

std::string Reason(int code) {
    std::string text = OwnReason(code);
    if (text.empty()) {
        text = "code";
    }
    text += " (";
    text += std::to_string(code);
    text += ')';
    return text;
}

std::string ValidUtf8(const std::string& text) {
    return Utf8FromWide(WideFromUtf8(text));
}

std::string Escaped(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (unit < 0x20 || unit == 0x7F) {
            result += EscapeOf(unit);
        } else if (unit == 0xC2 && next >= 0x80 && next <= 0x9F) {  // U+0080 to U+009F
            result += EscapeOf(next);
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}
