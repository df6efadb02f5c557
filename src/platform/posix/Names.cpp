#include "platform/posix/Names.h"

#include <cstring>

#include "platform/Utf8.h"
#include "platform/posix/Errors.h"

namespace {

constexpr char32_t kEscape = 0xF700;
constexpr char32_t kEscapedBackslash = kEscape + '\\';

// Paths escape '\', since it separates there; values keep it.
enum class Kind { Path, Value };

constexpr bool IsEscape(char32_t point, Kind kind) {
    return (point >= kEscape + 0x80 && point <= kEscape + 0xFF) ||
           (kind == Kind::Path && point == kEscapedBackslash);
}

WCHAR Escaped(char byte) {
    return static_cast<WCHAR>(kEscape + static_cast<unsigned char>(byte));
}

// Copies ASCII without '\' from the start of name; gives how many bytes that was. Nearly every name
// is nothing else, so eight bytes are tested and widened at a time.
std::size_t CopyPlain(const char* name, std::size_t length, WCHAR* out) {
    constexpr std::uint64_t kOnes = 0x0101010101010101U;
    constexpr std::uint64_t kHighs = 0x8080808080808080U;
    std::size_t i = 0;
    for (; i + 8 <= length; i += 8) {
        std::uint64_t eight;
        std::memcpy(&eight, name + i, 8);
        const std::uint64_t zeroAtBackslash = eight ^ (kOnes * '\\');
        if ((((zeroAtBackslash - kOnes) | eight) & kHighs) != 0) {
            break;
        }
        for (std::size_t k = 0; k < 8; ++k) {
            out[i + k] = static_cast<unsigned char>(name[i + k]);
        }
    }
    for (; i < length && static_cast<unsigned char>(name[i]) < 0x80 && name[i] != '\\'; ++i) {
        out[i] = static_cast<unsigned char>(name[i]);
    }
    return i;
}

std::size_t EncodeRest(const char* name, std::size_t length, Kind kind, WCHAR* out) {
    WCHAR* const start = out;
    for (std::size_t i = 0; i < length;) {
        char32_t point = 0;
        const std::size_t bytes = Utf8Sequence(name + i, length - i, &point);
        const bool backslash = kind == Kind::Path && name[i] == '\\';
        if (bytes != 0 && !backslash && !IsEscape(point, kind)) {
            out += WideUnits(point, out);
            i += bytes;
            continue;
        }
        for (const std::size_t end = i + (bytes == 0 ? 1 : bytes); i < end; ++i) {
            *out++ = Escaped(name[i]);
        }
    }
    return static_cast<std::size_t>(out - start);
}

WString WideFromBytes(std::string_view bytes, Kind kind) {
    WString wide(bytes.size(), 0);
    wide.resize(EncodeRest(bytes.data(), bytes.size(), kind, wide.data()));
    if (kind == Kind::Path) {
        for (WCHAR& unit : wide) {
            unit = unit == '/' ? WCHAR{'\\'} : unit;
        }
    }
    return wide;
}

struct Decoded {
    std::string bytes;
    bool escapes = false;
    bool valid = true;
};

Decoded BytesFromWide(std::basic_string_view<WCHAR> wide, Kind kind) {
    Decoded decoded;
    decoded.bytes.reserve(wide.size());
    std::size_t units = 0;
    for (std::size_t i = 0; i < wide.size(); i += units) {
        const char32_t point = WidePoint(wide.data() + i, wide.size() - i, &units);
        if (IsEscape(point, kind)) {
            decoded.bytes.push_back(static_cast<char>(point - kEscape));
            decoded.escapes = true;
        } else if (IsSurrogate(point)) {
            AppendUtf8(&decoded.bytes, 0xFFFD);
            decoded.valid = false;
        } else {
            AppendUtf8(&decoded.bytes, kind == Kind::Path && point == '\\' ? U'/' : point);
        }
    }
    return decoded;
}

bool SameUnits(const WString& encoded, std::basic_string_view<WCHAR> given, Kind kind) {
    if (encoded.size() != given.size()) {
        return false;
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        const bool separator = kind == Kind::Path && given[i] == '/';
        if (encoded[i] != (separator ? WCHAR{'\\'} : given[i])) {
            return false;
        }
    }
    return true;
}

// Escaped bytes that together form a valid character are not the form of any name.
bool ExactBytes(const WCHAR* wide, Kind kind, std::string* bytes) {
    const std::basic_string_view<WCHAR> view = wide;
    Decoded decoded = BytesFromWide(view, kind);
    if (!decoded.valid ||
        (decoded.escapes && !SameUnits(WideFromBytes(decoded.bytes, kind), view, kind))) {
        return Fail(ERROR_INVALID_NAME) != FALSE;
    }
    *bytes = std::move(decoded.bytes);
    return true;
}

}  // namespace

std::size_t WideFromName(const char* name, std::size_t length, WCHAR* out) {
    const std::size_t plain = CopyPlain(name, length, out);
    const std::size_t rest =
        plain == length ? 0 : EncodeRest(name + plain, length - plain, Kind::Path, out + plain);
    out[plain + rest] = 0;
    return plain + rest;
}

WString WideFromPath(std::string_view path) {
    return WideFromBytes(path, Kind::Path);
}

bool PathFromWide(const WCHAR* path, std::string* bytes) {
    if (path == nullptr || *path == 0) {
        return Fail(ERROR_PATH_NOT_FOUND) != FALSE;
    }
    return ExactBytes(path, Kind::Path, bytes);
}

std::string DisplayBytes(std::basic_string_view<WCHAR> path) {
    return BytesFromWide(path, Kind::Path).bytes;
}

WString WideFromValue(std::string_view value) {
    return WideFromBytes(value, Kind::Value);
}

bool ValueFromWide(const WCHAR* value, std::string* bytes) {
    return ExactBytes(value, Kind::Value, bytes);
}
