// How a wait of this layer learns of a stop request.
#pragma once

// Readable from the first caught stop signal on; -1 while none is caught.
int StopDescriptor();
