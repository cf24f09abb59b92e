#ifndef TUZUTIL_TESTS_FOREIGNLOCALE_H
#define TUZUTIL_TESTS_FOREIGNLOCALE_H

// While an object of this class exists, the process has a locale with a decimal comma. The locale "test" has the
// encoding Latin 1. In the locale "dotless", which exists only on Linux, I and i are letters of their own: the small
// form of I is the byte FD, and the capital form of i is DD. foreign_locale_posix.cpp and foreign_locale_win32.cpp
// define the class for each system.

#include <clocale>
#include <string>

class TForeignLocale {
public:
    explicit TForeignLocale(char const *name = "test") : fBefore(std::setlocale(LC_ALL, nullptr)), fIsSet(Set(name)) {}
    TForeignLocale(TForeignLocale const &) = delete;
    TForeignLocale &operator=(TForeignLocale const &) = delete;
    ~TForeignLocale() { std::setlocale(LC_ALL, fBefore.c_str()); }

    bool IsSet() const { return fIsSet; } // false if the system does not have the locale

private:
    static bool Set(char const *name);

    std::string fBefore;
    bool fIsSet;
};

#endif
