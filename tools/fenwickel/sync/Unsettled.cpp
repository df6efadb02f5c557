#include "Unsettled.h"

#include <cstring>
#include <vector>

#include "platform/Platform.h"
#include "report/ExitCodes.h"

namespace {

constexpr const WCHAR* kGatheredFile = WIDE("unsettled.new");

Failure Damaged(const StateFolder& state) {
    return {ExitCode::Damaged,
            Quoted(state.File(kUnsettledFile)) +
                " is damaged, so it is not known what an interrupted run has sent: delete it and "
                "run once with --force-all"};
}

}  // namespace

WString PathKey(std::uint8_t folder, std::basic_string_view<WCHAR> path) {
    WString key(1, static_cast<WCHAR>(folder));
    key += path;
    return key;
}

PathKeys LoadUnsettled(const StateFolder& state) {
    PathKeys keys;
    auto bytes = ReadWholeFile(state.File(kUnsettledFile));
    if (!bytes || bytes->empty()) {
        return keys;
    }
    std::vector<WCHAR> units(bytes->size() / sizeof(WCHAR));
    std::memcpy(units.data(), bytes->data(), units.size() * sizeof(WCHAR));
    if (bytes->size() % sizeof(WCHAR) != 0 || units.back() != 0) {
        throw Damaged(state);
    }
    bytes.reset();  // there may be millions of paths
    for (std::size_t start = 0; start < units.size();) {
        const WCHAR* const path = units.data() + start + 1;  // behind the index, which may be 0
        if (start + 1 >= units.size() || *path == 0 || units[start] > 255) {
            throw Damaged(state);
        }
        keys.insert(PathKey(static_cast<std::uint8_t>(units[start]), path));
        start += 2 + std::char_traits<WCHAR>::length(path);
    }
    return keys;
}

UnsettledWriter::UnsettledWriter(const StateFolder& state) : m_file(state.File(kGatheredFile)) {}

void UnsettledWriter::Add(const WString& key) {
    const std::size_t size = (key.size() + 1) * sizeof(WCHAR);  // with its zero
    m_file.Append({reinterpret_cast<const char*>(key.c_str()), size});
}

void PutUnsettledInForce(const StateFolder& state) {
    const WString gathered = state.File(kGatheredFile);
    const WString file = state.File(kUnsettledFile);
    if (!MoveFileExW(gathered.c_str(), file.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        throw SystemFailure(ExitCode::Failed, "replace", file, GetLastError(),
                            "put that right and run again; nothing was sent");
    }
}
