#ifndef TUZUTIL_RELEASE_H
#define TUZUTIL_RELEASE_H

// RELEASE.h: the version of the headers, for the preprocessor. The build reads the version of the library from here.
//
// Example:
//     #if TUZUTIL_VERSION_IS_AT_LEAST(0, 1, 0)
//     std::cout << "tuzutil " << TUZUTIL_VERSION_STRING << '\n'; // "tuzutil 0.1.0"
//     #endif
//
// Surprises:
// - The macros say with which headers a program was compiled. TVersion::QueryRevision() says with which library it
//   runs.

// These macros give the version of the headers.
#define TUZUTIL_VERSION_MAJOR 0
#define TUZUTIL_VERSION_MINOR 1
#define TUZUTIL_VERSION_PATCH 0
#define TUZUTIL_VERSION_STRING "0.1.0"

// These macros give a version as one number, which grows from version to version. Each of the three parts is less than
// 1000.
#define TUZUTIL_VERSION_NUMBER(major, minor, patch) ((major)*1000000L + (minor)*1000L + (patch))
#define TUZUTIL_VERSION TUZUTIL_VERSION_NUMBER(TUZUTIL_VERSION_MAJOR, TUZUTIL_VERSION_MINOR, TUZUTIL_VERSION_PATCH)
// Is true if the version of the headers is this one or a later one.
#define TUZUTIL_VERSION_IS_AT_LEAST(major, minor, patch)                                                               \
    (TUZUTIL_VERSION >= TUZUTIL_VERSION_NUMBER(major, minor, patch))

#endif
