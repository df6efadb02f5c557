// A log file as entries, and the files that continue it.
#pragma once

#include <cstdint>
#include <vector>

#include "logshare/LogEntries.h"
#include "logshare/LogText.h"
#include "platform/OwnedHandle.h"

// Reads in blocks; others may write, roll over, cut and delete the file meanwhile.
class LogFileStream {
public:
    // Throws Failure when the file cannot be opened.
    explicit LogFileStream(const WString& path);
    LogFileStream(const LogFileStream&) = delete;
    LogFileStream& operator=(const LogFileStream&) = delete;

    // The next entry that is whole. False at the end of what is in the file now. Throws Failure.
    bool Next(LogEntry* entry);

    // For the end of the file: makes Next give what is not whole.
    void Finish();

    // For a Next that answered false: looks whether there is more than the rest of this file. True
    // when Next should be asked again: the file was cut and begins anew, or the log goes on in a
    // file with a higher number. Throws Failure.
    bool Advance();

private:
    bool ReadBlock();
    bool WasCut() const;
    bool FindNextFile(WString* path) const;
    void Restart();

    WString m_path;
    OwnedHandle m_file;
    std::uint64_t m_offset = 0;
    // Set once a file with a higher number was seen: what comes into this one after that is read in
    // one more round, then it is left.
    bool m_leaving = false;
    std::vector<char> m_block;
    LogTextDecoder m_text;
    LogEntryReader m_entries;
};
