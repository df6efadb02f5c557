// What stands in a name file, and the memory that it leads to.
//
// Every account may write the files of objects that are open to all, and killed processes leave
// files behind. So a record counts only when the memory that it names holds the same values.
#pragma once

#include "platform/posix/named/NameFile.h"
#include "platform/posix/named/ObjectName.h"
#include "platform/posix/named/Segment.h"

enum class NamedKind : std::uint32_t { Mutex = 1, Event = 2, Mapping = 3 };

// What an object is made with.
struct NewObject {
    NamedKind kind = NamedKind::Mutex;
    std::uint64_t size = 0;    // of a mapping, in bytes
    bool manualReset = false;  // of an event
    bool initial = false;      // an event: set; a mutex: owned by the caller
    mode_t rights = 0600;      // of the name file and the memory
};

// The whole content of a name file.
struct NameRecord {
    char magic[8];
    std::uint64_t nonce;
    std::uint64_t size;
    std::uint64_t ipcNamespace;
    std::uint32_t kind;
    std::uint32_t manualReset;
    std::int32_t segmentKey;  // written before the memory is made
    std::int32_t segmentId;   // -1 until it is made
    std::uint32_t account;
    std::uint32_t local;
    WCHAR name[kObjectNameCapacity];  // zero behind its end
    std::uint64_t checksum;           // over all before it
};
static_assert(sizeof(NameRecord) == 584, "written as it stands, so without padding");

// False for a file that holds no record. One that is damaged names no memory.
bool ReadNameRecord(int file, NameRecord* record);

bool IsRecordOf(const NameRecord& record, const ObjectName& name);

enum class SegmentState {
    Found,
    Gone,     // or another, or with no holder but the caller: the record is a leftover
    Unknown,  // with errno: it may well live, but this process cannot attach it
};

// Attaches the memory that the record names.
SegmentState FindSegment(const NameRecord& record, Segment* segment);

// Makes the memory of a new object and writes the record. False sets errno.
bool FillNameFile(int file, const ObjectName& name, const NewObject& wanted, Segment* segment);

// A number that cannot be guessed. False sets errno.
bool MakeRandom(std::uint64_t* number);
