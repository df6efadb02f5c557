// A host's control object for tests.
#pragma once

#include <atomic>

#include "fenwickel/SyncJobControl.h"

// Keeps the first error code; stops at the nth question when told to.
class JobControl : public ISyncJobControl {
public:
    virtual ~JobControl() = default;
    bool IsStopRequested() override { return --questionsBeforeStop < 0; }
    int GetErrorCode() override { return firstError; }
    void SetErrorCode(int errorCode) override {
        ++errorCalls;
        int none = 0;
        firstError.compare_exchange_strong(none, errorCode);
    }
    bool ForceAllChanged() override {
        ++forceCalls;
        return forceAll;
    }

    std::atomic<long long> questionsBeforeStop = 1LL << 60;
    std::atomic<int> firstError = 0;
    std::atomic<int> errorCalls = 0;
    std::atomic<int> forceCalls = 0;
    bool forceAll = false;
};
