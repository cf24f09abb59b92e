#ifndef TUZUTIL_TESTS_LANGUAGES_H
#define TUZUTIL_TESTS_LANGUAGES_H

// The language libraries that the build has made for the suites.

#include "tuzutil/FILENAME.h"

#include <string>

// "German\\lengths.dll" becomes the full name, in the library's form.
inline std::string LanguageLibrary(std::string const &relative) {
    TFileName folder(TUZUTIL_TEST_LANGUAGES);
    return static_cast<char const *>(TFileName(folder.FixDelim(), TFileName(relative.c_str())));
}

#endif
