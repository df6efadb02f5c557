// Ending a command early on Ctrl-C or a termination request.
#pragma once

#include "ExitCodes.h"
#include "Failure.h"
#include "fenwickel/SyncCodes.h"
#include "system/StopSignals.h"

// Throws Failure with the signal's exit code when a caught signal asks for the end.
inline void ThrowIfStopped() {
    if (const int exitCode = HostStopExitCode()) {
        throw Failure(exitCode, SYNC_EC_STOPPED,
                      "stopped on request: the previous listing is unchanged");
    }
}
