#include "logshare/LogLine.h"

#include "platform/Text.h"

void FormatTimeStamp(WCHAR (&buffer)[kTimeStampCapacity], const SYSTEMTIME& time) {
    WideFormat(buffer, kTimeStampCapacity, WIDE("%4d/%02d/%02d %02d:%02d:%02d:%03d"), time.wYear,
               time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
}

void FormatLineHeader(WCHAR (&buffer)[kLineHeaderCapacity], const SYSTEMTIME& time, int level,
                      DWORD processId, DWORD threadId, DWORD errorCode) {
    WCHAR stamp[kTimeStampCapacity];
    FormatTimeStamp(stamp, time);
    if (errorCode == 0) {
        WideFormat(buffer, kLineHeaderCapacity, WIDE("[%s   %02d   %05ld   %05ld             ] "),
                   stamp, level, processId, threadId);
    } else {
        WideFormat(buffer, kLineHeaderCapacity, WIDE("[%s   %02d   %05ld   %05ld   0X%08X] "),
                   stamp, level, processId, threadId, errorCode);
    }
}
