#include "LogAccount.h"

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Accounts.h"

void ActFor(const std::string& user) {
    if (user.empty()) {
        return;
    }
    const std::string option = "--user \"" + Escaped(ValidUtf8(user)) + '"';
    const auto account = HostFindAccount(user);
    if (!account) {
        throw Failure(ExitCode::Usage, option + ": there is no such account on this system");
    }
    if (!HostBecomeAccount(*account)) {
        const int code = static_cast<int>(GetLastError());
        throw Failure(ExitCode::Failed, code,
                      "cannot act for " + option + ": " + Reason(code) + ": run as root");
    }
}

void RequireSharedObjects() {
    const std::string problem = HostObjectsProblem();
    if (!problem.empty()) {
        throw Failure(ExitCode::Failed,
                      "programs of this account cannot be watched or steered: " + problem +
                          ": have root remove it, then restart the programs");
    }
}
