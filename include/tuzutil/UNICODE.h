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
// Ownership:  The functions only read their arguments. A returned string is new, or shares the buffer of the argument.
// Threads:    Any thread may call the functions. Call SetUtf8Mode() before there are other threads. Otherwise some
//             texts may be in UTF-8, and others in the locale's encoding.
// Failures:   With `strict`, a fault throws TInvalidRequest (ID 1, recoverable): "Malformed UTF-8 at byte N" for narrow
//             text, "Unpaired surrogate at character N" for 16-bit text. TOutOfMemory if there is no memory.
// Surprises:
// - The functions read a string with the Unicode flag as 16-bit text, and every other string as UTF-8. Text that
//   already has the wanted form is checked but not converted; `replace` repairs its faults.
// - Characters with the value 0 are kept. A null string stays null. If the argument is wiped on deletion, so is the
// result.
// - The UTF-8 mode concerns only the library. It does not change how the system reads narrow names of files, or what
//   the program writes by other means.
class TUnicode;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TUnicode {
public:
    // Says what the functions do with malformed text. `strict` throws an exception. `replace` puts one U+FFFD in the
    // place of each fault. In UTF-8, there are two kinds of faults. The first is an incomplete character: all the
    // bytes that begin a well-formed character but are not continued by one. The second is any other byte that is no
    // part of a character. In 16-bit text, a fault is an unpaired surrogate, or a last byte that is half a unit.
    enum Faults { strict, replace };

    static TString FromUtf8(TString const &text, Faults faults = strict); // 16-bit text
    static TString ToUtf8(TString const &text, Faults faults = strict);   // narrow text

    // Returns the 1-based position of the first fault, or 0 if the text is well-formed. For narrow text, this is the
    // position in bytes at which the first fault begins. For 16-bit text, it is the position in 16-bit units of the
    // first unpaired surrogate, or of a last byte that is half a unit.
    static unsigned int FindFault(TString const &text) noexcept;

    // Switches the UTF-8 mode on or off, and returns whether it was on before. While the mode is on, narrow text counts
    // as UTF-8 wherever the library converts between narrow and 16-bit text for messages and trace lines, and the
    // narrow texts of language libraries are loaded as UTF-8. While the mode is off, narrow text is in the encoding of
    // the locale, except that Windows loads the narrow texts of language libraries in the system's code page. One trace
    // line can then contain both encodings.
    static int SetUtf8Mode(int on) noexcept;
    static int IsUtf8Mode() noexcept; // 1 or 0
};

#endif
