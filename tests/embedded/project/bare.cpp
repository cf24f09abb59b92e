// Uses a part of the library that needs nothing of its start-up, which runs all the same and sets the locale.

#include <tuzutil/MD5.h>

#include <clocale>
#include <cstdio>
#include <cstring>

int main() {
    CalculateMD5 md5;
    char digest[16];
    md5.Done(digest);
    bool const isSet = std::strcmp(std::setlocale(LC_CTYPE, nullptr), "C") != 0;
    std::printf("the locale is %s\n", isSet ? "set" : "not set");
    return isSet ? 0 : 1;
}
