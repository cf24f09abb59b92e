// TLastWords: the handler that reports an uncaught exception of the library before the program ends. Memory may be
// exhausted and locks may be held at that time. So the handler takes no lock of the library and makes no TString.

#include "utility/kernel/last_word.h"

#include "tuzutil/EXCEPTN.h"

#include <cstdio>
#include <cstdlib>

TLastWords::TLastWords() noexcept {
    fsFormer = std::set_terminate(Speak);
}

TLastWords::~TLastWords() {
    if (std::get_terminate() == Speak)
        std::set_terminate(fsFormer);
}

// The handler of the run-time library would print the class of the exception, but not the text of a TException.
void TLastWords::Speak() {
    try {
        if (std::exception_ptr const problem = std::current_exception())
            std::rethrow_exception(problem);
    } catch (TException const &problem) {
        char const *const text = problem.text(0);
        std::fprintf(stderr, "%s: %s\n", problem.name(), text ? text : "(no text)");
        std::fflush(stderr);
    } catch (...) {
        // The exception is not one of this library. The former handler reports it.
    }
    // No test gets here: the runtime always has a handler, and a handler that returns ends the process.
    if (fsFormer)
        fsFormer();
    std::abort();
}
