#include "RsyncUploader.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "Places.h"
#include "report/ExitCodes.h"
#include "report/FileWriter.h"
#include "report/WholeFile.h"
#include "system/Paths.h"
#include "system/Rights.h"

namespace {

constexpr const char* kProgram = "rsync";

constexpr int kPartial = 23;
constexpr int kVanished = 24;

constexpr ExitWords kExitWords[] = {
    {1, "it does not know an option: version 3.2.3 or newer is needed at both ends"},
    {2, "the two ends do not understand each other"},
    {3, "it cannot reach a folder"},
    {5, "the server refused"},
    {10, "the connection failed"},
    {11, "reading or writing failed"},
    {12, "the connection broke"},
    {20, "it was interrupted"},
    {22, "it had too little memory"},
    {kPartial, "some files were not carried"},
    {kVanished, "files vanished while they were sent"},
    {30, "the other end did not answer in time"},
    {35, "the server did not answer in time"},
    {127, "the remote shell or the program at the other end was not found"},
    {255, "the remote shell failed"},
};

Failure Refused(const std::string& destination, const char* why) {
    return {ExitCode::Usage, "--to \"rsync:" + Escaped(ValidUtf8(destination)) + "\" " + why};
}

// A path of this machine as rsync takes it: programs of that kind find drives below /cygdrive,
// since a letter before ':' is a host to them.
std::string LocalPath(const WString& path) {
    std::string native = HostNativePath(path);
    return native.size() > 1 && native[1] == ':'
               ? "/cygdrive/" + native.substr(0, 1) + native.substr(2)
               : native;
}

// A remote destination. A host that begins with '-' would be an option to the remote shell.
void RequireSound(const std::string& destination) {
    constexpr std::string_view kScheme = "rsync://";
    const bool isUrl = destination.starts_with(kScheme);
    const std::string_view rest = std::string_view(destination).substr(isUrl ? kScheme.size() : 0);
    const std::size_t hostEnd = std::min(rest.find(isUrl ? '/' : ':'), rest.size());
    std::string_view host = rest.substr(0, hostEnd);
    host.remove_prefix(host.rfind('@') + 1);
    if (host.empty() || host.front() == '-') {
        throw Refused(destination,
                      "names no host: write rsync:HOST:PATH, or rsync:./PATH for a "
                      "folder of this machine");
    }
    const bool isServer = isUrl || rest.substr(hostEnd).starts_with("::");
    if (isServer && rest.find_first_not_of("/:", hostEnd) == std::string_view::npos) {
        throw Refused(destination, "names no module of the server: write one behind the host");
    }
}

std::string RsyncDestination(const std::string& destination) {
    if (destination.empty()) {
        throw Refused(destination, "names no folder: write rsync:PATH or rsync:HOST:PATH");
    }
    const WString local = LocalArgument(destination);
    if (local.empty()) {
        RequireSound(destination);
        return destination;
    }
    return LocalPath(local);
}

// The number behind the last occurrence of the label.
std::optional<std::uint64_t> NumberBehind(std::string_view text, std::string_view label) {
    const std::size_t start = text.rfind(label);
    std::uint64_t number = 0;
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    const char* const digits = text.data() + start + label.size();
    const auto parsed = std::from_chars(digits, text.data() + text.size(), number);
    return parsed.ec == std::errc() ? std::optional(number) : std::nullopt;
}

// Files and links that arrived. rsync counts the files that it has sent, and all links that it was
// to send: one that could not be made is told by the exit code.
std::optional<std::uint64_t> CountArrived(std::string_view statistics) {
    const std::size_t list = statistics.rfind("\nNumber of files: ");
    const auto files = NumberBehind(statistics, "\nNumber of regular files transferred: ");
    if (!files || list == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view line = statistics.substr(list, statistics.find('\n', list + 1) - list);
    return *files + NumberBehind(line, "link: ").value_or(0);
}

std::filesystem::path StandardPath(const WString& path) {
    const std::string native = HostNativePath(path);
    return std::u8string(native.begin(), native.end());
}

// A folder with nothing in it, as the source of removals: what is not there cannot be sent. rsync
// gives its rights to the destination: they are those of the folder that it stands for.
class EmptyFolder {
public:
    EmptyFolder(const WString& path, const WString& standsFor)
        : m_path(path), m_folder(StandardPath(path)) {
        using std::filesystem::perms;
        std::error_code failed;
        std::filesystem::create_directory(m_folder, failed);
        const bool isEmpty = !failed && std::filesystem::is_empty(m_folder, failed);
        if (!failed) {
            const auto status = std::filesystem::status(StandardPath(standsFor), failed);
            std::filesystem::permissions(
                m_folder, failed ? perms::owner_all : status.permissions() | perms::owner_all,
                failed);
        }
        if (failed || !isEmpty) {
            throw Failure(ExitCode::Upload, "cannot make the empty folder " + Quoted(path) + ": " +
                                                (failed ? failed.message() + " (" +
                                                              std::to_string(failed.value()) + ')'
                                                        : std::string("something is in it")) +
                                                ": remove what is in its place");
        }
    }
    EmptyFolder(const EmptyFolder&) = delete;
    EmptyFolder& operator=(const EmptyFolder&) = delete;
    ~EmptyFolder() {
        std::error_code ignored;
        std::filesystem::remove(m_folder, ignored);
    }

    std::string Source() const { return LocalPath(m_path) + '/'; }

private:
    WString m_path;
    std::filesystem::path m_folder;
};

// The removals, and in front of them the folders in whose place a file comes. An interrupted run
// may have put that file there, and when it is a link, what is to go below the folder would go
// where the link leads to. rsync removes the entries of a folder before it looks into those below.
void WriteRemovals(const HandOver& work, const WString& path) {
    const std::optional<std::string> removals = ReadWholeFile(work.removals);
    if (!removals) {
        throw Failure(ExitCode::Failed, "cannot read " + Quoted(work.removals) +
                                            ": another program has deleted it: run sync again");
    }
    FileWriter list(path);
    for (const std::string& folder : work.replacedFolders) {
        list.Append("./" + folder + '\0');
    }
    list.Append(*removals);
    list.Finish();
}

// What rsync prints for the folders above files to be removed, which the empty folder lacks.
bool IsExpected(std::string_view line) {
    return line.starts_with("file has vanished: ") || line.starts_with("WARNING: parent dir is ") ||
           line.starts_with("rsync warning: some files vanished ");
}

std::string WithoutExpected(const std::string& text) {
    std::string rest;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        const std::string_view line = std::string_view(text).substr(start, end - start);
        if (!IsExpected(line)) {
            rest += line;
        }
        start = end;
    }
    return rest;
}

}  // namespace

RsyncUploader::RsyncUploader(const std::string& destination, const WString& scratch,
                             std::optional<bool> keepOwners)
    : m_destination(RsyncDestination(destination)),
      m_isLocal(!LocalArgument(destination).empty()),
      m_keepsOwners(keepOwners.value_or(m_isLocal && HostIsRoot())),
      m_program(scratch) {}

// Without "./" rsync takes a name with '#' or ';' at its beginning for a comment.
ListStyle RsyncUploader::Style() const {
    return {"./", '\0'};
}

const char* RsyncUploader::Obstacle(std::string_view, HostEntry kind) const {
    return kind == HostEntry::Other ? "a socket, a pipe or a device" : nullptr;
}

Failure RsyncUploader::Failed(const std::string& action, int exitCode) const {
    return UploadFailure(action, m_destination, EndText(kProgram, exitCode, kExitWords),
                         kSeeItsMessages);
}

// --chmod=D: in a folder that its owner may not write, the next run could not remove anything. A
// program that lends its owner's rights would lend those of the account that writes the copy.
// --super: the other end fails when it may not give files away, instead of keeping them with these
// bits.
void RsyncUploader::AddRights(std::vector<std::string>* command) const {
    command->emplace_back("--perms");
    command->emplace_back(m_keepsOwners ? "--chmod=Du+rwx" : "--chmod=Du+rwx,u-s,g-s");
    if (m_keepsOwners) {
        command->insert(command->end(), {"--owner", "--group", "--numeric-ids"});
    }
    if (m_keepsOwners && !(m_isLocal && HostIsRoot())) {
        command->emplace_back("--super");
    }
}

bool RsyncUploader::IsDestinationEmpty() {
    const std::string folder = Below(m_destination, m_destination.ends_with(':') ? "./" : "");
    const ProgramEnd end = m_program.Run({kProgram, "-s", "--list-only", "--no-motd", "--",
                                          folder.ends_with('/') ? folder : folder + '/'},
                                         {.capture = Capture::All, .shared = Shared()});
    // By the number, since the words are those of the other end's system.
    constexpr std::string_view kNoSuchFolder = "(2)\n";
    if (end.exitCode == kPartial && end.errors.find(kNoSuchFolder) != std::string::npos) {
        return true;
    }
    Relay(end.errors);
    if (end.exitCode != 0) {
        throw Failed("look into", end.exitCode);
    }
    // The first line is the folder itself.
    return std::count(end.output.begin(), end.output.end(), '\n') <= 1;
}

// --force: the destination may have a folder where a file was listed.
void RsyncUploader::Remove(const HandOver& work) {
    if (work.removalCount == 0) {
        return;
    }
    const ScratchFile joined(m_program.Scratch(WIDE("list")));
    const bool isPlain = work.replacedFolders.empty();
    if (!isPlain) {
        WriteRemovals(work, joined.Path());
    }
    const WString& list = isPlain ? work.removals : joined.Path();
    const EmptyFolder nothing(m_program.Scratch(WIDE("empty")), work.folder);
    // The copy's folder gets the mode of the empty one.
    const char* const rights = m_keepsOwners ? "--chmod=Du+rwx" : "--chmod=u-s,g-s";
    const ProgramEnd end =
        m_program.Run({kProgram, "-s", "--perms", rights, "--mkpath", "--delete-missing-args",
                       "--force", "--from0", "--files-from=" + LocalPath(list), "--",
                       nothing.Source(), Below(m_destination, HostNativePath(work.place))},
                      {.capture = Capture::All, .shared = Shared()});
    Relay(end.output);
    Relay(WithoutExpected(end.errors));
    if (end.errors.find("invalid file mode 00 ") != std::string::npos) {
        throw UploadFailure(kRemoving, m_destination,
                            "this version of rsync has lost the ability to remove by a list",
                            "install another one, at both ends");
    }
    if (end.exitCode != 0 && end.exitCode != kVanished) {
        throw Failed(kRemoving, end.exitCode);
    }
}

// --ignore-times: rsync compares whole seconds; what is listed has changed.
// --force: earlier runs leave folders empty at the destination, one in the other, where a file may
// come later.
void RsyncUploader::Send(const HandOver& work) {
    if (work.sendCount == 0) {
        return;
    }
    std::vector<std::string> command = {kProgram, "-s", "--links"};
    AddRights(&command);
    command.insert(command.end(),
                   {"--times", "--ignore-times", "--mkpath", "--stats", "--no-human-readable",
                    "--from0", "--force", "--files-from=" + LocalPath(work.sends), "--",
                    LocalPath(work.folder), Below(m_destination, HostNativePath(work.place))});
    const ProgramEnd end = m_program.Run(command, {.capture = Capture::Output, .shared = Shared()});
    const std::optional<std::uint64_t> sent = CountArrived(end.output);
    if (end.exitCode != 0) {
        Relay(std::string_view(end.output).substr(0, end.output.find("\nNumber of files: ")));
        throw Failed(kSending, end.exitCode);
    }
    if (!sent || *sent != work.sendCount) {
        throw UploadFailure(kSending, m_destination,
                            sent ? "rsync sent " + std::to_string(*sent) + " of " +
                                       std::to_string(work.sendCount) + " files"
                                 : std::string("rsync told no count of what it sent"),
                            "run sync again");
    }
}
