#include "VssStep.h"

namespace {

// Long enough to cost nothing, short enough that the limit is kept.
constexpr DWORD kSliceMs = 500;

// VSS_S_ASYNC_PENDING, or how the step ended.
HRESULT AskAfterSlice(IVssAsync& step) {
    if (const HRESULT waited = step.Wait(kSliceMs); FAILED(waited)) {
        return waited;
    }
    HRESULT state = S_OK;
    INT reserved = 0;
    const HRESULT asked = step.QueryStatus(&state, &reserved);
    return FAILED(asked) ? asked : state;
}

}  // namespace

HRESULT AwaitVssStep(IVssAsync& step, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    HRESULT state = AskAfterSlice(step);
    while (state == VSS_S_ASYNC_PENDING && std::chrono::steady_clock::now() < deadline) {
        state = AskAfterSlice(step);
    }
    if (state == VSS_S_ASYNC_PENDING) {
        state = HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    }
    if (FAILED(state)) {
        step.Cancel();  // without effect on a step that has ended
    }
    return state == VSS_S_ASYNC_FINISHED ? S_OK : state;
}
