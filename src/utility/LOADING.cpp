#include "utility/LOADING.h"

#include <utility>

constinit thread_local TLoading *TLoading::fsInnermost = nullptr;

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
