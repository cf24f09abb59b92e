// TLastWords: the handler that names an uncaught exception of the library before the program ends. It runs in a process
// that is about to end, so it takes no lock of the library and makes no text.

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

// The run-time library's own handler knows the class of an exception, but not the text of ours.
void TLastWords::Speak() {
    try {
        if (std::exception_ptr const problem = std::current_exception())
            std::rethrow_exception(problem);
    } catch (TException const &problem) {
        char const *const text = problem.text(0);
        std::fprintf(stderr, "%s: %s\n", problem.name(), text ? text : "(no text)");
        std::fflush(stderr);
    } catch (...) {
        // Somebody else's.
    }
    if (fsFormer)
        fsFormer();
    std::abort();
}
