#include "UploaderProgram.h"

#include <cstdio>

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Stop.h"
#include "report/WholeFile.h"
#include "system/Child.h"
#include "system/Paths.h"
#include "system/StopSignals.h"

namespace {

constexpr std::uint32_t kPollMs = 100;
constexpr std::uint32_t kGraceMs = 5000;

// Ctrl-C in a terminal has reached the program as well; a termination request has not.
void EndChild(HostChild* child) {
    child->AskToEnd();
    if (!child->Wait(kGraceMs)) {
        child->Kill();
        child->Wait(kHostForever);
    }
}

int WaitForEnd(HostChild* child) {
    for (;;) {
        const std::optional<int> exitCode = child->Wait(kPollMs);
        if (!exitCode && HostStopExitCode() != 0) {
            EndChild(child);
        }
        // First: a program that the same Ctrl-C has ended did not fail by itself.
        ThrowIfStopped();
        if (exitCode) {
            return *exitCode;
        }
    }
}

Failure StartFailure(const std::string& program, DWORD code) {
    const std::string name = '"' + Escaped(ValidUtf8(program)) + '"';
    return {ExitCode::Upload, static_cast<int>(code),
            "cannot run " + name + ": " + Reason(static_cast<int>(code)) +
                (code == ERROR_FILE_NOT_FOUND
                     ? ": install it, or put its folder on the search path (PATH)"
                     : ": see that it may be run, and that the state folder can be written")};
}

}  // namespace

ScratchFile::ScratchFile(WString path) : m_path(std::move(path)) {
    DeleteFileW(m_path.c_str());
}

ScratchFile::~ScratchFile() {
    DeleteFileW(m_path.c_str());
}

std::string ScratchFile::Read() const {
    return ReadWholeFile(m_path).value_or("");
}

ProgramEnd UploaderProgram::Run(const std::vector<std::string>& command,
                                const ProgramOptions& program) const {
    const ScratchFile output(m_scratch + WIDE(".1"));
    const ScratchFile errors(m_scratch + WIDE(".2"));
    HostChildOptions options;
    options.output = program.capture == Capture::Nothing ? WString() : output.Path();
    options.errors = program.capture == Capture::All ? errors.Path() : WString();
    options.outputToErrors = program.capture == Capture::Nothing;
    options.privateFiles = program.privateFiles;
    options.inherited = program.shared;
    ThrowIfStopped();
    HostChild child = HostChild::Start(command, options);
    if (!child) {
        throw StartFailure(command.front(), GetLastError());
    }
    const int exitCode = WaitForEnd(&child);
    return {exitCode, output.Read(), errors.Read()};
}

void Relay(std::string_view lines) {
    std::fwrite(lines.data(), 1, lines.size(), stderr);
    if (!lines.empty() && lines.back() != '\n') {
        std::fputc('\n', stderr);
    }
}

std::string EndText(const std::string& program, int exitCode, std::span<const ExitWords> known) {
    constexpr int kFirstSignal = 129;
    constexpr int kLastSignal = 192;
    if (exitCode >= kFirstSignal && exitCode <= kLastSignal) {
        return program + " was ended by signal " + std::to_string(exitCode - kFirstSignal + 1);
    }
    std::string text = program + " ended with " + std::to_string(exitCode);
    for (const ExitWords& row : known) {
        if (row.code == exitCode) {
            text += " (";
            text += row.words;
            text += ')';
        }
    }
    return text;
}

Failure UploadFailure(const std::string& action, const std::string& destination,
                      const std::string& why, const std::string& remedy) {
    return {ExitCode::Upload, "cannot " + action + " \"" + Escaped(ValidUtf8(destination)) +
                                  "\": " + why + ": " + remedy};
}
