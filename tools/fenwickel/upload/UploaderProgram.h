// Runs the programs that uploaders consist of, and tells how they ended.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fenwickel/Types.h"
#include "report/Failure.h"

// Where what a program prints goes. Its standard output never goes to ours, which is for the
// summary alone.
enum class Capture {
    Nothing,  // all of it goes to standard error at once
    Output,   // standard output is kept for us, standard error goes to ours at once
    All,      // both are kept
};

struct ProgramEnd {
    int exitCode = 0;  // 128 + N after signal N
    std::string output;
    std::string errors;
};

// A file for what a program writes: not there at first, and gone with the object.
class ScratchFile {
public:
    explicit ScratchFile(WString path);
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile();

    const WString& Path() const { return m_path; }

    // All of it, "" while it is not there. Throws Failure.
    std::string Read() const;

private:
    WString m_path;
};

// What a program that runs gets beside its words.
struct ProgramOptions {
    Capture capture = Capture::Nothing;
    HANDLE shared = nullptr;    // an open file that it holds until it ends
    bool privateFiles = false;  // what it makes is for this account alone, unless it says otherwise
};

// One thread.
class UploaderProgram {
public:
    // scratch begins the paths of files for what a program prints. None is left behind.
    explicit UploaderProgram(WString scratch) : m_scratch(std::move(scratch)) {}

    // Runs the command to its end. Throws Failure: Upload when it cannot be started, and on a stop
    // request, once the program has ended.
    ProgramEnd Run(const std::vector<std::string>& command, const ProgramOptions& options) const;

    // A path for a use of the caller's own; suffix begins with a letter.
    WString Scratch(const WCHAR* suffix) const { return m_scratch + WIDE(".") + suffix; }

private:
    WString m_scratch;
};

// Writes lines that a program printed to standard error, as they are.
void Relay(std::string_view lines);

// What an exit code of a program means.
struct ExitWords {
    int code;
    std::string_view words;
};

// "rsync ended with 23 (some files were not carried)", with the words for the code where there are.
std::string EndText(const std::string& program, int exitCode, std::span<const ExitWords> known);

// `cannot ACTION "DESTINATION": WHY: REMEDY`, with the exit code of uploaders that fail.
Failure UploadFailure(const std::string& action, const std::string& destination,
                      const std::string& why, const std::string& remedy);

// The two actions that fail.
inline constexpr const char* kSending = "send files to";
inline constexpr const char* kRemoving = "remove files from";

// The remedy where the program itself has told what is wrong.
inline constexpr const char* kSeeItsMessages =
    "remove the cause that it reports above, then run sync again";
