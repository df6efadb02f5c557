#include "platform/posix/named/NameSweep.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "platform/posix/named/NameRecord.h"

namespace {

// Bounds on what one sweep costs, however many files the folder holds.
constexpr int kMostEntries = 4096;
constexpr int kMostFiles = 256;

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

bool MayRemove(const char* path) {
    struct stat status;
    const uid_t account = geteuid();
    return lstat(path, &status) == 0 && S_ISREG(status.st_mode) &&
           (account == 0 || status.st_uid == account);
}

// A file is locked, and stays, while its object is being made, joined or ended.
void SweepFile(const char* path) {
    NameFile file;
    NameRecord record;
    Segment segment;
    if (!MayRemove(path) || OpenNameFile(path, LockWay::AtOnce, &file) != FileState::Opened) {
        return;
    }
    if (ReadNameRecord(file.file.get(), &record)) {
        if (record.ipcNamespace != IpcNamespace() ||
            FindSegment(record, &segment) != SegmentState::Gone) {
            return;
        }
        RemoveAbandonedSegment(record.segmentKey, record.size);
    }
    unlink(path);
}

}  // namespace

void SweepNameFiles(const char* folder) {
    const std::unique_ptr<DIR, CloseFolder> listing(opendir(folder));
    int files = 0;
    for (int entries = 0; listing != nullptr && entries < kMostEntries; ++entries) {
        const dirent* const entry = readdir(listing.get());
        if (entry == nullptr || files == kMostFiles) {
            return;
        }
        if (IsNameFile(entry->d_name)) {
            ++files;
            char path[kObjectPathCapacity + sizeof entry->d_name];
            std::snprintf(path, sizeof path, "%s%s", folder, entry->d_name);
            SweepFile(path);
        }
    }
}
