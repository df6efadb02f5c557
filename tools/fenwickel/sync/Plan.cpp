#include "Plan.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "Unsettled.h"
#include "fenwickel/SyncRecord.h"
#include "listing/PathPairs.h"
#include "listing/RecordReader.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/FileWriter.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

using View = std::basic_string_view<WCHAR>;

// One folder of the run while its lists are written.
class FolderPlan {
public:
    FolderPlan(const StateFolder& state, std::size_t index, ListStyle style)
        : m_style(style),
          m_removals(state.File(StateFile::Removals, index)),
          m_sends(state.File(StateFile::Sends, index)) {}

    void Remove(const std::string& path) {
        Append(m_removals, path);
        ++m_removalCount;
    }

    // A path whose files may be at the destination: its folders may be there, too.
    void RememberFolders(const std::string& path) {
        for (std::size_t slash = path.rfind('/'); slash != std::string::npos && slash > 0;
             slash = path.rfind('/', slash - 1)) {
            if (!m_folders.insert(path.substr(0, slash)).second) {
                return;  // those above it are there already
            }
        }
    }

    void Send(const std::string& path) {
        Append(m_sends, path);
        ++m_sendCount;
        if (m_folders.contains(path)) {
            m_replaced.push_back(path);
        }
    }

    HandOver Finish(WString folder, WString place) {
        m_removals.Finish();
        m_sends.Finish();
        std::sort(m_replaced.begin(), m_replaced.end(), std::greater<>());
        return {std::move(folder), std::move(place), m_removals.Path(),    m_removalCount,
                m_sends.Path(),    m_sendCount,      std::move(m_replaced)};
    }

private:
    void Append(FileWriter& list, const std::string& path) const {
        list.Append(m_style.prefix);
        list.Append(path);
        list.Append({&m_style.separator, 1});
    }

    ListStyle m_style;
    FileWriter m_removals;
    std::uint64_t m_removalCount = 0;
    FileWriter m_sends;
    std::uint64_t m_sendCount = 0;
    std::unordered_set<std::string> m_folders;  // that removed paths, maybe, lie in
    std::vector<std::string> m_replaced;
};

// What lies below a folder of the run and is skipped, relative, sorted as nested is.
std::vector<WString> NestedBelow(const WString& folder, const std::vector<WString>& nested) {
    const WString start = WithSeparator(folder);
    std::vector<WString> below;
    for (const WString& path : nested) {
        if (path.starts_with(start)) {
            below.push_back(path.substr(start.size()));
        }
    }
    return below;
}

// A folder's own name: where it goes below a destination that several folders share.
WString PlaceOf(const StateSettings& settings, std::size_t index) {
    if (settings.folders.size() == 1) {
        return {};
    }
    const WString& folder = settings.folders[index];
    return folder.substr(folder.find_last_of('\\') + 1);
}

// Decides for every path, in this order:
//   in the list of deleted files                      remove it
//   in the new listing, below a skipped mount         drop its record; remove it if the base has it
//                                                     or it is unsettled
//   unchanged and not unsettled                       nothing
//   new, changed or unsettled, and can be carried     send it
//   the same, and cannot be carried                   drop its record; remove it if the base has it
//                                                     or it is unsettled
//   unsettled, in neither list                        remove it
// A path that is removed or sent is unsettled until the commit, whatever the decision was due to.
class Planner {
public:
    Planner(const PlanInput& input, RunSummary* summary);
    Plan Make();

private:
    void RequireFolder(std::uint8_t folder) const;
    std::string NativePath(const PathKeyView& key) const;
    bool Settle(const PathKeyView& key);
    bool IsSkipped(const RecordView& record) const;
    std::string ObstacleOf(const RecordView& record, const std::string& native) const;
    void AddGone(const RecordView& record);
    void AddFound(const RecordView& record);
    void Count(const RecordView& record);
    void Drop(const PathKeyView& key, const std::string& native, bool isThere);
    void Remove(const PathKeyView& key, const std::string& native);
    void Send(const PathKeyView& key, const std::string& native);
    void Tell(const char* what, const PathKeyView& key, const std::string& why = "") const;

    const PlanInput& m_input;
    RunSummary& m_summary;
    PathKeys m_unsettled;  // those not met yet
    UnsettledWriter m_gathered;
    std::vector<FolderPlan> m_folders;
    std::vector<std::vector<WString>> m_nested;
    Plan m_plan;
};

Planner::Planner(const PlanInput& input, RunSummary* summary)
    : m_input(input),
      m_summary(*summary),
      m_unsettled(LoadUnsettled(input.state)),
      m_gathered(input.state) {
    const std::vector<WString>& folders = input.settings.folders;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        m_folders.emplace_back(input.state, i, input.uploader.Style());
        m_nested.push_back(NestedBelow(folders[i], input.settings.nested));
    }
    m_plan.foundPerFolder.resize(folders.size());
    m_plan.unsettled.resize(folders.size());
}

// The listings are of the folders of this run; what others wrote is refused.
void Planner::RequireFolder(std::uint8_t folder) const {
    if (folder >= m_folders.size()) {
        throw Failure(ExitCode::Damaged, "the listings of " + Quoted(m_input.state.path) +
                                             " name more folders than this run has: use a "
                                             "state folder of its own");
    }
}

std::string Planner::NativePath(const PathKeyView& key) const {
    RequireFolder(key.folder);
    std::string native = HostNativePath(WString(key.path));
    if (native.empty()) {
        throw Failure(ExitCode::Damaged,
                      "the listings of " + Quoted(m_input.state.path) +
                          " name a path that cannot be: " + Quoted(WString(key.path)));
    }
    return native;
}

bool Planner::IsSkipped(const RecordView& record) const {
    return LiesInOne(record.path, m_nested[record.pathIndex]);
}

// What keeps the file from being sent, "" when nothing does.
std::string Planner::ObstacleOf(const RecordView& record, const std::string& native) const {
    const WString path = m_input.snapshots[record.pathIndex] + WString(record.path);
    const HostEntry kind = HostEntryAt(path);
    switch (kind) {
        case HostEntry::Missing:
            return "it vanished while it was read";
        case HostEntry::Folder:
            return "it became a folder while it was read";
        case HostEntry::Unknown:
            throw SystemFailure(ExitCode::Failed, "look up", path, GetLastError(),
                                "remove the cause and run again");
        default:
            break;
    }
    const char* const obstacle = m_input.uploader.Obstacle(native, kind);
    return obstacle == nullptr ? "" : obstacle;
}

Plan Planner::Make() {
    for (const PathKey& key : m_unsettled) {
        const std::string native = NativePath(key);
        m_folders[key.folder].RememberFolders(native);
    }
    RecordReader gone(m_input.state.files.deleted);
    for (RecordView record; gone.Next(record);) {
        AddGone(record);
    }
    RecordReader found(m_input.state.files.syncing);
    for (RecordView record; found.Next(record);) {
        AddFound(record);
    }
    if (gone.Damage() || found.Damage()) {
        throw Failure(ExitCode::Failed,
                      "the listings of " + Quoted(m_input.state.path) + " are damaged: run again");
    }
    const PathKeys left = std::move(m_unsettled);
    for (const PathKey& key : left) {
        ++m_plan.unsettled[key.folder];
        Remove(key, NativePath(key));
    }
    m_gathered.Finish();
    for (std::size_t i = 0; i < m_folders.size(); ++i) {
        m_plan.folders.push_back(
            m_folders[i].Finish(m_input.snapshots[i], PlaceOf(m_input.settings, i)));
    }
    return std::move(m_plan);
}

// Takes the path off those not met yet. False when it was none of them.
bool Planner::Settle(const PathKeyView& key) {
    const auto found = m_unsettled.find(key);
    if (found == m_unsettled.end()) {
        return false;
    }
    m_unsettled.erase(found);
    return true;
}

void Planner::AddGone(const RecordView& record) {
    const PathKeyView key{record.pathIndex, record.path};
    const std::string native = NativePath(key);
    Settle(key);
    m_folders[record.pathIndex].RememberFolders(native);
    ++m_summary.deleted;
    ++m_plan.lost;
    Remove(key, native);
}

void Planner::AddFound(const RecordView& record) {
    RequireFolder(record.pathIndex);
    if (record.status == SYNC_ITEM_UNCHANGED && m_unsettled.empty() &&
        m_nested[record.pathIndex].empty()) {
        Count(record);  // most of them: nothing to do
        return;
    }
    const PathKeyView key{record.pathIndex, record.path};
    const std::string native = NativePath(key);
    const bool isUnsettled = Settle(key);
    const bool isInBase = record.status != SYNC_ITEM_NEW;
    m_plan.unsettled[record.pathIndex] += isUnsettled && !isInBase ? 1U : 0U;
    if (IsSkipped(record)) {
        ++m_summary.skipped;
        m_plan.lost += isInBase ? 1U : 0U;
        Drop(key, native, isInBase || isUnsettled);
        return;
    }
    Count(record);
    if (record.status == SYNC_ITEM_UNCHANGED && !isUnsettled) {
        return;
    }
    const std::string obstacle = ObstacleOf(record, native);
    if (obstacle.empty()) {
        Send(key, native);
        return;
    }
    ++m_summary.notCarried;
    Tell("not carried", key, obstacle);
    m_plan.lost += isInBase ? 1U : 0U;
    Drop(key, native, isInBase || isUnsettled);
}

void Planner::Count(const RecordView& record) {
    ++m_plan.foundPerFolder[record.pathIndex];
    m_summary.tickFiles += record.writeTime >= m_input.tick ? 1U : 0U;
    switch (record.status) {
        case SYNC_ITEM_NEW:
            ++m_summary.fresh;
            break;
        case SYNC_ITEM_CHANGED:
            ++m_summary.changed;
            break;
        default:
            ++m_summary.unchanged;
            break;
    }
}

// What is not sent must not be listed as sent; what was sent earlier under its name must go.
void Planner::Drop(const PathKeyView& key, const std::string& native, bool isThere) {
    m_plan.dropped.emplace(key);
    if (isThere) {
        m_folders[key.folder].RememberFolders(native);
        Remove(key, native);
    }
}

void Planner::Remove(const PathKeyView& key, const std::string& native) {
    Tell("remove", key);
    m_folders[key.folder].Remove(native);
    m_gathered.Add(key);
}

void Planner::Send(const PathKeyView& key, const std::string& native) {
    Tell("send", key);
    m_folders[key.folder].Send(native);
    m_gathered.Add(key);
}

void Planner::Tell(const char* what, const PathKeyView& key, const std::string& why) const {
    if (m_input.tell) {
        m_input.tell(what, WithSeparator(m_input.settings.folders[key.folder]) + WString(key.path),
                     why);
    }
}

}  // namespace

bool Plan::IsEmpty() const {
    return std::all_of(folders.begin(), folders.end(), [](const HandOver& folder) {
        return folder.removalCount == 0 && folder.sendCount == 0;
    });
}

Plan MakePlan(const PlanInput& input, RunSummary* summary) {
    return Planner(input, summary).Make();
}
