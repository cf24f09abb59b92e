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
// Threads:    Any thread may call them. Set the mode before there are other threads, or texts of both encodings appear.
// Failures:   TInvalidRequest "Malformed UTF-8 at byte N" or "Unpaired surrogate at character N" (ID 1, recoverable),
//             unless faults are to be replaced. TOutOfMemory if there is no memory for the result.
// Surprises:
// - Text that already has the wanted form, as its flag says, is only checked: ToUtf8() takes narrow text for UTF-8.
// - Zero characters are kept. A null string stays null. The result of a secret is wiped as the secret is.
// - Names of files and what the program's own code writes do not follow the UTF-8 mode.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TUnicode {
public:
    // What malformed text does: throw, or become U+FFFD, one for each run of bytes that could begin a character.
    enum Faults { strict, replace };

    static TString FromUtf8(TString const &text, Faults faults = strict); // 16-bit text
    static TString ToUtf8(TString const &text, Faults faults = strict);   // narrow text

    // Returns the 1-based position of the first malformed byte of narrow text, or of the first unpaired surrogate or
    // the odd last byte of 16-bit text, in characters of 16 bits. Returns 0 if the text is well-formed.
    static unsigned int FindFault(TString const &text) noexcept;

    // Has narrow text mean UTF-8 whatever the locale and the system say: in messages and trace lines that hold 16-bit
    // text, and in the texts of language libraries. Without it, Windows gives those in its code page, and a line can
    // mix encodings. Returns whether it was on.
    static int SetUtf8Mode(int on) noexcept;
    static int IsUtf8Mode() noexcept;
};

#endif
