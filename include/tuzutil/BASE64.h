#ifndef TUZUTIL_BASE64_H
#define TUZUTIL_BASE64_H

// TBase64: text in the Base64 encoding of mail bodies (RFC 2045), made and read.
//
// Example:
//     TString line = TBase64::Encode("Man");  // "TWFu"
//     TString text = TBase64::Decode("TW Fu"); // "Man": blanks and line ends are skipped
//
// Ownership:  arguments are only read; results are new strings without flags.
// Threads:    any; there is no shared state.
// Failures:   TOutOfMemory where there is no memory for the result. Malformed input gives garbage, never an error.
// Surprises:  characters outside the alphabet are not skipped, as RFC 2045 asks, but taken for the value 255: they
//             give wrong bytes there and shift what follows. Remove them first where they may occur. Encode ends a
//             line with LF (no CR) after every 18 groups of four characters, counting a padded last group: 52, 53 and
//             54 bytes all give 72 characters and LF. Decode is for text only: its result ends before the first zero
//             byte. Nothing in gives a nil string out, also for a null string.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TBase64 {
public:
    // The bytes of the string, all of its length, in Base64.
    static TString Encode(TString const &bytes);

    // The bytes that a Base64 text stands for, up to the first zero byte. Ends at "=" or at the end of the text, where
    // an incomplete group gives what is complete: two characters one byte, three characters two. ASCII white space is
    // skipped; any other character outside the alphabet is taken for the value 255.
    static TString Decode(TString const &text);
};

#endif
