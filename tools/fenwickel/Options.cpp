// The only source that includes the option parser, which takes long to compile.
#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "ExitCodes.h"
#include "Failure.h"
#include "Output.h"

namespace {

void Define(CLI::App& app, StateArguments& arguments) {
    app.add_option("--base", arguments.base, "Listing of the previous synchronisation")
        ->required()
        ->type_name("FILE");
    app.add_option("--syncing", arguments.syncing, "Listing that detect writes")
        ->required()
        ->type_name("FILE");
    app.add_option("--deleted", arguments.deleted, "List of deleted files that detect writes")
        ->required()
        ->type_name("FILE");
}

void Define(CLI::App& app, DetectOptions& options) {
    Define(app, options.state);
    app.add_option("--ignore", options.ignores,
                   "Skip the folder NAME directly below the INDEX-th folder, counted from 0")
        ->allow_extra_args(false)
        ->type_name("INDEX:NAME");
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
    Define(app, options.state);
    app.add_flag("--json", options.json, "Print one JSON object");
}

void DefineProcess(CLI::App& app, std::string& process) {
    app.add_option("PID", process, "Id of a running process that loads the library")
        ->required()
        ->type_name("");
}

void Define(CLI::App& app, LogShowOptions& options) {
    DefineProcess(app, options.process);
    app.add_flag("--json", options.json, "Print one JSON object for the process and per module");
}

void DefineChange(CLI::App& app, LogChangeOptions& options, const char* name, const char* help) {
    DefineProcess(app, options.process);
    app.add_option(name, options.value, help)->required()->type_name("");
    app.add_option("--module", options.module, "Only for this module, as log show names it")
        ->type_name("NAME");
    app.add_flag("--json", options.json, "Print one JSON object");
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
    app.add_flag("--json", options.json, "Print one JSON object per message");
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
    app.add_flag("--json", options.json, "Print one JSON object per message");
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
    app.add_flag("--json", options.json, "Print one JSON object per hit and per release");
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

}  // namespace

template <typename Options>
std::optional<Options> ParseOptions(const Command& command, std::vector<std::string> arguments) {
    CLI::App app(command.summary, std::string("fenwickel ") + command.name);
    std::optional<Options> options(std::in_place);
    Define(app, *options);
    if (!Parse(app, std::move(arguments))) {
        options.reset();
    }
    return options;
}

template std::optional<DetectOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<DumpOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<PendingOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogShowOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogLevelOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogFileOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogCatOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogWatchOptions> ParseOptions(const Command&, std::vector<std::string>);
template std::optional<LogBreakOptions> ParseOptions(const Command&, std::vector<std::string>);
