#ifndef TUZUTIL_TESTS_PRINTF_H
#define TUZUTIL_TESTS_PRINTF_H

// The printf of the platform's own runtime, to compare with; on Windows that is not the compiler's snprintf.

#include <string>

std::string RuntimePrintf(char const *format, ...);

#endif
