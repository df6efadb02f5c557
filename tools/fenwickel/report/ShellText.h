// Text that a user can paste into a shell.
#pragma once

#include <string>

// The argument as a shell reads it back: bare when it is plain, else in quotes.
inline std::string ShellQuoted(const std::string& argument) {
    const char* plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
    if (!argument.empty() && argument.find_first_not_of(plain) == std::string::npos) {
        return argument;
    }
    // Double quotes serve every shell; single quotes only where these signs can stand in a path.
    if (argument.find_first_of("\"$`!\n") == std::string::npos) {
        return '"' + argument + '"';
    }
    std::string quoted = "'";
    for (const char sign : argument) {
        quoted += sign == '\'' ? std::string("'\\''") : std::string(1, sign);
    }
    return quoted + "'";
}
