#ifndef TUZUTIL_TESTS_LANGUAGES_H
#define TUZUTIL_TESTS_LANGUAGES_H

// The language libraries that the build makes for the suites.

#include "tuzutil/FILENAME.h"

#include <string>

// Turns a name such as "German\\lengths.dll" into the full name, with backslashes.
inline std::string LanguageLibrary(std::string const &relative) {
    TFileName folder(TUZUTIL_TEST_LANGUAGES);
    return static_cast<char const *>(TFileName(folder.FixDelim(), TFileName(relative.c_str())));
}

#endif
