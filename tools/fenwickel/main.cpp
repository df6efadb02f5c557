// The command-line host: finds the command, runs it, and reports how it ended.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "commands/Commands.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/Terminal.h"

namespace {

// "log" of "log show"; nothing for a command of one word.
std::string_view GroupOf(const Command& command) {
    const std::string_view name = command.name;
    const std::size_t blank = name.find(' ');
    return blank == std::string_view::npos ? std::string_view() : name.substr(0, blank);
}

bool IsGroup(const std::string& word) {
    return !word.empty() && std::any_of(AllCommands().begin(), AllCommands().end(),
                                        [&](const Command& it) { return GroupOf(it) == word; });
}

// Of the program, or of a group of commands.
std::string HelpText(const std::string& group) {
    std::string text = "Usage: fenwickel " + group + (group.empty() ? "" : " ") +
                       "COMMAND [options]\n\nCommands:\n";
    for (const Command& command : AllCommands()) {
        if (group.empty() || GroupOf(command) == group) {
            std::string name =
                std::string(command.name).substr(group.empty() ? 0 : group.size() + 1);
            name.resize(12, ' ');
            text += "  " + name + command.summary + "\n";
        }
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
    std::fprintf(stderr, "%s: %s\n", who.c_str(), ValidUtf8(what).c_str());
}

int RunReported(const Command& command, const std::vector<std::string>& arguments) {
    const std::string name = std::string("fenwickel ") + command.name;
    const auto report = [&](int exitCode, int result, const std::string& message) {
        Complain(name, message);
        if (command.emptyResult != nullptr && WantsJson(arguments)) {
            try {
                PrintJsonResult(result, message, command.emptyResult());
            } catch (const Failure&) {
                return exitCode;  // what matters stands on standard error
            }
        }
        return exitCode;
    };
    try {
        return command.run(command, arguments);
    } catch (const Failure& failure) {
        return report(failure.Exit(), failure.Result(), failure.what());
    } catch (const std::bad_alloc&) {
        return report(ExitCode::Failed, ExitCode::Failed,
                      "not enough memory: end other programs or name fewer folders");
    }
}

// What stands in front of a command: --help, --version, or nothing that can be run. group is "" or
// the group whose commands are meant.
int RunWithoutCommand(const std::string& group, const std::string& word) {
    if (word == "--help" || word == "-h") {
        PrintWhole(HelpText(group));
        return ExitCode::Done;
    }
    if (word == "--version") {
        PrintWhole("fenwickel " FENWICKEL_VERSION "\n");
        return ExitCode::Done;
    }
    const std::string program = group.empty() ? "fenwickel" : "fenwickel " + group;
    throw Failure(ExitCode::Usage, (word.empty() ? std::string("no command given")
                                                 : "unknown command \"" + Escaped(word) + "\"") +
                                       ": see " + program + " --help");
}

int Dispatch(std::vector<std::string> arguments) {
    const auto takeWord = [&arguments] {
        std::string word = arguments.empty() ? "" : arguments.front();
        arguments.erase(arguments.begin(), arguments.begin() + (arguments.empty() ? 0 : 1));
        return word;
    };
    const std::string first = takeWord();
    const std::string group = IsGroup(first) ? first : "";
    const std::string word = group.empty() ? first : takeWord();
    std::string name = group;
    name += group.empty() ? "" : " ";
    name += word;
    for (const Command& command : AllCommands()) {
        if (command.name == name) {
            return RunReported(command, arguments);
        }
    }
    return RunWithoutCommand(group, word);
}

}  // namespace

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
