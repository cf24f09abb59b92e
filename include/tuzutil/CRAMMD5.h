#ifndef TUZUTIL_CRAMMD5_H
#define TUZUTIL_CRAMMD5_H

// CalculateCramMD5: the digest with which a client answers the challenge of a CRAM-MD5 login (RFC 2195).
//
// Example:
//     TStringAndWipe secret("tanstaaftanstaaf");
//     TString challenge("<1896.697170952@postoffice.reston.mci.net>");
//     TString digest = CalculateCramMD5::Calc(secret, challenge); // "b913a602c7eda7a495b4e6e7334d3890"
//
// Ownership:  Calc() only reads its arguments and returns a new string. Before it returns, Calc() zeroes its own copies
//             of the secret's bytes.
// Threads:    Any thread may call Calc(); there is no shared state.
// Failures:   TOutOfMemory if there is no memory for the result.
// Surprises:
// - The challenge must be decoded from Base64 before the call. To answer, the client joins the user name, a blank and
//   the digest, and sends the Base64 form of this text.
// - If the secret has more than 64 bytes, Calc() uses the MD5 of its bytes before the first zero byte as the key.
class CalculateCramMD5;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API CalculateCramMD5 {
public:
    // Returns the HMAC-MD5 of the challenge, keyed with the secret, as 32 lower-case hexadecimal digits.
    static TString Calc(TString secret, TString challenge);
};

#endif
