#include "Sasl.h"

#include "System.h"

#include "tuzutil/BASE64.h"
#include "tuzutil/MD5.h"

#include <atomic>
#include <chrono>

namespace pop3d {

std::string NewTimestamp() {
    static std::atomic<unsigned long> count{0};
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    return "<" + std::to_string(ProcessId()) + "." + std::to_string(microseconds) + "." + std::to_string(++count) +
           "@localhost>";
}

TString ApopDigest(std::string const &timestamp, TString const &secret) {
    static char const digits[] = "0123456789abcdef";
    CalculateMD5 md5;
    char digest[16];
    md5.Write(timestamp.data(), static_cast<unsigned long>(timestamp.size()));
    md5.Write(static_cast<char *>(secret), secret.length());
    md5.Done(digest);
    TString hex(nullptr, 32, '0');
    for (int i = 0; i < 16; ++i) {
        auto const byte = static_cast<unsigned char>(digest[i]);
        hex[2 * i + 1] = digits[byte >> 4];
        hex[2 * i + 2] = digits[byte & 15];
    }
    return hex;
}

bool IsSameSecret(TString const &a, TString const &b) {
    if (a.length() != b.length())
        return false;
    unsigned int difference = 0;
    char const *const left = a;
    char const *const right = b;
    for (unsigned int i = 0; i < a.length(); ++i)
        difference |= static_cast<unsigned int>(left[i] ^ right[i]);
    return difference == 0;
}

bool PlainResponse::Parse(char const *base64) {
    TString bytes; // the Base64 text wipes its memory, so DecodeStrict() makes `bytes` wipe its memory too
    if (!TBase64::DecodeStrict(TStringAndWipe(base64), bytes))
        return false;
    unsigned int const first = bytes.indexOf('\0');
    unsigned int const second = first ? bytes.indexOf('\0', first + 1) : 0;
    if (second == 0 || bytes.indexOf('\0', second + 1) != 0)
        return false;
    authorization = std::string(bytes.left(first - 1));
    user = std::string(bytes.mid(first + 1, second - first - 1));
    secret = TStringAndWipe(bytes.mid(second + 1));
    return !user.empty() && !secret.empty() && (authorization.empty() || authorization == user);
}

} // namespace pop3d
