// The message for a file whose relative path cannot be recorded.
#pragma once

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncCodes.h"

// Logs the message under the given function name and returns SYNC_EC_PATH_TOO_LONG.
inline int LogPathTooLong(const WCHAR* function, const WCHAR* relativeFolder,
                          const WCHAR* fileName) {
    return LogFailure(SYNC_EC_PATH_TOO_LONG, WIDE("[SYNC]:[%s]:The file name too long.[%s:%s]."),
                      function, relativeFolder, fileName);
}
