#ifndef TUZUTIL_TDLL_H
#define TUZUTIL_TDLL_H

// TDll: a loaded library of the operating system, and the numbered texts that it holds.
//
// Example:
//     TDll const texts("C:\\mail\\German\\msgs.dll");
//     TString const narrow = texts.loadMessage(17, 0); // in the process's encoding
//     TString const wide = texts.loadMessage(17, 1);   // 16-bit
//
// Ownership:  the library stays loaded for the life of the process, whatever becomes of the object. Copies share the
//             handle.
// Threads:    loadMessage() may be called by several threads; otherwise as TString, for the name: one thread at a time.
//             Loading takes the system's loader lock.
// Failures:   TAccessError, recoverable, traced in the category String: "Unable to find or open NAME,
//             GetLastError=N(xHHHHHHHH)" (ID 1) from the constructor; "Dll not loaded" (ID 1) and "Error getting
//             message" (ID 2) from loadMessage(), the latter behind an entry of level 4. Where a static object of the
//             library could not register itself, the constructor throws what it would have thrown.
// Surprises:  a text ends after 256 characters, a narrow one after 256 bytes. Numbers above 65535 are absent, and so is
//             an empty text. Narrow texts are in the system's code page on Windows and in UTF-8 elsewhere. Loading runs
//             code: a name without a directory is looked for where the system looks for libraries.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>

class TUZUTIL_API TDll {
public:
    explicit TDll(char const *name);
    explicit TDll(void *handle) : fOpen(1), fHandle(handle), fName("") {} // of a loaded library, which is not checked

    int isOpen() const noexcept { return fOpen != 0; }
    void open() noexcept {} // for a class that can try again
    void *GetHandle() const noexcept { return fHandle; }

    // The text of that number; 16-bit where `wide` is not 0.
    TString loadMessage(unsigned long id, int wide) const;

protected:
    std::int32_t fOpen = 0;
    void *fHandle = nullptr;
    TString fName; // that it was opened by
};

#endif
