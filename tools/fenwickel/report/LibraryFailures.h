// What the rooms that call the library know of its log.
#pragma once

#include <string>

#include "Failure.h"

// Words for a failure of which the library returns only a number. See LibraryLog in the room log.
class LibraryFailures {
public:
    virtual ~LibraryFailures() = default;

    // An operation of the library that failed with the code: `ACTION: WHY: REMEDY; see "LOGFILE"`.
    // WHY is what the library wrote to its log, if anything, and the code's text.
    virtual Failure FailureOf(int exitCode, int code, const std::string& action,
                              const std::string& remedy) const = 0;
};
