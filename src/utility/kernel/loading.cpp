// TLoading: keeps a list of the loads of libraries that are under way on a thread, the innermost load first. Loads are
// nested if a static object of a library loads another library. Each thread has a list of its own, so no lock is taken.

#include "utility/kernel/loading.h"

#include <utility>

static constinit thread_local TLoading *fsInnermost = nullptr; // null if this thread loads no library

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
