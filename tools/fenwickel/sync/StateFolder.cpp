#include "StateFolder.h"

#include <algorithm>
#include <array>

#include "platform/Platform.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/WholeFile.h"
#include "system/Entries.h"

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
    RequireOwnFiles(state.files);
    return state;
}

void CreateStateFolder(const StateFolder& state) {
    if (HostIsFolder(state.path)) {
        return;
    }
    if (!CreateDirectoryW(state.path.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        throw SystemFailure(ExitCode::Failed, "create the state folder", state.path, GetLastError(),
                            "create the folder that holds it, or make it writable");
    }
}

void RequireStateFolder(const StateFolder& state) {
    if (!HostIsFolder(state.path)) {
        throw Failure(ExitCode::Usage,
                      "--state " + Quoted(state.path) +
                          " does not exist: name the folder that fenwickel sync was given");
    }
}
