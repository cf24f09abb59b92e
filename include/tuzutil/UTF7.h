#ifndef TUZUTIL_UTF7_H
#define TUZUTIL_UTF7_H

// TModifiedUTF7: converts mailbox names between Unicode and the modified UTF-7 of the IMAP standard (RFC 3501).
//
// Example:
//     TString name(u"Entw\u00FCrfe");
//     TString wire = TModifiedUTF7::Encode(name); // "Entw&APw-rfe"
//     TString back = TModifiedUTF7::Decode(wire); // 16-bit text, equal to name
//     TString utf8 = TModifiedUTF7::DecodeUtf8(wire);             // the same name as UTF-8
//     int good = TModifiedUTF7::IsCanonical("Entw&APw-rfe&AC8-"); // 0: "&AC8-" is "/"
//
// Ownership:  The functions only read their arguments and return new strings.
// Threads:    Any thread may call the functions; there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result. Decode() accepts any text. EncodeUtf8() throws if its
//             argument is malformed, and DecodeUtf8() if the decoded name has an unpaired surrogate. With
//             TUnicode::replace, neither function throws for a fault.
// Surprises:
// - Many texts decode to the same name, so compare names in their decoded form, or accept only texts for which
//   IsCanonical() returns 1.
// - A decoded name has the Unicode flag even if it is empty. Zero characters are kept in both directions.
// - The bytes of a narrow string are encoded as if they were the characters U+0000 to U+00FF.
class TModifiedUTF7;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"
#include "tuzutil/UNICODE.h"

class TUZUTIL_API TModifiedUTF7 {
public:
    // Returns the modified UTF-7 form of a Unicode string as narrow text. An odd final byte of 16-bit text is ignored.
    static TString Encode(TString name);

    // Returns the 16-bit text that a modified UTF-7 text encodes. A run of encoded characters begins at "&" and ends at
    // "-", or at the end of the text. The alphabet of a run is A-Z, a-z, 0-9, "+" and ",". Any other byte in a run
    // counts as the low six bits of its own value.
    static TString Decode(TString text);

    // These functions convert names in UTF-8: EncodeUtf8() takes the name as UTF-8 or as 16-bit text, and DecodeUtf8()
    // returns it as UTF-8. With TUnicode::replace, faults become U+FFFD. With `strict`, the functions throw
    // TInvalidRequest: "Malformed UTF-8 at byte N" for a narrow name, and "Unpaired surrogate at character N" for a
    // 16-bit or a decoded name.
    static TString EncodeUtf8(TString const &name, TUnicode::Faults faults = TUnicode::strict);
    static TString DecodeUtf8(TString const &text, TUnicode::Faults faults = TUnicode::strict);

    // Returns whether the text is canonical. It is canonical if it is exactly what Encode() makes of some name that has
    // no zero characters and no unpaired surrogates. If `fault` is not null, the function stores in it the 1-based
    // position of the first fault, or 0 if there is none. This position is that of:
    // - outside a run: a byte that is not printable ASCII,
    // - in a run: a byte outside the alphabet,
    // - in a run: the first byte that carries bits of a decoded character, if this character is zero, printable ASCII
    //   or an unpaired surrogate,
    // - the "&" of a run that directly follows another run,
    // - the last byte of a run, before the "-", if the bits that are left over are not all zero, or are six or more,
    // - the end of the text plus 1, if a run is not closed.
    static int IsCanonical(TString const &text, unsigned int *fault = nullptr) noexcept;
};

#endif
