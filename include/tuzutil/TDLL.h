#ifndef TUZUTIL_TDLL_H
#define TUZUTIL_TDLL_H

// TDll: a loaded library of the operating system, and the numbered texts in it.
//
// Example:
//     TDll const texts("C:\\mail\\German\\msgs.dll");
//     TString const narrow = texts.loadMessage(17, 0); // in the process's encoding
//     TString const wide = texts.loadMessage(17, 1);   // 16-bit
//
// Ownership:  The library stays loaded until the process ends, even after the object is destroyed. Copies share the
//             handle.
// Threads:    Several threads may call loadMessage(). Otherwise one thread at a time, because the name is a TString.
//             Loading takes the system's loader lock.
// Failures:   TAccessError, recoverable, traced in the category String; the functions name the texts.
// Surprises:
// - A text is cut after 256 characters, or after 256 bytes if it is narrow.
// - Numbers above 65535 do not exist, and an empty text counts as absent.
// - Narrow texts are in the system's code page on Windows, and in UTF-8 elsewhere.
// - Loading runs code of the library. The system searches its own places for a name without a directory.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>

class TUZUTIL_API TDll {
public:
    // Loads the library. Throws "Unable to find or open NAME, GetLastError=N(xHHHHHHHH)" (ID 1). If a static object of
    // the library could not register itself, throws the exception of that object.
    explicit TDll(char const *name);
    explicit TDll(void *handle) : fOpen(1), fHandle(handle), fName("") {} // a loaded library's handle, not checked

    int isOpen() const noexcept { return fOpen != 0; }
    void open() noexcept {} // for a class that can try again
    void *GetHandle() const noexcept { return fHandle; }

    // Returns the text with that number, as 16-bit text if `wide` is not 0. Throws "Dll not loaded" (ID 1), or "Error
    // getting message" (ID 2) after a trace entry at level 4.
    TString loadMessage(unsigned long id, int wide) const;

protected:
    std::int32_t fOpen = 0;
    void *fHandle = nullptr;
    TString fName; // as given to the constructor
};

#endif
