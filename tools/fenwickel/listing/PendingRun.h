// The files that a run writes, and their removal when the run does not end well.
#pragma once

#include "StateFiles.h"

// From construction until Keep, the state belongs to a run that may still fail: the destructor
// then deletes what the run wrote, so that a failed run leaves nothing to commit. Needs the lock.
class PendingRun {
public:
    // Deletes what an earlier run left. Throws Failure when that cannot be done.
    explicit PendingRun(const StateFiles& state);
    PendingRun(const PendingRun&) = delete;
    PendingRun& operator=(const PendingRun&) = delete;
    ~PendingRun();

    // The run is done, its files stay for commit or discard.
    void Keep() { m_kept = true; }

private:
    int Discard() const;
    void RemoveCreatedBase() const;

    const StateFiles& m_state;
    const bool m_baseExisted;
    bool m_kept = false;
};
