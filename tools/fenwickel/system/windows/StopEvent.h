// How a wait of this layer learns of a stop request.
#pragma once

#include "platform/Platform.h"

// Set from the first caught stop request on; null while none is caught.
HANDLE StopEvent();
