// make_tree FOLDER N: makes a folder with N small files below it, about 100 in each folder.
//
// Names, sizes and times follow from N alone, so two calls with the same N make trees that a
// comparison by name, size and time finds equal. Files are sparse: sizes differ, no blocks are
// used, and a million files take seconds.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kFilesPerFolder = 100;
constexpr std::uint64_t kFoldersPerFolder = 6;
constexpr std::uint64_t kShortestPath = 40;
constexpr std::uint64_t kLongestPath = 150;
constexpr std::uint64_t kShortestName = 12;
constexpr std::uint64_t kLargestFile = 8192;
constexpr time_t kOldestTime = 1'600'000'000;

[[noreturn]] void Fail(const std::string& path) {
    std::perror(path.c_str());
    std::exit(1);
}

// A well mixed number for each seed.
std::uint64_t Mix(std::uint64_t seed) {
    std::uint64_t value = (seed + 1) * 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

// A name of the given length that no other number has.
std::string Name(std::uint64_t number, std::uint64_t length) {
    std::string name = std::to_string(number) + '-';
    for (std::uint64_t letters = Mix(~number); name.size() < length; letters = Mix(letters)) {
        name += static_cast<char>('a' + letters % 26);
    }
    return name;
}

void SetTime(int folder, const char* name, std::uint64_t number) {
    const timespec time{kOldestTime + static_cast<time_t>(Mix(number) % 100'000'000),
                        static_cast<long>(Mix(number) % 1'000'000'000)};
    const timespec times[2] = {time, time};
    if (utimensat(folder, name, times, 0) != 0) {
        Fail(name);
    }
}

void MakeFile(int folder, std::uint64_t folderLength, std::uint64_t number) {
    const std::uint64_t pathLength =
        kShortestPath + Mix(number) % (kLongestPath - kShortestPath + 1);
    const std::uint64_t taken = std::min(folderLength, pathLength);
    const std::string name = Name(number, std::max(pathLength - taken, kShortestName));
    const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (file < 0 || ftruncate(file, static_cast<off_t>(Mix(number) % kLargestFile)) != 0) {
        Fail(name);
    }
    close(file);
    SetTime(folder, name.c_str(), number);
}

// Folder paths relative to the root, each with a slash at its end; a parent before its children.
std::vector<std::string> FolderPaths(std::uint64_t count) {
    std::vector<std::string> paths{""};
    for (std::uint64_t number = 1; number < count; ++number) {
        const std::string& parent = paths[(number - 1) / kFoldersPerFolder];
        paths.push_back(parent + Name(number, 6 + Mix(number) % 12) + '/');
    }
    return paths;
}

void MakeTree(const std::string& root, std::uint64_t files) {
    const auto paths = FolderPaths(std::max<std::uint64_t>(1, files / kFilesPerFolder));
    std::uint64_t number = 0;
    for (std::size_t at = 0; at < paths.size(); ++at) {
        const std::string path = root + '/' + paths[at];
        const int folder = mkdir(path.c_str(), 0755) != 0 ? -1 : open(path.c_str(), O_DIRECTORY);
        if (folder < 0) {
            Fail(path);
        }
        for (const std::uint64_t end = files * (at + 1) / paths.size(); number < end; ++number) {
            MakeFile(folder, paths[at].size(), number);
        }
        close(folder);
    }
    // Last, since a new child changes its folder's time.
    for (std::size_t at = 0; at < paths.size(); ++at) {
        SetTime(AT_FDCWD, (root + '/' + paths[at]).c_str(), at);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || std::atoll(argv[2]) < 1) {
        std::fprintf(stderr, "usage: make_tree FOLDER N\n");
        return 2;
    }
    MakeTree(argv[1], std::strtoull(argv[2], nullptr, 10));
    return 0;
}
