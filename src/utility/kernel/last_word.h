#ifndef TUZUTIL_LAST_WORD
#define TUZUTIL_LAST_WORD

// TLastWords: while it is there, a program that ends because nobody catches an exception of the library says which one
// on standard error, before what the program, or the run-time library, does then.

#include <exception>

class TLastWords {
public:
    TLastWords() noexcept;
    TLastWords(TLastWords const &) = delete;
    TLastWords &operator=(TLastWords const &) = delete;
    ~TLastWords(); // gives back the former handler, unless the program has set its own

private:
    [[noreturn]] static void Speak();

    static std::terminate_handler fsFormer; // defined in STARTUP.cpp
};

#endif
