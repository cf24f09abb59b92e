#ifndef TUZUTIL_TESTS_FOREIGNLOCALE_H
#define TUZUTIL_TESTS_FOREIGNLOCALE_H

// For a scope: a locale with a decimal comma, whose encoding is Latin 1. Defined for each system in
// foreign_locale_posix.cpp and foreign_locale_win32.cpp.

#include <clocale>
#include <string>

class TForeignLocale {
public:
    TForeignLocale() : fBefore(std::setlocale(LC_ALL, nullptr)), fIsSet(Set()) {}
    TForeignLocale(TForeignLocale const &) = delete;
    TForeignLocale &operator=(TForeignLocale const &) = delete;
    ~TForeignLocale() { std::setlocale(LC_ALL, fBefore.c_str()); }

    bool IsSet() const { return fIsSet; } // false: the system does not have it

private:
    static bool Set();

    std::string fBefore;
    bool fIsSet;
};

#endif
