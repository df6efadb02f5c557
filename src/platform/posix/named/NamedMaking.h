// Connecting to named objects and making them, by their name files.
//
// The caller holds the file's lock and has seen to it that no other thread of the process is at
// work on the name. What succeeds fills in the object's kind, memory and file and gives up the
// lock.
#pragma once

#include "platform/posix/named/NamedObject.h"

enum class Step {
    Done,
    Again,   // somebody has made or ended the object meanwhile
    Failed,  // with the last error set
};

// Connects to the object that the file stands for. False sets the last error, to
// ERROR_FILE_NOT_FOUND when the file is a leftover.
bool JoinObject(const ObjectName& name, NamedKind kind, NameFile* file, NamedObject* object);

// Connects to the object, or makes it with these rights when its file is missing or a leftover.
// *made tells which, once it is done.
Step JoinOrMake(FileState state, const ObjectName& name, const NewObject& wanted, mode_t mode,
                NameFile* file, NamedObject* object, bool* made);
