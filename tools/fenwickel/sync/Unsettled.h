// Paths about which the destination may know more than the base does.
//
// A hand-over that does not end with a commit leaves the destination somewhere between two
// listings. A file that it sent may be put back afterwards just as it was, and then counts as
// unchanged; a new file that it sent may be deleted before the next run, and then no listing has
// it. So every path is written down before the first one is handed over, and the next run sends or
// removes each of them again, whatever the detection says.
//
// The file is UTF-16: per path the folder's index as one unit, the relative path, a zero.
#pragma once

#include "PathKey.h"
#include "StateFolder.h"
#include "report/FileWriter.h"

// What the state's file names; none without a file. Throws Failure (Damaged).
PathKeys LoadUnsettled(const StateFolder& state);

// Gathers the paths of a new run in a file beside the one in force.
class UnsettledWriter {
public:
    explicit UnsettledWriter(const StateFolder& state);
    void Add(const PathKeyView& key);
    // Forces the file to the disk. It counts from PutUnsettledInForce on.
    void Finish() { m_file.Finish(); }

private:
    FileWriter m_file;
};

// Replaces the state's file by the one that was gathered. It must hold what the old one held.
// Throws Failure.
void PutUnsettledInForce(const StateFolder& state);
