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
// - RFC 2045 asks a decoder to skip characters outside the alphabet, but Decode() takes each of them for the value 255.
//   The decoded bytes are then wrong from that character on. Remove such characters before the call.
// - Decode() is for text only: its result ends before the first zero byte.
// - An empty or null argument gives an empty string, never a null one.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TBase64 {
public:
    // Encodes all bytes of the string, including zero bytes. Writes LF (without CR) after every 18 groups of four
    // characters. A padded last group counts too: 52, 53 and 54 bytes all give 72 characters and LF.
    static TString Encode(TString const &bytes);

    // Decodes the text up to its first "=", or the whole text if it has none. Cuts the result before its first zero
    // byte. An incomplete last group gives its complete bytes: two characters give one byte, three give two. White
    // space (ASCII) is skipped; any other character outside the alphabet is taken for the value 255.
    static TString Decode(TString const &text);
};

#endif
