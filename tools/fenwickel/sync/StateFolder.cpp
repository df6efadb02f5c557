#include "StateFolder.h"

#include <algorithm>
#include <array>

#include "platform/Platform.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/ShellText.h"
#include "report/WholeFile.h"
#include "system/Entries.h"
#include "system/Paths.h"
#include "system/Rights.h"

namespace {

using View = std::basic_string_view<WCHAR>;

// One kind of entry. Its name is start alone, or start, the index of a folder and end.
struct StateName {
    const WCHAR* start;
    const WCHAR* end;  // null: start is the whole name
    bool isReplaced;   // as a whole, by a Replacement
    bool isOfOneRun;
};

// By StateFile. The listings of a run end by its commit or discard, not by their names. The library
// names one file more, fenwickel.Log.
constexpr std::array kNames = {
    StateName{WIDE("base"), nullptr, false, false},
    StateName{WIDE("base.lock"), nullptr, false, false},
    StateName{WIDE("syncing"), nullptr, true, false},
    StateName{WIDE("deleted"), nullptr, false, false},
    StateName{WIDE("run.json"), nullptr, true, false},
    StateName{WIDE("settings.json"), nullptr, true, false},
    StateName{WIDE("last.json"), nullptr, true, false},
    StateName{WIDE("unsettled"), nullptr, true, false},
    StateName{WIDE("remove-"), WIDE(".list"), false, true},
    StateName{WIDE("send-"), WIDE(".list"), false, true},
    StateName{WIDE("uploader.out"), WIDE(""), false, true},
};
static_assert(kNames.size() == static_cast<std::size_t>(StateFile::Scratch) + 1);

// What a Replacement of an entry was writing when it was killed.
bool IsUnfinished(View name) {
    return std::any_of(kNames.begin(), kNames.end(), [name](const StateName& known) {
        return known.isReplaced && Replacement(known.start).Path() == name;
    });
}

// Under such a name a folder that holds no state yet may have an entry: a file system keeps the
// first there, and the log may begin before the lock is taken.
bool MayComeBeforeState(View name) {
    constexpr std::array<View, 4> kEarly = {WIDE("."), WIDE(".."), WIDE("lost+found"),
                                            WIDE("fenwickel.Log")};
    return std::find(kEarly.begin(), kEarly.end(), name) != kEarly.end();
}

// A file of the state that no other program leaves by that name: the lock, which is the first that
// a run makes, or one that begins as ours do, also when the rest of it is damaged.
bool HoldsState(const StateFolder& state) {
    if (HostIsRegularFile(state.files.lock)) {
        return true;
    }
    constexpr std::array kTelling = {StateFile::Settings, StateFile::Run, StateFile::Last};
    return std::any_of(kTelling.begin(), kTelling.end(), [&state](StateFile file) {
        const WString path = state.File(file);
        return HostIsRegularFile(path) &&
               ReadWholeFile(path).value_or("").starts_with("{\"format\":");
    });
}

// Files of other purposes would be overwritten and deleted.
void RequireNothingElse(const StateFolder& state) {
    if (HoldsState(state)) {
        return;
    }
    const auto names = HostNamesIn(state.path);
    if (!names) {
        throw SystemFailure(ExitCode::Usage, "list", state.path, GetLastError(),
                            "make it readable");
    }
    const auto other = std::find_if_not(names->begin(), names->end(), MayComeBeforeState);
    if (other != names->end()) {
        throw Failure(ExitCode::Usage, "--state " + Quoted(state.path) +
                                           " is no state folder, but holds " + Quoted(*other) +
                                           ": name the folder of a state, or an empty one");
    }
}

// Another account could exchange the listings, hold the lock, or have a link followed.
void RequireOwnFolder(const WString& folder) {
    const std::string command = HostCommandToOwn(folder);
    if (!command.empty()) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(folder) +
                          (command.starts_with("chown") ? " belongs to another account"
                                                        : " may be written by other accounts") +
                          ": if you trust what it holds: " + command + ' ' +
                          ShellQuoted(HostNativePath(folder)));
    }
}

}  // namespace

WString StateFolder::File(StateFile file, std::size_t index) const {
    const StateName& name = kNames.at(static_cast<std::size_t>(file));
    WString whole = path + WIDE("\\") + name.start;
    if (name.end != nullptr && *name.end != 0) {
        whole += WideFromUtf8(std::to_string(index)) + name.end;
    }
    return whole;
}

bool BelongsToOneRun(View name) {
    return IsUnfinished(name) ||
           std::any_of(kNames.begin(), kNames.end(), [name](const StateName& known) {
               return known.isOfOneRun && name.starts_with(known.start) &&
                      name.ends_with(known.end);
           });
}

StateFolder ResolveStateFolder(const std::string& argument) {
    if (argument.empty()) {
        throw Failure(ExitCode::Usage, "--state is empty: name a folder");
    }
    StateFolder state;
    state.path = PathArgument("--state", argument);
    // "/" and the like: a folder of the whole system.
    if (state.path.back() == '\\') {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " is a root folder: name a folder that keeps nothing else");
    }
    if (!HostIsFolder(state.path) && !IsGone(state.path)) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " is not a folder that can be entered: name another folder");
    }
    state.files = {state.File(StateFile::Base), state.File(StateFile::Syncing),
                   state.File(StateFile::Deleted), state.File(StateFile::Lock), true};
    RequireOwnFolder(state.path);
    RequireOwnFiles(state.files);
    if (HostIsFolder(state.path)) {
        RequireNothingElse(state);
    }
    return state;
}

void EnterStateFolder(const StateFolder& state) {
    HostMakeFilesPrivate();
    const bool isThere = HostIsFolder(state.path);
    if (isThere && !HostMakeFolderPrivate(state.path)) {
        throw SystemFailure(ExitCode::Failed, "close the state folder to other accounts",
                            state.path, GetLastError(), "make its file system writable");
    }
    if (!isThere && !CreateDirectoryW(state.path.c_str(), nullptr) &&
        GetLastError() != ERROR_ALREADY_EXISTS) {
        throw SystemFailure(ExitCode::Failed, "create the state folder", state.path, GetLastError(),
                            "create the folder that holds it, or make it writable");
    }
    // Another account may have made the folder since it was looked at.
    RequireOwnFolder(state.path);
    RequireNothingElse(state);
}

void RequireStateFolder(const StateFolder& state) {
    if (!HostIsFolder(state.path)) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " does not exist: name the folder that fenwickel sync was given");
    }
}
