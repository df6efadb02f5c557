#include "logshare/RingBlock.h"

#include "platform/Text.h"

WString RingEventName(const WString& executable) {
    return WIDE("Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_EVENT_") + UpperCase(executable);
}

WString RingMutexName(const WString& executable) {
    return WIDE("Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_MUTEXT_") + UpperCase(executable);
}

WString RingBlockName(const WString& executable) {
    return WIDE("Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_SM_") + UpperCase(executable);
}

WString RingLocalBlockName(const WString& executable) {
    return WIDE("Local\\CB6AF056-4138-4342-BE43-B4B37843FE36_SM_") + UpperCase(executable);
}
