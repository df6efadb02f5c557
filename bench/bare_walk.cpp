// bare_walk FOLDER: the least that any scan of a tree must do, as a yardstick: one thread, raw
// directory reads and one statx a file. Prints the number of files and their bytes.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kBufferSize = 32768;

// Fixed part of what getdents64 returns for an entry; the name follows it, terminated by a zero.
struct Entry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
};
constexpr std::size_t kNameOffset = offsetof(Entry, type) + 1;

std::uint64_t files = 0;
std::uint64_t bytes = 0;

[[noreturn]] void Fail(const char* name) {
    std::perror(name);
    std::exit(1);
}

void CountFile(int folder, const char* name) {
    struct statx status;
    if (statx(folder, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        Fail(name);
    }
    ++files;
    bytes += status.stx_size;
}

void Walk(int parent, const char* path) {
    const int folder = openat(parent, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    for (;;) {
        const long filled = syscall(SYS_getdents64, folder, buffer.get(), kBufferSize);
        if (filled < 0) {
            Fail(path);
        }
        if (filled == 0) {
            break;
        }
        for (long at = 0; at < filled;) {
            Entry entry;
            std::memcpy(&entry, buffer.get() + at, kNameOffset);
            const char* name = buffer.get() + at + kNameOffset;
            at += entry.length;
            if (entry.type != DT_DIR) {
                CountFile(folder, name);
            } else if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
                Walk(folder, name);
            }
        }
    }
    close(folder);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bare_walk FOLDER\n");
        return 2;
    }
    Walk(AT_FDCWD, argv[1]);
    std::printf("%llu files %llu bytes\n", static_cast<unsigned long long>(files),
                static_cast<unsigned long long>(bytes));
    return 0;
}
