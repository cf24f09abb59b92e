#ifndef TUZUTIL_UTF7_H
#define TUZUTIL_UTF7_H

// TModifiedUTF7: converts mailbox names between Unicode and the modified UTF-7 of the IMAP standard (RFC 3501).
//
// Example:
//     TString name(u"Entw\u00FCrfe");
//     TString wire = TModifiedUTF7::Encode(name); // "Entw&APw-rfe"
//     TString back = TModifiedUTF7::Decode(wire); // 16-bit text, equal to name
//     TString utf8 = TModifiedUTF7::DecodeUtf8(wire);             // the same name as UTF-8
//     int good = TModifiedUTF7::IsCanonical("Entw&APw-rfe&AC8-"); // 0: the last run hides a "/"
//
// Ownership:  The functions only read their arguments and return new strings.
// Threads:    Any thread may call them; there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result. Malformed input gives some name, never an error; only
//             the functions for UTF-8 throw, as TUnicode does, if a text has no such form.
// Surprises:
// - Many texts decode to the same name, so compare names in their decoded form, or accept canonical texts only.
// - A decoded name has the Unicode flag even if it is empty. Zero characters are kept in both directions.
// - The bytes of a narrow string are encoded as if they were the characters U+0000 to U+00FF.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"
#include "tuzutil/UNICODE.h"

class TUZUTIL_API TModifiedUTF7 {
public:
    // Returns the modified UTF-7 form of a Unicode string as narrow text. An odd final byte of 16-bit text is ignored.
    static TString Encode(TString name);

    // Returns the 16-bit text that a modified UTF-7 text encodes. A run of encoded characters begins at "&" and ends at
    // "-", or at the end of the text. A character of a run that is not in the alphabet counts as its low six bits.
    static TString Decode(TString text);

    // The same from and to UTF-8. EncodeUtf8() throws "Malformed UTF-8 at byte N", and DecodeUtf8() "Unpaired surrogate
    // at character N", unless faults are to be replaced by U+FFFD.
    static TString EncodeUtf8(TString const &name, TUnicode::Faults faults = TUnicode::strict);
    static TString DecodeUtf8(TString const &text, TUnicode::Faults faults = TUnicode::strict);

    // Whether a text is the one that Encode() makes of a name without zero characters and unpaired surrogates. Stores
    // the 1-based position of the first fault, or 0, in `*fault` if that is not null: of a byte that has to be encoded
    // or that is outside the alphabet, of the first byte of a character that is hidden in a run or not allowed, of the
    // "&" of a run that continues the run before it, of the last byte of a run that ends within a character or with
    // bits that are not zero, or the position after the text if a run is not closed.
    static int IsCanonical(TString const &text, unsigned int *fault = nullptr) noexcept;
};

#endif
