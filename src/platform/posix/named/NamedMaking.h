// Connecting to named objects and making them, by their name files.
//
// The caller holds the file's lock and makes sure that no other thread of the process works on the
// name. A function that succeeds takes over the file and gives up its lock.
//
// An object is a name file and a segment. To make it, a process
//   1. creates a file under a temporary name and locks it: sweeps then pass it by,
//   2. writes a record with a new segment key, makes the segment under that key, attaches it and
//      marks it for removal, which frees the key; the segment lives until its last holder ends,
//   3. fills the segment's header and writes the record again, now with the segment's number,
//   4. renames the file to its final name, without replacing another, and unlocks it.
// To join it, a process locks the file, reads the record and attaches the segment. The segment must
// agree with the record, be marked for removal and have another holder, or the file is a leftover.
// A process that makes the object removes a leftover and begins with step 1. Where it may not
// remove the file, it does steps 2 and 3 in it.
#pragma once

#include "platform/posix/named/NameRecord.h"

enum class Step {
    Done,
    Again,   // another process has made or ended the object meanwhile
    Failed,  // with the last error set
};

// What connects this process to an object.
struct Connection {
    NamedKind kind = NamedKind::Mutex;
    bool manualReset = false;
    Descriptor file{};  // the name file; its flock is the mutex
    Segment segment;
};

struct Connecting {
    Step step = Step::Failed;
    bool made = false;        // when done: whether the object is new
    Connection connection{};  // when done
};

// Connects to the object that the file stands for. Done or Failed, with ERROR_FILE_NOT_FOUND when
// the file is a leftover.
Connecting JoinObject(const ObjectName& name, NamedKind kind, NameFile* file);

// Connects to the object, or makes it when the file is missing (that is, not open) or a leftover.
// A new mutex that is wanted owned is locked for this process, not yet for one of its threads.
Connecting JoinOrMake(const ObjectName& name, const NewObject& wanted, NameFile* file);
