#ifndef TUZUTIL_TESTS_REFUSER_WIN32_H
#define TUZUTIL_TESTS_REFUSER_WIN32_H

// Only for Windows: the library that makes calls of a program fail.

#if defined(refuser_EXPORTS)
#define TUZUTIL_REFUSER __declspec(dllexport)
#else
#define TUZUTIL_REFUSER __declspec(dllimport)
#endif

TUZUTIL_REFUSER void BeginToRefuse();
TUZUTIL_REFUSER void EndRefusing();

#endif
