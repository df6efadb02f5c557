#include "Unsettled.h"

#include <cstring>
#include <vector>

#include "report/ExitCodes.h"
#include "report/WholeFile.h"

namespace {

Replacement NextUnsettled(const StateFolder& state) {
    return Replacement(state.File(StateFile::Unsettled));
}

Failure Damaged(const StateFolder& state) {
    return {ExitCode::Damaged,
            Quoted(state.File(StateFile::Unsettled)) +
                " is damaged, so it is not known what an interrupted run has sent: delete it and "
                "run once with --force-all"};
}

}  // namespace

PathKeys LoadUnsettled(const StateFolder& state) {
    PathKeys keys;
    auto bytes = ReadWholeFile(state.File(StateFile::Unsettled));
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
        keys.emplace(PathKeyView{static_cast<std::uint8_t>(units[start]), path});
        start += 2 + std::char_traits<WCHAR>::length(path);
    }
    return keys;
}

UnsettledWriter::UnsettledWriter(const StateFolder& state) : m_file(NextUnsettled(state).Path()) {}

void UnsettledWriter::Add(const PathKeyView& key) {
    const auto append = [this](std::basic_string_view<WCHAR> units) {
        m_file.Append({reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WCHAR)});
    };
    const WCHAR folder = key.folder;
    const WCHAR zero = 0;
    append({&folder, 1});
    append(key.path);
    append({&zero, 1});
}

void PutUnsettledInForce(const StateFolder& state) {
    NextUnsettled(state).PutInPlace();
}
