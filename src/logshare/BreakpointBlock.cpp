#include "logshare/BreakpointBlock.h"

#include <cstring>

#include "platform/Text.h"

WString UuidText(const UUID& id) {
    WCHAR text[40];
    WideFormat(text, 40, WIDE("%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X"), id.Data1,
               id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3], id.Data4[4],
               id.Data4[5], id.Data4[6], id.Data4[7]);
    return text;
}

WString HitEventName(const UUID& hitId) {
    return WIDE("Global\\BPHIT_EVENT_") + UuidText(hitId);
}

bool IsZero(const UUID& id) {
    constexpr UUID kZero{};
    return std::memcmp(&id, &kZero, sizeof id) == 0;
}
