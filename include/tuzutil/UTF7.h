#ifndef TUZUTIL_UTF7_H
#define TUZUTIL_UTF7_H

// TModifiedUTF7: mailbox names between Unicode and the modified UTF-7 of the IMAP standard (RFC 3501).
//
// Example:
//     TString name(u"Entw\u00FCrfe");
//     TString wire = TModifiedUTF7::Encode(name); // "Entw&APw-rfe"
//     TString back = TModifiedUTF7::Decode(wire); // 16-bit text, equal to name
//
// Ownership:  arguments are only read; results are new strings.
// Threads:    any; there is no shared state.
// Failures:   TOutOfMemory where there is no memory for the result. Malformed input gives some name, never an error:
//             many texts decode to one name, so compare names in their decoded form.
// Surprises:  a decoded name is flagged Unicode even if it is empty. Zero characters are kept both ways. A narrow
//             string is encoded as if its bytes were the characters U+0000 to U+00FF.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TModifiedUTF7 {
public:
    // The modified UTF-7 form of a Unicode string, as narrow text. An odd final byte of 16-bit text is ignored.
    static TString Encode(TString name);

    // The 16-bit text that a modified UTF-7 text stands for. A run of encoded characters without its closing "-" ends
    // with the text; a character outside the alphabet counts with its low six bits.
    static TString Decode(TString text);
};

#endif
