// TLoading: the loads of libraries that this thread is in, innermost first. The state belongs to the thread, so no lock
// is taken.

#include "utility/kernel/loading.h"

#include <utility>

static constinit thread_local TLoading *fsInnermost = nullptr; // the load that this thread is in, if any

TLoading::TLoading() noexcept : fOuter(fsInnermost) {
    fsInnermost = this;
}

TLoading::~TLoading() {
    fsInnermost = fOuter;
}

bool TLoading::IsUnderWay() noexcept {
    return fsInnermost != nullptr;
}

void TLoading::Keep(std::exception_ptr failure) noexcept {
    if (!fsInnermost->fFailure)
        fsInnermost->fFailure = std::move(failure);
}

void TLoading::Rethrow() {
    std::exception_ptr const failure = std::exchange(fFailure, nullptr);
    if (!failure)
        return;
    if (!fOuter)
        std::rethrow_exception(failure);
    if (!fOuter->fFailure)
        fOuter->fFailure = failure;
}
