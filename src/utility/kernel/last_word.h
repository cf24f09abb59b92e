#ifndef TUZUTIL_LAST_WORD
#define TUZUTIL_LAST_WORD

// TLastWords: installs a terminate handler for as long as the object exists. If nobody catches an exception of the
// library, the handler writes the exception's name and text to standard error. Then it calls the handler that was set
// before.

#include <exception>

class TLastWords {
public:
    TLastWords() noexcept;
    TLastWords(TLastWords const &) = delete;
    TLastWords &operator=(TLastWords const &) = delete;
    ~TLastWords(); // sets the former handler again, unless the program has set another one

private:
    [[noreturn]] static void Speak();

    static std::terminate_handler fsFormer; // defined in STARTUP.cpp
};

#endif
