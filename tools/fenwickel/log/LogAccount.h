// Whose programs the log commands watch and steer: there is one viewer per account.
#pragma once

#include <string>

// Makes this process one of the account that --user names; nothing for "". To be called before
// anything is opened. Throws Failure (Usage, Failed).
void ActFor(const std::string& user);

// Throws Failure (Failed) when this account's programs cannot be watched or steered here.
void RequireSharedObjects();
