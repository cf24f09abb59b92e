#ifndef POP3D_SASL_H
#define POP3D_SASL_H

// Functions for logins: making challenges, computing and reading the answers to challenges, and comparing secrets.

#include "tuzutil/TSTRING.h"

#include <string>

namespace pop3d {

// Returns "<process.clock.count@localhost>". No two calls return the same text.
std::string NewTimestamp();

// Returns the digest that APOP sends, in lower-case hexadecimal digits. It is the MD5 digest of the timestamp followed
// by the secret.
TString ApopDigest(std::string const &timestamp, TString const &secret);

// If the lengths are equal, takes the same time whichever bytes differ.
bool IsSameSecret(TString const &a, TString const &b);

// The three texts of an AUTH PLAIN response. The response separates them with zero bytes.
struct PlainResponse {
    std::string authorization;
    std::string user;
    TStringAndWipe secret;

    // Returns false if the response is malformed, has no user or no secret, or asks to act for another user.
    bool Parse(char const *base64);
};

} // namespace pop3d

#endif
