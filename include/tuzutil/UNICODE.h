#ifndef TUZUTIL_UNICODE_H
#define TUZUTIL_UNICODE_H

// TUnicode: converts text between UTF-8 and the library's 16-bit form, and sets the encoding of narrow text.
//
// Example:
//     TString const wide = TUnicode::FromUtf8("Entw\xC3\xBCrfe");           // 16-bit text
//     TString const back = TUnicode::ToUtf8(wide);                          // the same bytes again
//     unsigned int const fault = TUnicode::FindFault("a\xFF");              // 2: the second byte
//     TString const shown = TUnicode::ToUtf8("a\xFF", TUnicode::replace);   // "a", U+FFFD
//
// Ownership:  The functions only read their arguments and return new strings, or share the argument's buffer.
// Threads:    Any thread may call the functions. Call SetUtf8Mode() before there are other threads. Otherwise some
//             texts may be in UTF-8, and others in the locale's encoding.
// Failures:   TInvalidRequest "Malformed UTF-8 at byte N" or "Unpaired surrogate at character N" (ID 1, recoverable),
//             unless faults are to be replaced. TOutOfMemory if there is no memory for the result.
// Surprises:
// - The Unicode flag of a string tells its form. Text that already has the wanted form is checked, and `replace`
//   repairs it. ToUtf8() therefore assumes that narrow text is UTF-8.
// - Zero characters are kept. A null string stays null. If the argument is wiped on deletion, so is the result.
// - Names of files, and texts that the program itself writes, do not follow the UTF-8 mode.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TUnicode {
public:
    // Says what the functions do with malformed text. `strict` throws. `replace` puts one U+FFFD for each longest run
    // of bytes that could begin a character, and for each other malformed byte. `replace` does the same for each
    // unpaired surrogate, and for the odd last byte of 16-bit text.
    enum Faults { strict, replace };

    static TString FromUtf8(TString const &text, Faults faults = strict); // 16-bit text
    static TString ToUtf8(TString const &text, Faults faults = strict);   // narrow text

    // Returns the 1-based position of the first fault, or 0 if the text is well-formed. For narrow text, this is the
    // position in bytes of the first malformed byte. For 16-bit text, it is the position in 16-bit units of the first
    // unpaired surrogate, or of the odd last byte.
    static unsigned int FindFault(TString const &text) noexcept;

    // Switches the UTF-8 mode on or off, and returns whether it was on before. In this mode, narrow text counts as
    // UTF-8, whatever the locale and the system say. This holds for messages and trace lines that hold 16-bit text, and
    // for the texts of language libraries. Without the mode, Windows loads narrow texts of language libraries in the
    // system's code page, so one line can mix encodings.
    static int SetUtf8Mode(int on) noexcept;
    static int IsUtf8Mode() noexcept;
};

#endif
