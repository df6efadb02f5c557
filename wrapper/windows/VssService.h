// The way to the Volume Shadow Copy Service.
#pragma once

#include <chrono>

#include "platform/Platform.h"

// Relies on <windows.h> above.
#include <vsbackup.h>

// What the provider needs of the service, so that tests can replace it.
struct VssService {
    // A new backup, with one reference for the caller.
    HRESULT (*create)(IVssBackupComponents** components);

    // Frees what GetSnapshotProperties filled in.
    void (*freeProperties)(VSS_SNAPSHOT_PROP* properties);

    // How long an asynchronous step may take. A step that takes longer is cancelled and counts as
    // failed with ERROR_TIMEOUT as a HRESULT.
    std::chrono::milliseconds stepLimit;
};

// The service of this system. Where there is none, create answers E_NOTIMPL or the like.
VssService SystemVssService();
