#include "system/Volumes.h"

#include <memory>
#include <set>

#include "platform/Platform.h"

namespace {

struct VolumeSearchCloser {
    using pointer = HANDLE;
    void operator()(HANDLE search) const { FindVolumeClose(search); }
};
using VolumeSearch = std::unique_ptr<void, VolumeSearchCloser>;

// The folders and drives where the volume is mounted, each with '\' at its end.
std::vector<WString> PlacesOf(const WCHAR* volume) {
    std::vector<WCHAR> names(1024);
    DWORD length = 0;
    while (!GetVolumePathNamesForVolumeNameW(volume, names.data(), static_cast<DWORD>(names.size()),
                                             &length)) {
        if (GetLastError() != ERROR_MORE_DATA) {
            return {};
        }
        names.resize(names.size() * 2);
    }
    std::vector<WString> places;
    for (const WCHAR* name = names.data(); *name != 0; name += places.back().size() + 1) {
        places.emplace_back(name);
    }
    return places;
}

// Whether the place, with '\' at its end, lies below the folder, which has it, too.
bool IsBelow(const WString& place, const WString& folder) {
    const int units = static_cast<int>(folder.size());
    return place.size() > folder.size() &&
           CompareStringOrdinal(place.c_str(), units, folder.c_str(), units, TRUE) == CSTR_EQUAL;
}

}  // namespace

// In the letters of the given folder, so that it is a beginning of each path.
std::vector<WString> HostVolumesBelow(const WString& folder) {
    const WString start = folder.ends_with(L'\\') ? folder : folder + L'\\';
    std::set<WString> volumes;
    WCHAR name[MAX_PATH] = {};
    const HANDLE first = FindFirstVolumeW(name, MAX_PATH);
    if (first == INVALID_HANDLE_VALUE) {
        return {};
    }
    const VolumeSearch search(first);
    do {
        for (const WString& place : PlacesOf(name)) {
            if (IsBelow(place, start)) {
                volumes.insert(start + place.substr(start.size(), place.size() - start.size() - 1));
            }
        }
    } while (FindNextVolumeW(search.get(), name, MAX_PATH));
    return {volumes.begin(), volumes.end()};
}

// The system itself deletes what a process leaves.
std::vector<WString> HostSnapshotVolumes() {
    return {};
}
