#include "platform/Fork.h"

#include <pthread.h>

bool WatchForks(void (*before)(), void (*inParent)(), void (*inChild)()) {
    return pthread_atfork(before, inParent, inChild) == 0;
}
