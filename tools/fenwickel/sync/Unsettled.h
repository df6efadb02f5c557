// Paths about which the destination may know more than the base does.
//
// A hand-over that does not end with a commit leaves the destination somewhere between two
// listings. A file that it sent may be put back afterwards just as it was, and then counts as
// unchanged; a new file that it sent may be gone before the next run, and then nobody misses it.
// So every path is written down before the first one is handed over, and the next run sends or
// removes each of them again, whatever the detection says.
//
// The file is UTF-16: per path the folder's index as one unit, the relative path, a zero.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_set>

#include "StateFolder.h"
#include "upload/ListFile.h"

// A folder's index, then the path relative to it: one text, as the file has it.
WString PathKey(std::uint8_t folder, std::basic_string_view<WCHAR> path);
inline std::uint8_t FolderOf(const WString& key) {
    return static_cast<std::uint8_t>(key[0]);
}

using PathKeys = std::unordered_set<WString>;

// What the state's file names; none without a file. Throws Failure (Damaged).
PathKeys LoadUnsettled(const StateFolder& state);

// Gathers the paths of a new run in a file of its own.
class UnsettledWriter {
public:
    explicit UnsettledWriter(const StateFolder& state);
    void Add(const WString& key);
    // Forces the file to the disk. Only PutInForce makes it count.
    void Finish() { m_file.Finish(); }

private:
    ListFile m_file;
};

// Replaces the state's file by the one that was gathered. It must hold what the old one held.
// Throws Failure.
void PutUnsettledInForce(const StateFolder& state);
