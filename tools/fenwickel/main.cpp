// The command-line host: finds the command, runs it, and reports how it ended.
#include <algorithm>
#include <array>
#include <cstdio>

#include "Commands.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "Output.h"
#include "platform/Host.h"

namespace {

nlohmann::ordered_json NoFields() {
    return nlohmann::ordered_json::object();
}

constexpr std::array kCommands = {
    Command{"detect", "find new, changed and deleted files", RunDetect, EmptyDetectResult},
    Command{"dump", "list the records of a record file", RunDump, nullptr},
    Command{"commit", "make the listing of the last detect the base of the next", RunCommit,
            NoFields},
    Command{"discard", "delete the listings of the last detect", RunDiscard, NoFields},
};

constexpr const char* kRemedy = "see fenwickel --help";

void PrintText(const std::string& text) {
    Output output;
    output.Print(text);
    output.Flush();
}

std::string HelpText() {
    std::string text = "Usage: fenwickel COMMAND [options]\n\nCommands:\n";
    for (const Command& command : kCommands) {
        text += "  " + std::string(command.name);
        text.append(12 - std::string(command.name).size(), ' ');
        text += std::string(command.summary) + "\n";
    }
    text +=
        "\nOptions:\n  -h,--help     print this help; COMMAND --help tells about a command\n"
        "  --version     print the version\n\n";
    return text + ExitCode::Help + "\n";
}

bool WantsJson(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

void Complain(const std::string& who, const std::string& what) {
    std::fprintf(stderr, "%s: %s\n", who.c_str(), what.c_str());
}

int RunReported(const Command& command, const std::vector<std::string>& arguments) {
    const std::string name = std::string("fenwickel ") + command.name;
    const auto report = [&](int exitCode, int result, const std::string& message) {
        Complain(name, message);
        if (command.emptyResult != nullptr && WantsJson(arguments)) {
            PrintJsonResult(result, message, command.emptyResult());
        }
        return exitCode;
    };
    try {
        CLI::App app(command.summary, name);
        return command.run(app, arguments);
    } catch (const Failure& failure) {
        return report(failure.Exit(), failure.Result(), failure.what());
    } catch (const std::bad_alloc&) {
        return report(ExitCode::Failed, ExitCode::Failed,
                      "not enough memory: end other programs or name fewer folders");
    }
}

int Dispatch(std::vector<std::string> arguments) {
    const std::string first = arguments.empty() ? "" : arguments.front();
    if (first == "--help" || first == "-h") {
        PrintText(HelpText());
        return ExitCode::Done;
    }
    if (first == "--version") {
        PrintText("fenwickel " FENWICKEL_VERSION "\n");
        return ExitCode::Done;
    }
    for (const Command& command : kCommands) {
        if (first == command.name) {
            arguments.erase(arguments.begin());
            return RunReported(command, arguments);
        }
    }
    throw Failure(ExitCode::Usage, first.empty()
                                       ? std::string("no command given: ") + kRemedy
                                       : "unknown command \"" + Escaped(first) + "\": " + kRemedy);
}

}  // namespace

bool ParseArguments(CLI::App& app, std::vector<std::string> arguments) {
    app.footer(ExitCode::Help);
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
        PrintText(app.help());
        return false;
    } catch (const CLI::ParseError& error) {
        throw Failure(ExitCode::Usage,
                      Escaped(error.what()) + ": see " + app.get_name() + " --help");
    }
}

void PrintJsonResult(int result, const std::string& message, const nlohmann::ordered_json& fields) {
    nlohmann::ordered_json object = {{"result", result}, {"message", message}};
    object.update(fields);
    PrintText(object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

int main(int argc, char** argv) {
    try {
        HostPrepareOutput();
        return Dispatch(HostArguments(argc, argv));
    } catch (const Failure& failure) {
        Complain("fenwickel", failure.what());
        return failure.Exit();
    } catch (const std::exception& error) {
        Complain("fenwickel", std::string("ended by an unexpected error: ") + error.what());
        return ExitCode::Failed;
    }
}
