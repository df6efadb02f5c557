// The only source that includes the option parser, which takes long to compile.
#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"

namespace {

std::array<CLI::Option*, 3> DefineFiles(CLI::App& app, StateArguments& arguments) {
    return {
        app.add_option("--base", arguments.base, "Listing of the previous synchronisation")
            ->type_name("FILE"),
        app.add_option("--syncing", arguments.syncing, "Listing that detect writes")
            ->type_name("FILE"),
        app.add_option("--deleted", arguments.deleted, "List of deleted files that detect writes")
            ->type_name("FILE"),
    };
}

void DefineIgnores(CLI::App& app, std::vector<std::string>& ignores) {
    app.add_option("--ignore", ignores,
                   "Skip the folder NAME directly below the INDEX-th folder, counted from 0")
        ->allow_extra_args(false)
        ->type_name("INDEX:NAME");
}

CLI::Option* DefineStateFolder(CLI::App& app, std::string& folder) {
    return app
        .add_option("--state", folder,
                    "Folder where a synchronisation keeps its listings between runs")
        ->type_name("DIR");
}

void Define(CLI::App& app, DetectOptions& options) {
    for (CLI::Option* const file : DefineFiles(app, options.state)) {
        file->required();
    }
    DefineIgnores(app, options.ignores);
    app.add_flag("--force-all", options.forceAll, "Count every known file as changed");
    app.add_flag("--json", options.json, "Print one JSON object");
    app.add_flag("--exit-code", options.exitCode, "Exit 4 when anything is new, changed or gone");
    app.add_option("PAIR", options.pairs, "FOLDER to walk, or META=SNAPSHOT to walk SNAPSHOT")
        ->required()
        ->type_name("");
}

void Define(CLI::App& app, DumpOptions& options) {
    app.add_option("FILE", options.file, "Record file: a base, syncing or deleted-item file")
        ->required()
        ->type_name("");
    app.add_flag("--json", options.json, "Print one JSON object per record");
    app.add_option("--status", options.statuses,
                   "Only records with these statuses: new,changed,...")
        ->type_name("LIST");
}

void Define(CLI::App& app, PendingOptions& options) {
    CLI::Option* const folder = DefineStateFolder(app, options.stateFolder);
    for (CLI::Option* const file : DefineFiles(app, options.state)) {
        file->excludes(folder);
    }
    app.add_option("--run", options.run, "Only when the pending run has this id; with --state")
        ->needs(folder)
        ->type_name("ID");
    app.add_flag("--json", options.json, "Print one JSON object");
}

void DefineBrakes(CLI::App& app, SyncOptions& options) {
    app.add_option(
           "--max-delete", options.maxDelete,
           "Stop when more files are gone than this number, or this share of the known ones")
        ->capture_default_str()
        ->type_name("N|N%");
    app.add_flag("--allow-empty", options.allowEmpty,
                 "Go on when a folder is empty that was not empty before");
    app.add_flag("--force-all", options.forceAll,
                 "Count every known file as changed and send it again, also to a new destination");
    app.add_flag("--skip-nested", options.skipNested,
                 "Leave out mounts and subvolumes below the folders instead of refusing them");
    app.add_flag("--accept-mounts", options.acceptMounts,
                 "Go on when the volumes of the folders, or those below them, are others than "
                 "before");
}

void Define(CLI::App& app, SyncOptions& options) {
    DefineStateFolder(app, options.state)->required();
    app.add_option("--to", options.destination,
                   "Destination: rsync:PATH, rsync:HOST:PATH, rclone:REMOTE:PATH, or cmd:COMMAND "
                   "with {action} {list} {folder} {place} {count}. Without it the run stays "
                   "pending for commit or discard")
        ->type_name("DEST");
    app.add_option("--snapshot", options.snapshot,
                   "require: read a snapshot or stop; prefer: read the folders themselves where "
                   "there is none; off: read the folders themselves")
        ->capture_default_str()
        ->type_name("MODE");
    DefineIgnores(app, options.ignores);
    DefineBrakes(app, options);
    app.add_flag("-n,--dry-run", options.dryRun, "Print what a run would do, and send nothing");
    app.add_flag("--replace-pending", options.replacePending, "Discard a run that is pending");
    app.add_option("--lock-wait", options.lockWait,
                   "Wait so many seconds for another run on the same state")
        ->type_name("SECONDS");
    app.add_flag("--json", options.json, "Print one JSON object");
    app.add_flag("--exit-code", options.exitCode, "Exit 4 when anything was new, changed or gone");
    app.add_option("FOLDER", options.folders, "Folder to synchronise")->required()->type_name("");
}

void Define(CLI::App& app, StatusOptions& options) {
    DefineStateFolder(app, options.state)->required();
    app.add_flag("--json", options.json, "Print one JSON object");
}

void Define(CLI::App& app, SnapshotsOptions& options) {
    app.add_flag("--prune", options.prune, "Delete them");
    app.add_flag("--json", options.json, "Print one JSON object per snapshot");
    app.add_option("FOLDER", options.folders, "Only those of the volume that holds FOLDER")
        ->type_name("");
}

// json says what --json prints.
void DefineLog(CLI::App& app, LogOptions& options, const char* json) {
    app.add_option("--user", options.user,
                   "As root: act for this account, whose programs and viewer are meant")
        ->type_name("NAME|UID");
    app.add_flag("--json", options.json, json);
}

void DefineProcess(CLI::App& app, std::string& process) {
    app.add_option("PID", process, "Id of a running process that loads the library")
        ->required()
        ->type_name("");
}

void Define(CLI::App& app, LogShowOptions& options) {
    DefineProcess(app, options.process);
    DefineLog(app, options, "Print one JSON object for the process and per module");
}

void DefineChange(CLI::App& app, LogChangeOptions& options, const char* name, const char* help) {
    DefineProcess(app, options.process);
    app.add_option(name, options.value, help)->required()->type_name("");
    app.add_option("--module", options.module, "Only for this module, as log show names it")
        ->type_name("NAME");
    DefineLog(app, options, "Print one JSON object");
}

void Define(CLI::App& app, LogLevelOptions& options) {
    DefineChange(app, options, "LEVEL",
                 "Write messages up to this number; \"default\" takes the change back");
}

void Define(CLI::App& app, LogFileOptions& options) {
    DefineChange(app, options, "PATH", "Log into this file; \"default\" takes the change back");
}

void Define(CLI::App& app, LogCatOptions& options) {
    app.add_option("FILE", options.file, "Log file")->required()->type_name("");
    app.add_flag("-f,--follow", options.follow,
                 "Go on with what is appended, also in the files that continue this one");
    app.add_option("--level", options.level, "Only messages of this level or a smaller number")
        ->type_name("N");
    app.add_option("--grep", options.text, "Only messages that hold TEXT; case counts")
        ->type_name("TEXT");
    app.add_option("--since", options.since,
                   "Only messages from then on: 2026-11-22, 2026-11-22T09:05:07, or 09:05 today")
        ->type_name("TIME");
    DefineLog(app, options, "Print one JSON object per message");
}

void Define(CLI::App& app, LogWatchOptions& options) {
    app.add_option("--exe", options.executables,
                   "File name of an executable to watch; may be repeated. Without it: every one "
                   "that loads the library, also those that start later")
        ->allow_extra_args(false)
        ->type_name("NAME");
    app.add_option("--level", options.level, "Only messages of this level or a smaller number")
        ->type_name("N");
    app.add_option("--grep", options.text, "Only messages that hold TEXT; case counts")
        ->type_name("TEXT");
    DefineLog(app, options, "Print one JSON object per message");
}

void Define(CLI::App& app, LogBreakOptions& options) {
    app.add_option("--exe", options.executable, "File name of the executable")
        ->required()
        ->type_name("NAME");
    app.add_option("--text", options.text,
                   "Stop at messages that hold TEXT; case counts. Without it: at every message")
        ->type_name("TEXT");
    app.add_option("--pid", options.process, "Only threads of this process")
        ->check(CLI::Range(1U, UINT32_MAX))
        ->type_name("P");
    app.add_option("--tid", options.thread, "Only this thread")
        ->check(CLI::Range(1U, UINT32_MAX))
        ->type_name("T");
    app.add_option("--release-after", options.releaseAfter,
                   "Let a thread go on after so many seconds. Standard input is not read then; "
                   "without it Enter lets the oldest go on, and after the end of the input each "
                   "goes on at once")
        ->type_name("SECONDS");
    DefineLog(app, options, "Print one JSON object per hit and per release");
}

// An unset variable of a script leaves a value empty, which would mean something else here.
void RequireValues(const CLI::App& app) {
    for (const char* const name :
         {"--to", "--run", "--level", "--since", "--grep", "--text", "--module", "--user"}) {
        const CLI::Option* const option = app.get_option_no_throw(name);
        if (option != nullptr && option->count() != 0 && option->as<std::string>().empty()) {
            throw Failure(ExitCode::Usage, std::string(name) +
                                               " is empty: give it a value, or leave it out: see " +
                                               app.get_name() + " --help");
        }
    }
}

// False when the arguments asked for help or for the version, which has then been printed.
bool Parse(CLI::App& app, std::vector<std::string> arguments) {
    app.footer(ExitCode::Help);
    app.set_version_flag("--version", "fenwickel " FENWICKEL_VERSION "\n", "Print the version");
    app.allow_windows_style_options(false);
    for (std::string& argument : arguments) {
        // The parser would take these paths for a list and for the end of a command.
        if (argument == "++" || (argument.starts_with('[') && argument.ends_with(']'))) {
            argument.insert(0, "./");
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(std::move(arguments));
        RequireValues(app);
        return true;
    } catch (const CLI::CallForHelp&) {
        PrintWhole(app.help());
        return false;
    } catch (const CLI::CallForVersion& version) {
        PrintWhole(version.what());
        return false;
    } catch (const CLI::ParseError& error) {
        throw Failure(ExitCode::Usage,
                      Escaped(error.what()) + ": see " + app.get_name() + " --help");
    }
}

// What the option parser cannot say: either the folder or all three files.
void Check(const PendingOptions& options, const std::string& command) {
    const StateArguments& files = options.state;
    if (options.stateFolder.empty() &&
        (files.base.empty() || files.syncing.empty() || files.deleted.empty())) {
        throw Failure(
            ExitCode::Usage,
            "name --state DIR, or --base, --syncing and --deleted: see " + command + " --help");
    }
}

template <typename Options>
void Check(const Options&, const std::string&) {}

}  // namespace

template <typename Options>
std::optional<Options> ParseOptions(const Command& command, std::vector<std::string> arguments) {
    CLI::App app(command.summary, std::string("fenwickel ") + command.name);
    std::optional<Options> options(std::in_place);
    Define(app, *options);
    if (!Parse(app, std::move(arguments))) {
        options.reset();
    } else {
        Check(*options, app.get_name());
    }
    return options;
}

template std::optional<DetectOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<DumpOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<PendingOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<SyncOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<StatusOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<SnapshotsOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogShowOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogLevelOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogFileOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogCatOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogWatchOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogBreakOptions> ParseOptions(const Command&, std::vector<std::string>);
