#ifndef POP3D_SASL_H
#define POP3D_SASL_H

// What the logins need: challenges, their answers, and comparisons that take the same time whatever differs.

#include "tuzutil/TSTRING.h"

#include <string>

namespace pop3d {

// "<process.clock.count@host>", never the same twice.
std::string NewTimestamp();

// The lower-case hexadecimal digest that APOP sends: MD5 of the timestamp and the secret behind it.
TString ApopDigest(std::string const &timestamp, TString const &secret);

bool IsSameSecret(TString const &a, TString const &b);

// The three texts of an AUTH PLAIN response, which zero bytes divide.
struct PlainResponse {
    std::string authorization;
    std::string user;
    TStringAndWipe secret;

    bool Parse(char const *base64); // false where it is malformed
};

} // namespace pop3d

#endif
