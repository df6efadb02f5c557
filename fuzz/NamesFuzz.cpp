// Byte paths and their UTF-16 form: each way and back gives what was there before.
#include <algorithm>
#include <cstring>

#include "FuzzTarget.h"
#include "platform/Text.h"
#include "platform/posix/Names.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string path(data, data + size);
    path.resize(std::strlen(path.c_str()));
    std::string back;
    if (!path.empty()) {
        const WString wide = WideFromPath(path);
        Require(wide.size() <= path.size(), "no more units than bytes");
        Require(IsValidUtf16(wide), "no lone surrogate");
        Require(PathFromWide(wide.c_str(), &back) && back == path, "bytes come back");
    }
    WString units(size / sizeof(WCHAR), WCHAR());
    std::memcpy(units.data(), data, units.size() * sizeof(WCHAR));
    units.resize(std::char_traits<WCHAR>::length(units.c_str()));
    if (PathFromWide(units.c_str(), &back)) {
        std::replace(units.begin(), units.end(), WCHAR('/'), WCHAR('\\'));
        Require(WideFromPath(back) == units, "units come back");
    }
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    return {"/plain/name", "\xff/\xc3\xa4\xf0\x9f\x98\x80\\x",
            "\xef\x9d\x9c\xef\x9e\x80\xef\x9f\xbf",
            std::string("\x5c\xf7\xff\xf7\x00\xd8\x61\x00", 8), "\xed\xa0\x80\xf8\x80"};
}
