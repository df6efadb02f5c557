// Connecting to named objects and making them, by their name files.
//
// The caller holds the file's lock and sees to it that no other thread of the process works on the
// name. What succeeds takes over the file and gives up its lock.
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
