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
