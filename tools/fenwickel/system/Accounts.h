// The accounts of the machine, and what they have to do with watching and steering programs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The number of the account with this name or number; nothing when there is none, and on Windows,
// where programs need not change their account.
std::optional<std::uint32_t> HostFindAccount(const std::string& nameOrNumber);

// The account that the process acts for; nothing when that is unknown, and on Windows.
std::optional<std::uint32_t> HostAccountOfProcess(std::uint32_t processId);

// Makes this process one of the account, for good, in all its threads. False with the last error
// set: ERROR_ACCESS_DENIED unless this process is root's.
bool HostBecomeAccount(std::uint32_t account);

// Why programs of this account cannot be watched or steered, as `"FOLDER" belongs to the account
// NAME`; "" when they can.
std::string HostObjectsProblem();
