#include "platform/Fork.h"

bool WatchForks(void (*)(), void (*)(), void (*)()) {
    return true;
}
