// What the user asked of sync, as plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct SyncOptions {
    std::string state;
    std::string destination;
    std::vector<std::string> folders;
    std::string snapshot = "require";
    std::vector<std::string> ignores;
    std::string maxDelete = "50%";
    std::uint32_t lockWait = 0;  // seconds
    std::optional<bool> keepOwners;
    bool skipNested = false;
    bool acceptMounts = false;
    bool forceAll = false;
    bool allowEmpty = false;
    bool replacePending = false;
    bool dryRun = false;
    bool json = false;
    bool exitCode = false;
};
