// Takes records out of a new listing before it is committed.
#pragma once

#include "PathKey.h"
#include "StateFolder.h"

// Rewrites the new listing of the state without those records. Throws Failure.
void DropRecords(const StateFolder& state, const PathKeys& dropped);
