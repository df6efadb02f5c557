#include "system/ErrorText.h"

#include "platform/Platform.h"
#include "platform/Text.h"

std::string HostErrorText(std::uint32_t code) {
    // The width mask turns the line ends inside a text into spaces.
    WCHAR text[512];
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, code, 0, text, 512, nullptr);
    WString message(text, length);
    message.erase(message.find_last_not_of(L" .\r\n") + 1);
    return Utf8FromWide(message);
}
