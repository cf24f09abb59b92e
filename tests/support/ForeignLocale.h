#ifndef TUZUTIL_TESTS_FOREIGNLOCALE_H
#define TUZUTIL_TESTS_FOREIGNLOCALE_H

// While an object of this class exists, the process has a locale with a decimal comma and the encoding Latin 1.
// foreign_locale_posix.cpp and foreign_locale_win32.cpp define the class for each system.

#include <clocale>
#include <string>

class TForeignLocale {
public:
    TForeignLocale() : fBefore(std::setlocale(LC_ALL, nullptr)), fIsSet(Set()) {}
    TForeignLocale(TForeignLocale const &) = delete;
    TForeignLocale &operator=(TForeignLocale const &) = delete;
    ~TForeignLocale() { std::setlocale(LC_ALL, fBefore.c_str()); }

    bool IsSet() const { return fIsSet; } // false if the system does not have the locale

private:
    static bool Set();

    std::string fBefore;
    bool fIsSet;
};

#endif
