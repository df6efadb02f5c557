// fenwickel status: the runs of a state folder. Changes nothing.
#include <map>

#include "Commands.h"
#include "Options.h"
#include "PendingStateCommands.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/ShellText.h"
#include "sync/RunRecord.h"
#include "system/Paths.h"

namespace {

struct Status {
    std::optional<std::string> holder;  // of the lock
    std::optional<RunRecord> run;       // not ended
    std::optional<StateSettings> settings;
    std::optional<RunSummary> last;
    std::string trouble;  // why the last run is unknown

    // A run that waits for its end: for a commit or discard by the user, or for the rest of its
    // commit.
    bool IsPending() const { return run && run->stage != RunStage::Running; }

    // The circumstances of the last commit, or of the first run.
    StateSettings Circumstances() const {
        return settings ? *settings : run ? run->settings : StateSettings();
    }
};

void RequireState(const StateFolder& state) {
    RequireStateFolder(state);
    for (const WString& file : {state.File(StateFile::Run), state.File(StateFile::Settings),
                                state.File(StateFile::Last), state.files.lock}) {
        if (!IsGone(file)) {
            return;
        }
    }
    throw Failure(ExitCode::Usage, "--state " + Quoted(state.path) +
                                       " holds no state: name the folder that fenwickel sync was "
                                       "given");
}

// Who holds the lock comes first: of a run that ends meanwhile, the files tell that it has ended.
Status Look(const StateFolder& state) {
    Status status;
    status.holder = StateHolder(state.files);
    status.run = LoadRun(state);
    status.settings = LoadSettings(state);
    try {
        status.last = LoadLast(state);
    } catch (const Failure& failure) {
        status.trouble = failure.what();
    }
    return status;
}

const char* StageName(const Status& status) {
    if (!status.run) {
        return "";
    }
    switch (status.run->stage) {
        case RunStage::Running:
            return status.holder ? "running" : "cut short";
        case RunStage::Pending:
            return "pending";
        case RunStage::Committing:
            return "committing";
    }
    return "";
}

std::string NowText(const Status& status, const std::string& argument) {
    std::string text;
    if (status.holder) {
        text += "a run is active: " + *status.holder + "\n";
    }
    if (!status.run) {
        return text + (status.holder ? "" : "no run is active or pending\n");
    }
    const std::string& id = status.run->summary.run;
    if (status.run->stage == RunStage::Running) {
        return status.holder ? text
                             : text + "the run " + id +
                                   " was cut short; the next sync deletes what it left\n";
    }
    if (status.run->stage == RunStage::Committing) {
        return text + "the commit of the run " + id +
               " was interrupted; the next sync finishes it, as does\n  fenwickel commit --state " +
               ShellQuoted(argument) + "\n";
    }
    return text + "pending:\n" + Table(status.run->summary) + EndCommands(argument, id);
}

std::string Text(const Status& status, const std::string& argument) {
    const StateSettings settings = status.Circumstances();
    std::string text;
    for (const WString& folder : settings.folders) {
        text += "folder       " + Quoted(folder) + "\n";
    }
    if (!settings.destination.empty()) {
        text += "destination  \"" + Escaped(ValidUtf8(settings.destination)) + "\"\n";
    }
    text += "\n" + NowText(status, argument) + "\n";
    if (!status.trouble.empty()) {
        return text + "last run unknown: " + status.trouble + "\n";
    }
    return text + (status.last ? "last run:\n" + Table(*status.last) : "no run has ended yet\n");
}

// "last_NAME", which lives for the process.
const char* LastName(const char* name) {
    static std::map<std::string, std::string> names;
    return names.try_emplace(name, std::string("last_") + name).first->second.c_str();
}

JsonFields Fields(const Status& status) {
    const StateSettings settings = status.Circumstances();
    std::vector<std::string> folders;
    for (const WString& folder : settings.folders) {
        folders.push_back(HostDisplayText(folder));
    }
    JsonFields fields = {{"pending", status.IsPending() ? status.run->summary.run : ""},
                         {"stage", StageName(status)},
                         {"active", status.holder.has_value()},
                         {"folders", folders},
                         {"destination", ValidUtf8(settings.destination)}};
    const RunSummary last = status.last.value_or(RunSummary());
    for (const auto& [name, value] : Fields(last)) {
        fields.emplace_back(LastName(name), value);
    }
    fields.emplace_back("last_exit_code", last.exitCode);
    fields.emplace_back("last_message", ValidUtf8(last.message));
    return fields;
}

}  // namespace

JsonFields EmptyStatusResult() {
    return Fields(Status());
}

int RunStatus(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<StatusOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const StateFolder state = ResolveStateFolder(options->state);
    RequireState(state);
    const Status status = Look(state);
    if (options->json) {
        PrintJsonResult(0, status.trouble, Fields(status));
    } else {
        PrintWhole(Text(status, options->state));
    }
    return ExitCode::Done;
}
