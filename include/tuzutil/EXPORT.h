#ifndef TUZUTIL_EXPORT_H
#define TUZUTIL_EXPORT_H

// EXPORT.h: defines TUZUTIL_API, which marks everything that the library exports.
//
// The build of the library defines `tuzutil_EXPORTS`. A program that uses the library defines nothing.

#if defined(_WIN32)
#if defined(tuzutil_EXPORTS)
#define TUZUTIL_API __declspec(dllexport)
#else
#define TUZUTIL_API __declspec(dllimport)
#endif
#else
#define TUZUTIL_API __attribute__((visibility("default")))
#endif

#endif
