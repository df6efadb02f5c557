// Text in the ANSI code page, which is UTF-8.
#include <climits>
#include <cstring>
#include <string>

#include "platform/FaultPoint.h"
#include "platform/Text.h"
#include "platform/posix/Errors.h"

namespace {

// False for arguments that no text can have. -1 as length stands for a terminated text, whose
// terminator counts.
template <typename Unit>
bool MeasureText(UINT codePage, DWORD flags, const Unit* text, int* length, int capacity) {
    if (codePage != CP_ACP || flags != 0) {
        return Fail(ERROR_NOT_SUPPORTED) != FALSE;
    }
    if (text == nullptr || *length == 0 || *length < -1 || capacity < 0) {
        return Fail(ERROR_INVALID_PARAMETER) != FALSE;
    }
    const std::size_t terminated =
        *length < 0 ? std::char_traits<Unit>::length(text) + 1 : static_cast<std::size_t>(*length);
    if (terminated > INT_MAX) {
        return Fail(ERROR_INVALID_PARAMETER) != FALSE;
    }
    *length = static_cast<int>(terminated);
    return true;
}

// The converted text, or its length alone when there is no room to put it.
template <typename Unit>
int HandOut(const std::basic_string<Unit>& text, Unit* buffer, int capacity) {
    if (text.size() > INT_MAX) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const int length = static_cast<int>(text.size());
    if (capacity == 0) {
        return length;
    }
    if (length > capacity || buffer == nullptr) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    text.copy(buffer, text.size());
    return length;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int byteCount, WCHAR* buffer,
                        int capacity) {
    if (FaultFails("MultiByteToWideChar") ||
        !MeasureText(codePage, flags, text, &byteCount, capacity)) {
        return 0;
    }
    return HandOut(WideFromUtf8({text, static_cast<std::size_t>(byteCount)}), buffer, capacity);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* text, int unitCount, char* buffer,
                        int capacity, const char* defaultChar, BOOL* usedDefaultChar) {
    if (FaultFails("WideCharToMultiByte") ||
        !MeasureText(codePage, flags, text, &unitCount, capacity)) {
        return 0;
    }
    // Every text can be converted, so a default character would have no use.
    if (defaultChar != nullptr || usedDefaultChar != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return HandOut(Utf8FromWide({text, static_cast<std::size_t>(unitCount)}), buffer, capacity);
}
