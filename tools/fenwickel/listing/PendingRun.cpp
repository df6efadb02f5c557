#include "PendingRun.h"

#include <cstdio>

#include "platform/OwnedHandle.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

PendingRun::PendingRun(const StateFiles& state)
    : m_state(state), m_baseExisted(!IsGone(state.base)) {
    if (const int code = Discard()) {
        throw SystemFailure(code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed,
                            "delete what an earlier run left in",
                            IsGone(state.syncing) ? state.deleted : state.syncing,
                            static_cast<std::uint32_t>(code),
                            "see that --syncing and --deleted can be deleted");
    }
}

PendingRun::~PendingRun() {
    if (m_kept) {
        return;
    }
    if (const int code = Discard()) {
        std::fprintf(stderr, "fenwickel: cannot delete the files of the failed run: %s: %s\n",
                     Reason(code).c_str(), "fenwickel discard does it later");
        return;  // a whole listing without a base would look like a commit that was interrupted
    }
    RemoveCreatedBase();
}

int PendingRun::Discard() const {
    stSyncFileDbContext context = DatabaseContext(m_state);
    CSyncFileDatabase database;
    database.SetDBContext(context);
    return database.RemoveChangedDB();
}

// A first run creates an empty base file, which says no more than a missing one.
void PendingRun::RemoveCreatedBase() const {
    if (m_baseExisted) {
        return;
    }
    OwnedHandle file(CreateFileW(m_state.base.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size;
    const bool isEmpty = file && GetFileSizeEx(file.get(), &size) && size.QuadPart == 0;
    file.Close();
    if (isEmpty) {
        DeleteFileW(m_state.base.c_str());
    }
}
