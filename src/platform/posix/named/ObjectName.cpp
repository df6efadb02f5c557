#include "platform/posix/named/ObjectName.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "platform/posix/Errors.h"

namespace {

using WideView = std::basic_string_view<WCHAR>;

constexpr WideView kGlobalPrefix = WIDE("Global\\");
constexpr WideView kLocalPrefix = WIDE("Local\\");
constexpr std::string_view kFilePrefix = "object-";
constexpr std::size_t kHashDigits = 16;
static_assert(kFilePrefix.size() + kHashDigits < kObjectFileCapacity);

constexpr std::uint64_t kHashStart = 0xCBF29CE484222325U;
constexpr std::uint64_t kHashFactor = 0x100000001B3U;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) {
    hash = (hash ^ value) * kHashFactor;
    return hash ^ (hash >> 29);
}

// Two names of one hash are no danger: the file holds the whole name.
std::uint64_t HashOf(const ObjectName& name) {
    std::uint64_t hash = Mix(Mix(kHashStart, name.local ? 1 : 0), name.pidNamespace);
    for (const WCHAR unit : name.text) {
        hash = Mix(hash, unit);
    }
    return hash;
}

bool TakePrefix(WideView prefix, WideView* text) {
    if (!text->starts_with(prefix)) {
        return false;
    }
    text->remove_prefix(prefix.size());
    return true;
}

bool IsHexNumber(std::string_view text) {
    return text.size() == kHashDigits &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// By hand: formatting would be a good part of a look for an object that is not there.
void AppendHex(char* target, std::uint64_t value) {
    for (std::size_t i = 0; i < kHashDigits; ++i) {
        target[i] = "0123456789abcdef"[value >> (60 - 4 * i) & 15];
    }
    target[kHashDigits] = '\0';
}

constinit std::atomic<std::uint64_t> pidNamespace{0};

// A number for this process's namespace of process ids; 0 when the system does not tell.
std::uint64_t PidNamespace() {
    std::uint64_t known = pidNamespace.load(std::memory_order_relaxed);
    if (known == 0) {
        struct stat status;
        known = stat("/proc/self/ns/pid", &status) == 0 ? status.st_ino : 0;
        pidNamespace.store(known, std::memory_order_relaxed);
    }
    return known;
}

}  // namespace

void ForgetPidNamespace() {
    pidNamespace.store(0, std::memory_order_relaxed);
}

bool ParseObjectName(const WCHAR* text, ObjectName* name) {
    name->text = text;
    name->local = !TakePrefix(kGlobalPrefix, &name->text);
    if (name->local) {
        TakePrefix(kLocalPrefix, &name->text);
    }
    if (name->text.empty()) {
        return Fail(ERROR_INVALID_NAME) != FALSE;
    }
    if (name->text.size() >= kObjectNameCapacity) {
        return Fail(ERROR_FILENAME_EXCED_RANGE) != FALSE;
    }
    if (name->text.find(WCHAR{'\\'}) != WideView::npos) {
        return Fail(ERROR_PATH_NOT_FOUND) != FALSE;
    }
    name->pidNamespace = PidNamespace();
    name->place = &CurrentObjectPlace();
    const std::string_view folder = name->place->folder;
    char* end = std::copy(folder.begin(), folder.end(), name->path);
    end = std::copy(kFilePrefix.begin(), kFilePrefix.end(), end);
    AppendHex(end, HashOf(*name));
    return true;
}

void MakeTemporaryPath(const char* path, std::uint64_t number, char* temporary) {
    const std::string_view text = path;
    char* const end = std::copy(text.begin(), text.end(), temporary);
    *end = '.';
    AppendHex(end + 1, number);
}

bool IsObjectFile(std::string_view fileName) {
    if (!fileName.starts_with(kFilePrefix)) {
        return false;
    }
    fileName.remove_prefix(kFilePrefix.size());
    const std::size_t dot = std::min(fileName.find('.'), fileName.size());
    return IsHexNumber(fileName.substr(0, dot)) &&
           (dot == fileName.size() || IsHexNumber(fileName.substr(dot + 1)));
}
