#ifndef TUZUTIL_BASE64_H
#define TUZUTIL_BASE64_H

// TBase64: encodes bytes in the Base64 form of mail bodies (RFC 2045) and decodes them.
//
// Example:
//     TString line = TBase64::Encode("Man");  // "TWFu"
//     TString text = TBase64::Decode("TW Fu"); // "Man": blanks and line ends are skipped
//     TString bytes;
//     unsigned int fault;
//     bool isValid = TBase64::DecodeStrict("TWF*", bytes, &fault); // false; fault is 4, the position of "*"
//
// Ownership:  The functions return new strings. The results of Encode() and Decode() have no flags (TSTRING.h). The
//             results of the other functions have the wipe flag if the argument has it.
// Threads:    Any thread may call the functions; there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result. Only DecodeStrict() recognises malformed input.
//             Decode() and DecodeBinary() do not report a fault, and return whatever bytes the text gives.
// Surprises:
// - Encode() breaks its result into lines. If a protocol wants a single line, use EncodeLine().
// - RFC 2045 asks a decoder to skip characters outside the alphabet, but Decode() and DecodeBinary() take each of them
//   for the value 255. The bytes decoded after such a character are usually wrong. DecodeStrict() skips such characters
//   if it is called with ignoreForeign.
// - Decode() is for text only: its result ends before the first zero byte. DecodeBinary() keeps zero bytes.
// - An empty or null argument gives an empty string, never a null one.
class TBase64;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TBase64 {
public:
    // Encodes all bytes of the string, including zero bytes. Writes LF (without CR) after every 18 groups of four
    // characters. A padded last group counts as a group: 52, 53 and 54 bytes all give 72 characters and LF.
    static TString Encode(TString const &bytes);
    // Does the same as Encode(), but writes no LF and keeps the wipe flag.
    static TString EncodeLine(TString const &bytes);

    // Decodes the text up to its first "=", or the whole text if it has none. Cuts the result before its first zero
    // byte. An incomplete last group gives its complete bytes: two characters give one byte, three give two. White
    // space (ASCII) is skipped; any other character outside the alphabet is taken for the value 255.
    static TString Decode(TString const &text);
    // Does the same as Decode(), but returns all decoded bytes, including those after a zero byte, and keeps the wipe
    // flag.
    static TString DecodeBinary(TString const &text);

    // Says what DecodeStrict() does with a character that is neither in the alphabet nor "=".
    enum Foreign {
        refuseForeign, // the character is a fault, even a blank or a line end (RFC 4648)
        ignoreForeign  // the character is skipped, wherever it is (RFC 2045)
    };

    // Decodes a text if it is valid. A valid text consists of whole groups of four characters, not counting those that
    // are skipped. The last group is padded with "=" if necessary, and its unused bits are 0. An empty text is valid,
    // too. If the text is valid, the function replaces `bytes` and returns true. Otherwise it leaves `bytes` unchanged
    // and returns false. If `fault` is not null, the function stores in it the 1-based position of the first fault, or
    // 0 if there is none. The position is that of
    // - a character that is not allowed at its place,
    // - the last character before the padding, if its unused bits are not 0,
    // - the end of the text plus 1, if the last group is incomplete.
    [[nodiscard]] static bool DecodeStrict(TString const &text, TString &bytes, unsigned int *fault = nullptr,
                                           Foreign foreign = refuseForeign);
};

#endif
