#include "platform/posix/volume/MountTable.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <set>

namespace {

std::vector<std::string_view> SplitAtBlanks(std::string_view line) {
    std::vector<std::string_view> fields;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        fields.push_back(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return fields;
}

template <typename Number>
bool ReadNumber(std::string_view text, Number* number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc{} && end == text.data() + text.size();
}

bool IsOctal(std::string_view digits) {
    return digits.size() == 3 && digits.find_first_not_of("01234567") == std::string_view::npos;
}

// The kernel writes blanks, line ends and '\' in names as '\' and three octal digits.
std::string Unescaped(std::string_view text) {
    std::string name;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && IsOctal(text.substr(at + 1, 3))) {
            unsigned byte = 0;
            std::from_chars(&text[at + 1], &text[at + 1] + 3, byte, 8);
            name += static_cast<char>(byte);
            at += 3;
        } else {
            name += text[at];
        }
    }
    return name;
}

// Six fixed fields, any number of optional ones, "-", then type, source and options.
std::optional<Mount> ParseLine(std::string_view line) {
    constexpr std::size_t kFixed = 6;
    const std::vector<std::string_view> fields = SplitAtBlanks(line);
    if (fields.size() < kFixed) {
        return std::nullopt;
    }
    const auto dash = std::find(fields.begin() + kFixed, fields.end(), "-");
    const std::size_t colon = fields[2].find(':');
    Mount mount;
    if (fields.end() - dash < 3 || colon == std::string_view::npos ||
        !ReadNumber(fields[0], &mount.id) || !ReadNumber(fields[1], &mount.parent) ||
        !ReadNumber(fields[2].substr(0, colon), &mount.major) ||
        !ReadNumber(fields[2].substr(colon + 1), &mount.minor)) {
        return std::nullopt;
    }
    mount.root = Unescaped(fields[3]);
    mount.point = Unescaped(fields[4]);
    mount.type = dash[1];
    mount.source = Unescaped(dash[2]);
    return mount;
}

// Whether the path is the folder or lies below it.
bool IsWithin(const std::string& path, const std::string& folder) {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || folder.back() == '/' || path[folder.size()] == '/');
}

// The kernel's numbers begin at 1.
constexpr std::uint64_t kOutOfSight = 0;

// The same mounts with one parent for all those whose own is not listed.
std::vector<Mount> Rooted(std::vector<Mount> mounts) {
    std::set<std::uint64_t> ids;
    for (const Mount& mount : mounts) {
        ids.insert(mount.id);
    }
    for (Mount& mount : mounts) {
        if (mount.parent == mount.id || !ids.contains(mount.parent)) {
            mount.parent = kOutOfSight;
        }
    }
    return mounts;
}

// The place of the mount on which a walk along the path ends. A walk changes to a mount where that
// lies on the one it is on.
std::string PlaceOfMountAt(const std::vector<Mount>& mounts, const std::string& path) {
    std::uint64_t on = kOutOfSight;
    std::string place;
    for (std::size_t steps = 0; steps < mounts.size(); ++steps) {  // so many if all lie on one
        const Mount* next = nullptr;
        for (const Mount& mount : mounts) {
            if (mount.parent == on && IsWithin(path, mount.point) &&
                (next == nullptr || mount.point.size() < next->point.size())) {
                next = &mount;
            }
        }
        if (next == nullptr) {
            break;
        }
        on = next->id;
        place = next->point;
    }
    return place;
}

}  // namespace

std::vector<Mount> ParseMountTable(std::string_view text) {
    std::vector<Mount> mounts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (std::optional<Mount> mount = ParseLine(text.substr(0, end))) {
            mounts.push_back(*std::move(mount));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return mounts;
}

std::vector<Mount> MountTable() {
    std::ifstream file("/proc/self/mountinfo", std::ios::binary);
    return ParseMountTable(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::vector<std::string> MountPointsBelow(const std::vector<Mount>& mounts,
                                          const std::string& folder) {
    const std::vector<Mount> rooted = Rooted(mounts);
    std::set<std::string> points;
    for (const Mount& mount : mounts) {
        const bool isBelow = mount.point.size() > folder.size() && IsWithin(mount.point, folder);
        if (isBelow && PlaceOfMountAt(rooted, mount.point) == mount.point) {
            points.insert(mount.point);
        }
    }
    return {points.begin(), points.end()};
}

std::optional<Mount> MountOf(const std::string& path) {
    struct statx status;
    if (statx(AT_FDCWD, path.c_str(), AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) != 0) {
        return std::nullopt;
    }
    if ((status.stx_mask & STATX_MNT_ID) == 0) {
        errno = ENOTSUP;
        return std::nullopt;
    }
    const std::vector<Mount> mounts = MountTable();
    const auto found = std::find_if(mounts.begin(), mounts.end(), [&](const Mount& mount) {
        return mount.id == status.stx_mnt_id;
    });
    if (found == mounts.end()) {
        errno = ENODEV;
        return std::nullopt;
    }
    return *found;
}
