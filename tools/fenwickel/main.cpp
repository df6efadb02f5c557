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

JsonFields NoFields() {
    return {};
}

constexpr std::array kCommands = {
    Command{"detect", "find new, changed and deleted files", RunDetect, EmptyDetectResult},
    Command{"dump", "list the records of a record file", RunDump, nullptr},
    Command{"commit", "make the listing of the last detect the base of the next", RunCommit,
            NoFields},
    Command{"discard", "delete the listings of the last detect", RunDiscard, NoFields},
};

constexpr const char* kRemedy = "see fenwickel --help";

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

int Dispatch(std::vector<std::string> arguments) {
    const std::string first = arguments.empty() ? "" : arguments.front();
    if (first == "--help" || first == "-h") {
        PrintWhole(HelpText());
        return ExitCode::Done;
    }
    if (first == "--version") {
        PrintWhole("fenwickel " FENWICKEL_VERSION "\n");
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
