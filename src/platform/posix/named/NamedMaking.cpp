#include "platform/posix/named/NamedMaking.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/Rename.h"

namespace {

constexpr mode_t kRightsMask = 0777;

Connecting Failed(DWORD code) {
    SetLastError(code);
    return {};
}

Connecting TryAgain() {
    return {Step::Again};
}

Connecting MakingFailed(int error) {
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

// Takes over the file, whose lock it gives up, and its memory.
Connecting Done(bool made, NamedKind kind, bool manualReset, NameFile* file, Segment segment) {
    UnlockNameFile(file->file.get());
    return {Step::Done, made,
            Connection{kind, manualReset, std::move(file->file), std::move(segment)}};
}

// Connects to a live object. Done or Failed.
Connecting Join(Contents found, const ObjectName& name, NamedKind kind, NameFile* file) {
    if (!IsRecordOf(found.record, name) || !IsOwnedRightly(*file, name)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    if (found.record.kind != static_cast<std::uint32_t>(kind)) {
        return Failed(ERROR_INVALID_HANDLE);
    }
    return Done(false, kind, found.record.manualReset != 0, file, std::move(found.segment));
}

// Writes a new object into the file, whose lock this process holds alone. False sets errno.
bool Fill(const ObjectName& name, const NewObject& wanted, NameFile* file, Segment* segment) {
    const int number = file->file.get();
    if (!FillNameFile(number, name, wanted, segment)) {
        return false;
    }
    if (wanted.kind != NamedKind::Mutex || !wanted.initial) {
        return true;
    }
    if (flock(number, LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    segment->header()->word.store(1);
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

    // Gives the file its final name in one step: if a killed maker left it a second name, another
    // account could not use it again. 0 or an errno.
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

// Makes the object under a temporary name first, so that no other process ever sees half of one.
Connecting MakeNew(const ObjectName& name, const NewObject& wanted) {
    TemporaryName temporary;
    NameFile file;
    Segment segment;
    if (!temporary.Choose(name.path)) {
        return MakingFailed(errno);
    }
    if (!MakeNameFile(temporary.path(), &file)) {
        // EAGAIN: the sweep of another process has taken the file for a leftover.
        return errno == EEXIST || errno == EAGAIN ? TryAgain() : MakingFailed(errno);
    }
    if (fchmod(file.file.get(), wanted.rights) != 0 || !Fill(name, wanted, &file, &segment)) {
        return MakingFailed(errno);
    }
    if (const int error = temporary.Publish(name.path); error != 0) {
        return error == EEXIST || error == ENOENT ? TryAgain() : MakingFailed(error);
    }
    return Done(true, wanted.kind, wanted.manualReset, &file, std::move(segment));
}

// Puts a new object into the leftover of another account, which this one cannot remove.
Connecting Reuse(const ObjectName& name, const NewObject& wanted, NameFile* file) {
    Segment segment;
    // A second name may be that of a file that another program needs.
    if (file->status.st_nlink != 1 || (file->status.st_mode & kRightsMask) != wanted.rights ||
        !Fill(name, wanted, file, &segment)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    return Done(true, wanted.kind, wanted.manualReset, file, std::move(segment));
}

Connecting ReplaceLeftover(const Contents& found, const ObjectName& name, const NewObject& wanted,
                           NameFile* file) {
    if (found.isRecord) {
        RemoveAbandonedSegment(found.record.segmentKey, found.record.size);
    }
    if (unlink(name.path) == 0) {
        return TryAgain();
    }
    return found.isRecord ? Reuse(name, wanted, file) : Failed(ERROR_ACCESS_DENIED);
}

}  // namespace

Connecting JoinObject(const ObjectName& name, NamedKind kind, NameFile* file) {
    Contents found = Examine(*file);
    if (found.state != SegmentState::Found) {
        return Failed(found.state == SegmentState::Gone ? ERROR_FILE_NOT_FOUND
                                                        : CommonError(errno));
    }
    return Join(std::move(found), name, kind, file);
}

Connecting JoinOrMake(const ObjectName& name, const NewObject& wanted, NameFile* file) {
    if (!file->file) {
        return MakeNew(name, wanted);
    }
    if (!IsOwnedRightly(*file, name)) {
        return Failed(ERROR_ACCESS_DENIED);
    }
    Contents found = Examine(*file);
    if (found.state == SegmentState::Unknown) {
        return MakingFailed(errno);
    }
    if (found.state == SegmentState::Gone) {
        return ReplaceLeftover(found, name, wanted, file);
    }
    return Join(std::move(found), name, wanted.kind, file);
}
