#include "Brakes.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "listing/StateFiles.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"

namespace {

Failure Stopped(const std::string& why) {
    return {ExitCode::Stopped, "stopped before anything was sent: " + why};
}

std::uint64_t At(const std::vector<std::uint64_t>& counts, std::size_t index) {
    return index < counts.size() ? counts[index] : 0;
}

std::string Files(std::uint64_t count) {
    return std::to_string(count) + (count == 1 ? " file" : " files");
}

void CheckIsThere(const WString& folder, std::uint64_t known) {
    if (HostIsFolder(folder)) {
        return;
    }
    if (known == 0) {
        throw NotAFolder("read the folder", folder, "create or mount it");
    }
    throw Stopped("the folder " + Quoted(folder) + " is not there, but had " + Files(known) +
                  ": mount it; if they are to be deleted from the copy, make it an empty folder "
                  "and use --allow-empty");
}

// Without both names there is nothing to compare.
void CheckVolume(const StateSettings& settings, const StateSettings& now, std::size_t index) {
    const WString before = index < settings.volumes.size() ? settings.volumes[index] : WString();
    const WString& current = now.volumes[index];
    if (!before.empty() && !current.empty() && before != current) {
        throw Stopped("the folder " + Quoted(now.folders[index]) + " lies on the volume " +
                      Quoted(current) + ", but on " + Quoted(before) +
                      " before: mount that one, or use --accept-mounts if it has moved");
    }
}

std::vector<WString> OnlyInFirst(const std::vector<WString>& first,
                                 const std::vector<WString>& second) {
    std::vector<WString> difference;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(),
                        std::back_inserter(difference));
    return difference;
}

std::string Named(const char* what, const std::vector<WString>& paths) {
    std::string text;
    for (const WString& path : paths) {
        text += (text.empty() ? what : ", ") + Quoted(path);
    }
    return text;
}

void CheckNested(const std::vector<WString>& before, const std::vector<WString>& now) {
    const std::string come = Named("new: ", OnlyInFirst(now, before));
    const std::string gone = Named("gone: ", OnlyInFirst(before, now));
    if (!come.empty() || !gone.empty()) {
        throw Stopped("other volumes lie below the folders than before (" + come +
                      (come.empty() || gone.empty() ? "" : "; ") + gone +
                      "): mount as before, or use --accept-mounts if that is meant");
    }
}

// The largest number of deletions that the limit allows. A share of whole files never exceeds its
// whole part, so rounding down is exact.
std::uint64_t Allowed(const DeleteLimit& limit, std::uint64_t known) {
    return limit.isPercent ? known / 100 * limit.value + known % 100 * limit.value / 100
                           : limit.value;
}

std::string DeleteOverride(std::uint64_t lost) {
    return "--max-delete " + std::to_string(lost);
}

// alsoNeeded names what else it takes, when the next brake would stop these deletions.
void CheckEmptied(const StateSettings& now, const KnownCounts& base,
                  const std::vector<std::uint64_t>& foundPerFolder, std::uint64_t lost,
                  const std::string& alsoNeeded) {
    for (std::size_t i = 0; i < now.folders.size(); ++i) {
        const std::uint64_t known = At(base.perFolder, i);
        if (known != 0 && At(foundPerFolder, i) == 0) {
            throw Stopped("the folder " + Quoted(now.folders[i]) + " is empty, but had " +
                          Files(known) +
                          (lost > known ? " (" + Files(lost) + " to delete in all)" : "") +
                          ": mount what belongs there, or use --allow-empty" + alsoNeeded +
                          " if they are to be deleted");
        }
    }
}

std::string LimitText(const DeleteLimit& limit) {
    return std::to_string(limit.value) + (limit.isPercent ? "%" : "");
}

}  // namespace

DeleteLimit ParseDeleteLimit(const std::string& argument) {
    DeleteLimit limit;
    limit.isPercent = argument.ends_with('%');
    const char* const end = argument.data() + argument.size() - (limit.isPercent ? 1 : 0);
    const auto [stop, error] = std::from_chars(argument.data(), end, limit.value);
    if (error != std::errc() || stop != end || (limit.isPercent && limit.value > 100)) {
        throw Failure(ExitCode::Usage, "--max-delete \"" + Escaped(argument) +
                                           "\" is no limit: give a number of files as 100, or a "
                                           "share from 0% to 100%");
    }
    return limit;
}

void CheckFolders(const StateSettings* settings, const StateSettings& now, const KnownCounts& base,
                  const BrakeOptions& options) {
    for (std::size_t i = 0; i < now.folders.size(); ++i) {
        const std::uint64_t known = At(base.perFolder, i);
        CheckIsThere(now.folders[i], known);
        if (settings != nullptr && known != 0 && !options.acceptMounts) {
            CheckVolume(*settings, now, i);
        }
    }
    if (settings != nullptr && !options.acceptMounts) {
        CheckNested(settings->nested, now.nested);
    }
}

void CheckCounts(const StateSettings& now, const KnownCounts& base,
                 const std::vector<std::uint64_t>& foundPerFolder, std::uint64_t lost,
                 const RunSummary& summary, const BrakeOptions& options) {
    const bool tooMany = lost > Allowed(options.maxDelete, base.all);
    if (!options.allowEmpty) {
        CheckEmptied(now, base, foundPerFolder, lost,
                     tooMany ? " and " + DeleteOverride(lost) : "");
    }
    if (tooMany) {
        throw Stopped(std::to_string(lost) + " of " + Files(base.all) +
                      " are gone or cannot be carried any more, more than --max-delete " +
                      LimitText(options.maxDelete) + " allows: use " + DeleteOverride(lost) +
                      " if they are to be deleted from the copy");
    }
    if (summary.changed > 1 && summary.unchanged == 0 && !options.forceAll) {
        throw Stopped("every known file has changed (" + Files(summary.changed) +
                      "): see that they are sound, or use --force-all if that is meant");
    }
}
