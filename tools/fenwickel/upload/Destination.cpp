#include "Destination.h"

#include "CommandUploader.h"
#include "Places.h"
#include "RcloneUploader.h"
#include "RsyncUploader.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

namespace {

constexpr std::string_view kRsync = "rsync:";
constexpr std::string_view kRclone = "rclone:";
constexpr std::string_view kCommand = "cmd:";

// What follows the prefix; nullptr when the destination has another one.
const char* After(const std::string& destination, std::string_view prefix) {
    return destination.starts_with(prefix) ? destination.c_str() + prefix.size() : nullptr;
}

}  // namespace

std::unique_ptr<Uploader> MakeUploader(const std::string& destination, const WString& scratch,
                                       std::optional<bool> keepOwners) {
    if (const char* const argument = After(destination, kRsync)) {
        return std::make_unique<RsyncUploader>(argument, scratch, keepOwners);
    }
    if (const char* const argument = After(destination, kRclone)) {
        return std::make_unique<RcloneUploader>(argument, scratch, keepOwners);
    }
    if (const char* const argument = After(destination, kCommand)) {
        if (keepOwners) {
            throw Failure(ExitCode::Usage,
                          "--to \"cmd:...\" leaves owners to the command, so it "
                          "cannot go with --owner or --no-owner");
        }
        return std::make_unique<CommandUploader>(argument, scratch);
    }
    throw Failure(ExitCode::Usage, "--to \"" + Escaped(ValidUtf8(destination)) +
                                       "\" names no way to get there: begin it with rsync:, "
                                       "rclone: or cmd:");
}

WString LocalDestination(const std::string& destination) {
    for (const std::string_view prefix : {kRsync, kRclone}) {
        if (const char* const argument = After(destination, prefix)) {
            return LocalArgument(argument);
        }
    }
    return {};
}
