#ifndef TUZUTIL_CRAMMD5_H
#define TUZUTIL_CRAMMD5_H

// CalculateCramMD5: the digest with which a client answers the challenge of a CRAM-MD5 login (RFC 2195).
//
// Example:
//     TStringAndWipe secret("tanstaaftanstaaf");
//     TString challenge("<1896.697170952@postoffice.reston.mci.net>");
//     TString digest = CalculateCramMD5::Calc(secret, challenge); // "b913a602c7eda7a495b4e6e7334d3890"
//
// Ownership:  arguments are only read; the result is a new string. Copies of the secret made on the way are zeroed.
// Threads:    any; there is no shared state.
// Failures:   TOutOfMemory where there is no memory for the result.
// Surprises:  the challenge is passed decoded from Base64, and the user name in front of the digest is the caller's.
//             A secret of more than 64 bytes is reduced to the MD5 of its bytes before the first zero byte.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API CalculateCramMD5 {
public:
    // HMAC-MD5 of the challenge under the secret, as 32 lower-case hexadecimal digits.
    static TString Calc(TString secret, TString challenge);
};

#endif
