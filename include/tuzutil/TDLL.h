#ifndef TUZUTIL_TDLL_H
#define TUZUTIL_TDLL_H

// TDll: a loaded library of the operating system, and the numbered texts in it.
//
// Example:
//     TDll const texts("C:\\mail\\German\\msgs.dll");
//     TString const narrow = texts.loadMessage(17, 0); // see Surprises for its encoding
//     TString const wide = texts.loadMessage(17, 1);   // 16-bit
//
// Ownership:  The library stays loaded until the process ends, even after the object is destroyed. Copies share the
//             handle.
// Threads:    Several threads may call loadMessage(). For all other uses, one thread at a time may use an object.
//             Loading takes the system's loader lock.
// Failures:   TAccessError (recoverable), with the texts that the comments of the functions give. The code() of the
//             exception is the system's error code. Its systemText() is what the system's loader says if a library was
//             not loaded; it may be null.
// Surprises:
// - A text is cut after 256 characters, or after 256 bytes if it is narrow.
// - The number of a text is at most 65535. An empty text counts as missing.
// - Narrow texts are in the system's code page on Windows, and in UTF-8 elsewhere. TUnicode::SetUtf8Mode() makes them
//   UTF-8 on every system.
// - Loading runs code of the library. If the name has no directory, the library is searched for in the program's
//   directory, and then where the system looks for libraries.
class TDll;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>

class TUZUTIL_API TDll {
public:
    // Loads the library. Throws "Unable to find or open NAME, GetLastError=N(xHHHHHHHH)" (ID 1) on failure. If a static
    // object of the library could not register itself, throws the exception of that object.
    explicit TDll(char const *name);
    explicit TDll(void *handle) : fOpen(1), fHandle(handle), fName("") {} // `handle` is not checked

    int isOpen() const noexcept { return fOpen != 0; }   // 1 or 0
    void open() noexcept {}                              // does nothing: the constructor has loaded the library
    void *GetHandle() const noexcept { return fHandle; } // of the system

    // Returns the text with that number, as 16-bit text if `wide` is not 0. Throws "Dll not loaded" (ID 1) if isOpen()
    // is 0. If there is no such text, traces this in the category String at the level TTrace::error, and throws "Error
    // getting message" (ID 2).
    TString loadMessage(unsigned long id, int wide) const;

protected:
    std::int32_t fOpen = 0;  // 1 if the library is loaded
    void *fHandle = nullptr; // of the system
    TString fName;           // as given to the constructor
};

#endif
