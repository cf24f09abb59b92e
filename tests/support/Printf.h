#ifndef TUZUTIL_TESTS_PRINTF_H
#define TUZUTIL_TESTS_PRINTF_H

// Calls the printf function of the system's C runtime, because tests compare its results with those of the library. On
// Windows, this function differs from the snprintf() of the compiler.

#include <string>

std::string RuntimePrintf(char const *format, ...);

#endif
