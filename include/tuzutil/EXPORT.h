#ifndef TUZUTIL_EXPORT_H
#define TUZUTIL_EXPORT_H

// EXPORT.h: defines TUZUTIL_API and TUZUTIL_INLINE, which mark everything that the library exports.
//
// The build of the library defines `tuzutil_EXPORTS`. `TUZUTIL_STATIC` is defined if the library is a static one, which
// exports nothing: CMake and pkg-config define it for programs too. Otherwise a program defines nothing.

#if defined(TUZUTIL_STATIC)
#define TUZUTIL_API
#elif defined(_WIN32)
#if defined(tuzutil_EXPORTS)
#define TUZUTIL_API __declspec(dllexport)
#else
#define TUZUTIL_API __declspec(dllimport)
#endif
#else
#define TUZUTIL_API __attribute__((visibility("default")))
#endif

// Marks an inline member of an exported class that the library also exports.
#if defined(_WIN32)
#define TUZUTIL_INLINE
#else
#define TUZUTIL_INLINE TUZUTIL_API
#endif

#endif
