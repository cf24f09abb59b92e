#ifndef TUZUTIL_TESTS_PROCESSOR_H
#define TUZUTIL_TESTS_PROCESSOR_H

#include <string>

// What the names of files of named objects say about the processor of the program.
inline std::string ProcessorOfObjects() {
#ifdef __aarch64__
    return "arm64";
#else
    return std::to_string(sizeof(void *) * 8);
#endif
}

#endif
