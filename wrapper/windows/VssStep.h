// Waiting for the asynchronous steps of the service.
#pragma once

#include "VssService.h"

// Waits until the step has ended. 0 when it succeeded; otherwise how it ended: its error,
// VSS_S_ASYNC_CANCELLED, or ERROR_TIMEOUT as a HRESULT when it outlasted the limit. A step that is
// given up is cancelled.
HRESULT AwaitVssStep(IVssAsync& step, std::chrono::milliseconds limit);
