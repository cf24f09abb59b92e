#ifndef TUZUTIL_UTF7_H
#define TUZUTIL_UTF7_H

// TModifiedUTF7: converts mailbox names between Unicode and the modified UTF-7 of the IMAP standard (RFC 3501).
//
// Example:
//     TString name(u"Entw\u00FCrfe");
//     TString wire = TModifiedUTF7::Encode(name); // "Entw&APw-rfe"
//     TString back = TModifiedUTF7::Decode(wire); // 16-bit text, equal to name
//
// Ownership:  The functions only read their arguments and return new strings.
// Threads:    Any thread may call them; there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result. Malformed input gives some name, never an error.
// Surprises:
// - Many texts decode to the same name, so compare names in their decoded form.
// - A decoded name has the Unicode flag even if it is empty. Zero characters are kept in both directions.
// - The bytes of a narrow string are encoded as if they were the characters U+0000 to U+00FF.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TModifiedUTF7 {
public:
    // Returns the modified UTF-7 form of a Unicode string as narrow text. An odd final byte of 16-bit text is ignored.
    static TString Encode(TString name);

    // Returns the 16-bit text that a modified UTF-7 text encodes. A run of encoded characters begins at "&" and ends at
    // "-", or at the end of the text. A character of a run that is not in the alphabet counts as its low six bits.
    static TString Decode(TString text);
};

#endif
