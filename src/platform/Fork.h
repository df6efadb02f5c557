// Children that fork makes. There are none on Windows.
#pragma once

// Has the functions called around every fork from now on, each in the forking thread: before it,
// and after it in the parent and in the child. False when the system cannot do that. What is given
// first is called last before a fork, and first behind it.
bool WatchForks(void (*before)(), void (*inParent)(), void (*inChild)());
