// The host's side of a run: how the library asks whether to stop and reports what failed.
#pragma once

// Implemented by the host, called by the library, never deleted by it.
//
// Threads: one object is called from the host's own thread and from three worker threads at once,
// so every operation must be thread-safe. No operation may throw.
//
// The seven operations are called by slot. Hosts may be built by other compilers, so their order
// is part of the binary interface and there is no virtual destructor among them.
class ISyncJobControl {
public:
    // Slot 1: not called by the library.
    virtual void ReservedSlot1() {}

    // Slot 2: true once the run should stop. Asked at every folder and twice for every file.
    virtual bool IsStopRequested() = 0;

    // Slot 3: not called by the library.
    virtual void ReservedSlot3() {}

    // Slot 4: the error code recorded for the run so far, 0 for none. Only compared with 0 by the
    // workers; the run returns the value it finds here after the walk.
    virtual int GetErrorCode() = 0;

    // Slot 5: records an error code for the run (SYNC_EC_STOPPED included). May be called many
    // times; whether the first or the last call wins is the host's choice, but GetErrorCode must
    // answer non-zero after any of them.
    virtual void SetErrorCode(int errorCode) = 0;

    // Slot 6: not called by the library.
    virtual void ReservedSlot6() {}

    // Slot 7: true makes every file that the previous listing knows count as changed. Asked once
    // per known file, never for new ones.
    virtual bool ForceAllChanged() = 0;

protected:
    ~ISyncJobControl() = default;
};
