#include "platform/posix/VersionNote.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"

namespace {

constexpr std::size_t kLargestNotes = 65536;

// All bytes or false: what lies behind the end of the file cannot be read.
bool ReadAt(int file, std::uint64_t offset, void* buffer, std::size_t byteCount) {
    if (offset > INT64_MAX - byteCount) {
        return false;
    }
    std::size_t done = 0;
    while (done < byteCount) {
        const ssize_t count = Uninterrupted([&] {
            return pread(file, static_cast<char*>(buffer) + done, byteCount - done,
                         static_cast<off_t>(offset + done));
        });
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

std::size_t Padded(std::size_t size, std::size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

bool IsVersion(const Elf64_Nhdr& header, const BYTE* owner) {
    return header.n_type == kVersionNoteType && header.n_namesz == kVersionNoteOwnerSize &&
           header.n_descsz == sizeof(VS_FIXEDFILEINFO) &&
           std::memcmp(owner, kVersionNoteOwner, kVersionNoteOwnerSize) == 0;
}

// Looks through the notes of one segment.
bool FindVersion(const std::vector<BYTE>& notes, std::size_t alignment, VS_FIXEDFILEINFO* info) {
    std::size_t position = 0;
    while (notes.size() - position >= sizeof(Elf64_Nhdr)) {
        Elf64_Nhdr header;
        std::memcpy(&header, notes.data() + position, sizeof header);
        // Sums of 32-bit numbers, which cannot wrap in 64 bits.
        const std::size_t owner = position + sizeof header;
        const std::size_t content = position + Padded(sizeof header + header.n_namesz, alignment);
        const std::size_t end = content + header.n_descsz;
        if (end > notes.size()) {
            return false;
        }
        if (IsVersion(header, notes.data() + owner)) {
            std::memcpy(info, notes.data() + content, sizeof *info);
            return info->dwSignature == kVersionSignature;
        }
        position = std::min(position + Padded(end - position, alignment), notes.size());
    }
    return false;
}

bool FindVersionInSegment(int file, const Elf64_Phdr& segment, VS_FIXEDFILEINFO* info) {
    if (segment.p_type != PT_NOTE || segment.p_filesz > kLargestNotes) {
        return false;
    }
    std::vector<BYTE> notes(segment.p_filesz);
    return ReadAt(file, segment.p_offset, notes.data(), notes.size()) &&
           FindVersion(notes, segment.p_align == 8 ? 8 : 4, info);
}

bool FindVersionInFile(int file, VS_FIXEDFILEINFO* info) {
    constexpr unsigned char kIdentity[] = {ELFMAG0,    ELFMAG1,     ELFMAG2,   ELFMAG3,
                                           ELFCLASS64, ELFDATA2LSB, EV_CURRENT};
    Elf64_Ehdr header;
    if (!ReadAt(file, 0, &header, sizeof header) ||
        std::memcmp(header.e_ident, kIdentity, sizeof kIdentity) != 0 ||
        header.e_phentsize != sizeof(Elf64_Phdr)) {
        return false;
    }
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        const std::uint64_t offset = header.e_phoff + i * sizeof segment;
        if (offset < header.e_phoff || !ReadAt(file, offset, &segment, sizeof segment)) {
            return false;
        }
        if (FindVersionInSegment(file, segment, info)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool ReadVersionNote(const WCHAR* path, VS_FIXEDFILEINFO* info) {
    std::string bytes;
    if (!PathFromWide(path, &bytes)) {
        return false;
    }
    const Descriptor file(open(bytes.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        return Fail(OpenErrorAt(errno, bytes)) != FALSE;
    }
    struct stat status;
    const bool regular = fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
    return (regular && FindVersionInFile(file.get(), info)) ||
           Fail(ERROR_RESOURCE_DATA_NOT_FOUND) != FALSE;
}
