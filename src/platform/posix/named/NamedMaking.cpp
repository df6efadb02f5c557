#include "platform/posix/named/NamedMaking.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/Rename.h"

namespace {

constexpr mode_t kRightsMask = 0777;

Step Failed(DWORD code) {
    SetLastError(code);
    return Step::Failed;
}

Step MakingFailed(int error) {
    switch (error) {
        case ENOSYS:  // a system without this sort of memory
        case EINVAL:  // or with a lower limit
            return Failed(ERROR_NOT_ENOUGH_MEMORY);
        default:
            return Failed(CommonError(error));
    }
}

bool IsOwnedRightly(const NameFile& file, const ObjectName& name) {
    return !name.local || file.status.st_uid == name.account;
}

struct Contents {
    bool isRecord = false;
    NameRecord record;
    SegmentState state = SegmentState::Gone;
    Segment segment;
};

Contents Examine(const NameFile& file) {
    Contents found;
    found.isRecord = ReadNameRecord(file.file.get(), &found.record);
    if (found.isRecord) {
        found.state = FindSegment(found.record, &found.segment);
    }
    return found;
}

// Connects to a live object. Done or Failed.
Step Join(Contents found, const ObjectName& name, NamedKind kind, NameFile* file,
          NamedObject* object) {
    if (!IsRecordOf(found.record, name) || !IsOwnedRightly(*file, name)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    if (found.record.kind != static_cast<std::uint32_t>(kind)) {
        return Failed(ERROR_INVALID_HANDLE);
    }
    object->kind = kind;
    object->manualReset = found.record.manualReset != 0;
    object->segment = std::move(found.segment);
    UnlockNameFile(file->file.get());
    object->file = std::move(file->file);
    return Step::Done;
}

// Fills the file, which nobody else can see or lock, with a new object. False sets errno.
bool Fill(const ObjectName& name, const NewObject& wanted, mode_t mode, NameFile* file,
          NamedObject* object) {
    const int number = file->file.get();
    if (!FillNameFile(number, name, wanted, mode, &object->segment)) {
        return false;
    }
    const bool owned = wanted.kind == NamedKind::Mutex && wanted.initial;
    if (owned && flock(number, LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    if (owned) {
        object->lock.WaitFor(0);
        object->segment.header()->word.store(1);
    }
    object->kind = wanted.kind;
    object->manualReset = wanted.manualReset;
    object->file = std::move(file->file);
    return true;
}

// A name file in the making; its name goes when this goes.
class TemporaryName {
public:
    // False sets errno.
    bool Choose(const char* path) {
        std::uint64_t random = 0;
        const bool chosen = MakeRandom(&random);
        MakeTemporaryPath(path, random, m_path);
        return chosen;
    }

    // Gives the file its final name in one step: one that keeps a second name for a killed maker
    // cannot be used again by another account. 0 or an errno.
    int Publish(const char* path) {
        const int error = RenameNoReplace(m_path, path);
        m_published = error == 0;
        return error;
    }

    ~TemporaryName() {
        if (!m_published) {
            unlink(m_path);
        }
    }

    const char* path() const { return m_path; }

private:
    char m_path[kTemporaryPathCapacity]{};
    bool m_published = false;
};

// Makes the object under a name of its own first, so that nobody ever sees half of one.
Step MakeNew(const ObjectName& name, const NewObject& wanted, mode_t mode, NamedObject* object) {
    TemporaryName temporary;
    NameFile file;
    if (!temporary.Choose(name.path)) {
        return MakingFailed(errno);
    }
    if (!MakeNameFile(temporary.path(), &file)) {
        // Somebody who sweeps may have come between.
        return errno == EEXIST || errno == EAGAIN ? Step::Again : MakingFailed(errno);
    }
    if (fchmod(file.file.get(), mode) != 0 || !Fill(name, wanted, mode, &file, object)) {
        return MakingFailed(errno);
    }
    if (const int error = temporary.Publish(name.path); error != 0) {
        return error == EEXIST || error == ENOENT ? Step::Again : MakingFailed(error);
    }
    UnlockNameFile(object->file.get());
    return Step::Done;
}

// Puts a new object into the leftover of another account, which this one cannot remove.
Step Reuse(const ObjectName& name, const NewObject& wanted, mode_t mode, NameFile* file,
           NamedObject* object) {
    // A second name may be that of a file that somebody else needs.
    if (file->status.st_nlink != 1 || (file->status.st_mode & kRightsMask) != mode ||
        !Fill(name, wanted, mode, file, object)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    UnlockNameFile(object->file.get());
    return Step::Done;
}

Step ReplaceLeftover(const Contents& found, const ObjectName& name, const NewObject& wanted,
                     mode_t mode, NameFile* file, NamedObject* object) {
    if (found.isRecord) {
        RemoveAbandonedSegment(found.record.segmentKey, found.record.size);
    }
    if (unlink(name.path) == 0) {
        return Step::Again;
    }
    return found.isRecord ? Reuse(name, wanted, mode, file, object) : Failed(ERROR_ACCESS_DENIED);
}

}  // namespace

bool JoinObject(const ObjectName& name, NamedKind kind, NameFile* file, NamedObject* object) {
    Contents found = Examine(*file);
    if (found.state != SegmentState::Found) {
        return Fail(found.state == SegmentState::Gone ? ERROR_FILE_NOT_FOUND
                                                      : CommonError(errno)) != FALSE;
    }
    return Join(std::move(found), name, kind, file, object) == Step::Done;
}

Step JoinOrMake(FileState state, const ObjectName& name, const NewObject& wanted, mode_t mode,
                NameFile* file, NamedObject* object, bool* made) {
    *made = true;
    if (state == FileState::Missing) {
        return MakeNew(name, wanted, mode, object);
    }
    if (!IsOwnedRightly(*file, name)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    Contents found = Examine(*file);
    if (found.state == SegmentState::Unknown) {
        return MakingFailed(errno);
    }
    if (found.state == SegmentState::Gone) {
        return ReplaceLeftover(found, name, wanted, mode, file, object);
    }
    *made = false;
    return Join(std::move(found), name, wanted.kind, file, object);
}
