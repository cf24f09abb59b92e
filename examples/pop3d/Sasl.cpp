#include "Sasl.h"

#include "System.h"

#include "tuzutil/BASE64.h"
#include "tuzutil/MD5.h"

#include <atomic>
#include <chrono>
#include <cstring>

namespace pop3d {

std::string NewTimestamp() {
    static std::atomic<unsigned long> count{0};
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    return "<" + std::to_string(ProcessId()) + "." + std::to_string(microseconds) + "." + std::to_string(++count) +
           "@localhost>";
}

TString EncodeLine(TString const &bytes) {
    return TBase64::Encode(bytes).change("\n", "");
}

TString ApopDigest(std::string const &timestamp, TString const &secret) {
    static char const digits[] = "0123456789abcdef";
    CalculateMD5 md5;
    char digest[16];
    md5.Write(timestamp.data(), timestamp.size());
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

namespace {

int Sextet(char c) {
    static char const alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    char const *const at = c ? std::strchr(alphabet, c) : nullptr;
    return at ? static_cast<int>(at - alphabet) : -1;
}

// TBase64::Decode is for texts and ends at a zero byte, which is just what divides this response.
bool DecodeStrictly(char const *base64, TStringAndWipe &bytes) {
    std::size_t const length = std::strlen(base64);
    if (length == 0 || length % 4 != 0)
        return false;
    std::size_t const padding = base64[length - 1] != '=' ? 0 : base64[length - 2] != '=' ? 1 : 2;
    auto const size = static_cast<unsigned int>(length / 4 * 3 - padding);
    bytes = TStringAndWipe(TString(nullptr, size, '\0'));
    char *const to = bytes;
    unsigned int bits = 0;
    unsigned int written = 0;
    for (std::size_t i = 0; i < length - padding; ++i) {
        int const value = Sextet(base64[i]);
        if (value < 0)
            return false;
        bits = bits << 6 | static_cast<unsigned int>(value);
        if (i % 4 != 0 && written < size)
            to[written++] = static_cast<char>(bits >> (6 - 2 * (i % 4)));
    }
    return true;
}

} // namespace

bool PlainResponse::Parse(char const *base64) {
    TStringAndWipe bytes;
    if (!DecodeStrictly(base64, bytes))
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
