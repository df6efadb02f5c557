#include "RcloneUploader.h"

#include <algorithm>
#include <charconv>

#include "Places.h"
#include "report/ExitCodes.h"
#include "system/Paths.h"
#include "system/Rights.h"

namespace {

constexpr const char* kProgram = "rclone";

constexpr int kNoFolder = 3;

// Those whose meaning is the same in all versions.
constexpr ExitWords kExitWords[] = {
    {kNoFolder, "there is no such folder"},
    {5, "it failed for now and may do better later"},
    {7, "it failed for good"},
    {8, "more was to be sent than its limit allows"},
    {10, "it took longer than its limit allows"},
};

std::string RcloneDestination(const std::string& destination) {
    if (destination.empty() || destination.front() == '-') {
        throw Failure(ExitCode::Usage, "--to \"rclone:" + Escaped(ValidUtf8(destination)) +
                                           "\" names no destination: write rclone:REMOTE:PATH, or "
                                           "rclone:./PATH for a folder of this machine");
    }
    const WString local = LocalArgument(destination);
    return local.empty() ? destination : HostNativePath(local);
}

// A storage that is no folder of this machine has modes and owners of its own. rclone keeps those
// of files by --metadata, but never a set-user or set-group bit; an account that may not give files
// away has to say whose they become, since rclone fails where it cannot keep the owner.
std::vector<std::string> RightsWords(const std::string& destination,
                                     std::optional<bool> keepOwners) {
    const WString local = LocalArgument(destination);
    const bool isLocal = !local.empty();
    if (keepOwners == true && !isLocal) {
        throw Failure(ExitCode::Usage, "--to \"rclone:" + Escaped(ValidUtf8(destination)) +
                                           "\" is no folder of this machine, so it cannot go with "
                                           "--owner");
    }
    std::vector<std::string> words;
    if (isLocal && !HasDriveLetters()) {
        words.emplace_back("--metadata");
        for (const std::string& owner :
             keepOwners.value_or(HostIsRoot()) ? std::vector<std::string>() : HostOwnerIds(local)) {
            words.insert(words.end(), {"--metadata-set", owner});
        }
    }
    return words;
}

// The statistics of a call within what it logged: from an empty message on, which is what its first
// line looks like to those who read lines.
struct Statistics {
    std::size_t start = 0;
    std::size_t end = 0;
};

Statistics FindStatistics(const std::string& log) {
    const std::size_t first = log.rfind("\nTransferred:   \t");
    const std::size_t last = log.find("\nElapsed time:", first);
    if (first == std::string::npos || last == std::string::npos) {
        return {log.size(), log.size()};
    }
    const std::size_t line = first == 0 ? first : log.rfind('\n', first - 1);
    std::size_t end = log.find('\n', last + 1);
    while (end < log.size() && log[end] == '\n') {
        ++end;
    }
    return {line == std::string::npos ? 0 : line + 1, std::min(end, log.size())};
}

// Transfers that are done: the first number of "Transferred: 15 / 15, 100%", a line that is not
// there before the first transfer. The line with that word for bytes has units behind its numbers.
std::uint64_t CountSent(const std::string& log) {
    const Statistics statistics = FindStatistics(log);
    constexpr std::string_view kLabel = "\nTransferred:";
    std::uint64_t count = 0;
    for (std::size_t at = log.find(kLabel, statistics.start); at < statistics.end;
         at = log.find(kLabel, at + 1)) {
        const char* const end = log.data() + statistics.end;
        const char* digits = log.data() + at + kLabel.size();
        digits = std::find_if(digits, end, [](char c) { return c != ' ' && c != '\t'; });
        std::uint64_t number = 0;
        const auto parsed = std::from_chars(digits, end, number);
        if (parsed.ec == std::errc() && end - parsed.ptr > 3 && parsed.ptr[0] == ' ' &&
            parsed.ptr[1] == '/' && parsed.ptr[2] == ' ') {
            count = number;
        }
    }
    return count;
}

std::string WithoutStatistics(std::string log) {
    const Statistics statistics = FindStatistics(log);
    return log.erase(statistics.start, statistics.end - statistics.start);
}

bool Contains(std::string_view path, char32_t character) {
    const char utf8[] = {static_cast<char>(0xE0 | (character >> 12)),
                         static_cast<char>(0x80 | ((character >> 6) & 0x3F)),
                         static_cast<char>(0x80 | (character & 0x3F))};
    return path.find({utf8, sizeof utf8}) != std::string_view::npos;
}

// rclone shows characters that a system cannot have in names as others, and takes those others, in
// a list, for what they stand for: the sign that it quotes them with, the signs for control
// characters, and, where '"' and its like cannot be, their wide forms.
bool IsReadAsAnother(std::string_view path) {
    constexpr char32_t kQuote = 0x201B;
    constexpr char32_t kFirstControl = 0x2401;
    constexpr char32_t kLastControl = 0x241F;
    constexpr char32_t kDelete = 0x2421;
    bool found = Contains(path, kQuote) || Contains(path, kDelete);
    for (char32_t sign = kFirstControl; sign <= kLastControl && !found; ++sign) {
        found = Contains(path, sign);
    }
    if (HasDriveLetters()) {
        for (const char32_t wide :
             {0xFF02, 0xFF0A, 0xFF1A, 0xFF1C, 0xFF1E, 0xFF1F, 0xFF3C, 0xFF5C}) {
            found = found || Contains(path, wide);
        }
    }
    return found;
}

// True when one of the folders is above it.
bool HasOneAbove(const std::string& folder, const std::vector<std::string>& folders) {
    return std::any_of(folders.begin(), folders.end(),
                       [&](const std::string& other) { return folder.starts_with(other + '/'); });
}

}  // namespace

RcloneUploader::RcloneUploader(const std::string& destination, const WString& scratch,
                               std::optional<bool> keepOwners)
    : m_destination(RcloneDestination(destination)),
      m_rights(RightsWords(destination, keepOwners)),
      m_program(scratch) {}

ListStyle RcloneUploader::Style() const {
    return {"", '\n'};
}

const char* RcloneUploader::Obstacle(std::string_view path, HostEntry kind) const {
    if (kind == HostEntry::Link) {
        return "a link";
    }
    if (kind == HostEntry::Other) {
        return "a socket, a pipe or a device";
    }
    if (path.find('\n') != std::string_view::npos || path.ends_with('\r')) {
        return "a line end in its name, where lists have one name a line";
    }
    return IsReadAsAnother(path) ? "a name that rclone takes for another one" : nullptr;
}

Failure RcloneUploader::Failed(const std::string& action, int exitCode) const {
    return UploadFailure(action, m_destination, EndText(kProgram, exitCode, kExitWords),
                         kSeeItsMessages);
}

// One attempt: a second one would count what it sends again. rclone repeats single steps in itself.
// A dry run, which the environment can ask for, counts and reports as if everything were done.
// privateFiles: rclone does not give folders the modes of the originals, so those of a copy on this
// machine are for this account alone, and so is a file until it has its mode.
ProgramEnd RcloneUploader::Run(const std::vector<std::string>& words,
                               const std::vector<std::string>& last, std::string* log) const {
    const ScratchFile file(m_program.Scratch(WIDE("log")));
    std::vector<std::string> command = {
        kProgram,      "--retries", "1",          "--dry-run=false",
        "--log-level", "NOTICE",    "--log-file", HostNativePath(file.Path())};
    command.insert(command.end(), words.begin(), words.end());
    command.emplace_back("--");
    command.insert(command.end(), last.begin(), last.end());
    ProgramEnd end = m_program.Run(
        command, {.capture = Capture::Output, .shared = Shared(), .privateFiles = true});
    *log = file.Read();
    return end;
}

bool RcloneUploader::IsDestinationEmpty() {
    std::string log;
    const ProgramEnd end = Run({"lsf", "--max-depth", "1"}, {m_destination}, &log);
    if (end.exitCode == kNoFolder) {
        return true;
    }
    Relay(log);
    if (end.exitCode != 0) {
        throw Failed("look into", end.exitCode);
    }
    return end.output.empty();
}

// One call of "delete". A destination that is not there has nothing left to remove.
bool RcloneUploader::HasRemoved(const std::vector<std::string>& words, const std::string& target,
                                std::string* log, int* exitCode) const {
    *exitCode = Run(words, {target}, log).exitCode;
    return *exitCode == 0 || *exitCode == kNoFolder;
}

// Looking up each listed name is much less than reading the whole destination, but where one of
// them is a folder there, rclone gives up; then it has to be read.
void RcloneUploader::Remove(const HandOver& work) {
    if (work.removalCount == 0) {
        return;
    }
    const std::string target = Below(m_destination, HostNativePath(work.place));
    std::vector<std::string> words = {"delete", "--files-from-raw", HostNativePath(work.removals)};
    std::string log;
    int exitCode = 0;
    words.emplace_back("--no-traverse");
    bool removed = HasRemoved(words, target, &log, &exitCode);
    if (!removed) {
        words.pop_back();
        removed = HasRemoved(words, target, &log, &exitCode);
    }
    if (!removed) {
        Relay(log);
        throw Failed(kRemoving, exitCode);
    }
}

// What is left of a folder in whose place a file comes: empty folders. Failures tell nothing here:
// a folder may be gone, and one that stands in the way makes the sending fail.
void RcloneUploader::RemoveReplaced(const HandOver& work, const std::string& target) const {
    for (const std::string& folder : work.replacedFolders) {
        if (!HasOneAbove(folder, work.replacedFolders)) {
            std::string log;
            Run({"rmdirs"}, {Below(target, folder)}, &log);
        }
    }
}

// No listing has the folders that earlier runs emptied. The copy needs none of them.
// Returns whether there was one.
bool RcloneUploader::RemoveEmptyFolders(const std::string& target) const {
    std::string log;
    Run({"rmdirs", "--leave-root", "--log-level", "INFO"}, {target}, &log);
    return log.find("Removing directory") != std::string::npos;
}

// --ignore-times: what is listed has changed, whatever it looks like. --no-unicode-normalization:
// names that differ in that alone are two files.
void RcloneUploader::Send(const HandOver& work) {
    if (work.sendCount == 0) {
        return;
    }
    const std::string target = Below(m_destination, HostNativePath(work.place));
    std::vector<std::string> words = {"copy",
                                      "--files-from-raw",
                                      HostNativePath(work.sends),
                                      "--no-traverse",
                                      "--ignore-times",
                                      "--no-unicode-normalization",
                                      "--stats",
                                      "1000h",
                                      "--stats-log-level",
                                      "NOTICE"};
    words.insert(words.end(), m_rights.begin(), m_rights.end());
    const std::vector<std::string> places = {HostNativePath(work.folder), target};
    RemoveReplaced(work, target);
    std::string log;
    ProgramEnd end = Run(words, places, &log);
    if (end.exitCode != 0 && RemoveEmptyFolders(target)) {
        end = Run(words, places, &log);
    }
    Relay(WithoutStatistics(log));
    if (end.exitCode != 0) {
        throw Failed(kSending, end.exitCode);
    }
    const std::uint64_t sent = CountSent(log);
    if (sent != work.sendCount) {
        throw UploadFailure(kSending, m_destination,
                            "rclone sent " + std::to_string(sent) + " of " +
                                std::to_string(work.sendCount) + " files",
                            "run sync again");
    }
}
