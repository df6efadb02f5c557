#include "Places.h"

#include "system/Paths.h"

bool HasDriveLetters() {
    const WString root = HostWidePath("/");
    return !root.empty() && root.front() != WCHAR{'\\'};
}

WString LocalArgument(const std::string& argument) {
    const std::size_t colon = argument.find(':');
    const bool remote = colon != std::string::npos && argument.find('/') > colon;
    return remote && !(colon == 1 && HasDriveLetters()) ? WString() : HostWidePath(argument);
}

std::string Below(std::string folder, const std::string& place) {
    if (!place.empty() && !folder.ends_with('/') && !folder.ends_with(':')) {
        folder += '/';
    }
    return folder + place;
}
