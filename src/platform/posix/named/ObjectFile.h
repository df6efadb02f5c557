// The file of a named object: how one is made, joined and ended.
//
// An object is a mapped file in the folder of its account, named after the hash of its name. It
// lives as long as a process holds a shared flock on the file. The kernel gives the lock up with
// the last descriptor, so the death of a process needs no help:
//
// Join: open the file and try the exclusive lock. Getting it means that no process is left: the
// file
//   is a leftover and is removed. Otherwise take the shared lock, and look whether the path still
//   names the file, since its last holder may have removed it in between.
// Make: fill a file of another name under the shared lock, then rename it without replacing. No
//   process ever sees half of an object, and of several makers one succeeds; the others join it.
// End: the last use in a process tries to turn its lock into the exclusive one. Getting it means
//   that no other process holds the object: its file is removed.
// Sweep: each file whose exclusive lock is free is removed, those in the making that were given up
//   included.
//
// The space of a file is reserved before it is mapped, so a full file system is an error here and
// not a signal later. Where no file can be made, the object is private to the process.
#pragma once

#include "platform/posix/Descriptor.h"
#include "platform/posix/named/ObjectMemory.h"

enum class JoinStep {
    Done,
    Missing,  // no such object, or no file for it
    Again,    // another process has made or ended the object in between
    Failed,   // with the last error set
};

// This process's part of an object that it has joined or made.
struct Connection {
    Descriptor file{};  // with the shared lock; none for a private object
    ObjectMemory memory{};
};

struct Connecting {
    JoinStep step = JoinStep::Failed;
    Connection connection{};  // when done
};

// Missing without a system call more than the look for the file.
Connecting JoinObject(const ObjectName& name);

// Missing when no file can be made for an object of this account.
Connecting MakeObject(const ObjectName& name, const NewObject& wanted);

// An object without a file.
Connecting MakePrivateObject(const ObjectName& name, const NewObject& wanted);

// Gives the connection up, and removes the file when no other process holds the object.
void EndObject(Connection connection, const char* path);

// For a child of fork, whose descriptor shares its lock with that of the parent: takes a lock of
// the child's own.
void ReopenAfterFork(Connection* connection);

// Removes the leftovers in the folder, a limited number of them, without waiting.
void SweepObjects(const char* folder);
