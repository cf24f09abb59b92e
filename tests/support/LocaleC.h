#ifndef TUZUTIL_TESTS_LOCALEC_H
#define TUZUTIL_TESTS_LOCALEC_H

// The library sets the locale of the process from the environment. While an object of this class exists, the locale is
// "C".

#include <clocale>
#include <string>

class TLocaleC {
public:
    TLocaleC() : fBefore(std::setlocale(LC_ALL, nullptr)) { std::setlocale(LC_ALL, "C"); }
    TLocaleC(TLocaleC const &) = delete;
    TLocaleC &operator=(TLocaleC const &) = delete;
    ~TLocaleC() { std::setlocale(LC_ALL, fBefore.c_str()); }

private:
    std::string fBefore;
};

#endif
