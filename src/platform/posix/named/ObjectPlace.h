// Where the named objects of an account lie.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "platform/posix/Descriptor.h"

inline constexpr std::size_t kObjectFolderCapacity = 64;

// The folder of one account, with '/' at its end: "/run/fenwickel/" for root, for another account
// "/dev/shm/fenwickel-UID/", or the same in /tmp where that account cannot write in /dev/shm. No
// variable of the environment has a say, so that all programs of the account agree, however they
// were started; in test builds FENWICKEL_OBJECTS names another folder that stands for all three.
struct ObjectPlace {
    uid_t account;
    char folder[kObjectFolderCapacity];
    const ObjectPlace* next;  // of another account that this process has had
};

// The place of the effective user. The object lives for the process. Any thread.
const ObjectPlace& CurrentObjectPlace();

enum class PlaceState {
    Usable,
    Missing,      // only when it was not to be made
    Foreign,      // the name belongs to another account, or to no folder
    Unavailable,  // it cannot be made or opened
};

struct OpenPlace {
    PlaceState state = PlaceState::Unavailable;
    Descriptor folder;  // when usable
    uid_t owner = 0;    // when foreign
};

// Opens the folder, makes it when it is missing and make is set, and sees that it belongs to the
// account alone: its own, no link, mode 0700.
OpenPlace OpenObjectPlace(const ObjectPlace& place, bool make);
