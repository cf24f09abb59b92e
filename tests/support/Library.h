#ifndef TUZUTIL_TESTS_LIBRARY_H
#define TUZUTIL_TESTS_LIBRARY_H

// Libraries of code that a test loads. Defined for each system in library_posix.cpp and library_win32.cpp.

#include <string>

// Loads a library that stands beside the test program, for good. False where that fails.
bool LoadTestLibrary(std::string const &name);

#endif
