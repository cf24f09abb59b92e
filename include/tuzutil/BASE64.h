#ifndef TUZUTIL_BASE64_H
#define TUZUTIL_BASE64_H

// TBase64: encodes bytes in the Base64 form of mail bodies (RFC 2045) and decodes them.
//
// Example:
//     TString line = TBase64::Encode("Man");  // "TWFu"
//     TString text = TBase64::Decode("TW Fu"); // "Man": blanks and line ends are skipped
//
// Ownership:  The functions only read their arguments and return new strings without flags.
// Threads:    Any thread may call them; there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result. Malformed input gives garbage, never an error.
// Surprises:
// - A character outside the alphabet is not skipped, as RFC 2045 asks, but counts as the value 255: it yields wrong
//   bytes and shifts what follows. Remove such characters first if they can occur.
// - Decode() is for text only: its result ends before the first zero byte.
// - An empty or null string gives a nil string.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TBase64 {
public:
    // Encodes all bytes of the string, zero bytes too. A line ends with LF (no CR) after every 18 groups of four
    // characters. A padded last group counts: 52, 53 and 54 bytes all give 72 characters and LF.
    static TString Encode(TString const &bytes);

    // Decodes a text up to "=" or to its end, and cuts the result before the first zero byte. An incomplete last group
    // gives its complete bytes: two characters give one byte, three give two. Decode() skips ASCII white space and
    // takes any other character outside the alphabet for the value 255.
    static TString Decode(TString const &text);
};

#endif
