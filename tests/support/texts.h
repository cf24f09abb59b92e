#ifndef TUZUTIL_TESTS_SUPPORT_TEXTS_H
#define TUZUTIL_TESTS_SUPPORT_TEXTS_H

// Makes all short texts, and random long texts. The texts consist of bytes that have a meaning in line-oriented
// protocols.

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace support {

constexpr std::string_view fsProtocolBytes = ".\r\nx";

// Calls `visit` with each text of these bytes up to the given length, beginning with the empty text.
template <typename F>
void ForEveryText(std::size_t length, F visit, std::string_view bytes = fsProtocolBytes) {
    std::string text;
    for (std::size_t size = 0; size <= length; ++size) {
        text.assign(size, bytes[0]);
        std::string digits(size, '\0');
        for (bool more = true; more;) {
            visit(static_cast<std::string const &>(text));
            more = false;
            for (std::size_t i = 0; i < size && !more; ++i) {
                more = static_cast<std::size_t>(++digits[i]) < bytes.size();
                if (!more)
                    digits[i] = 0;
                text[i] = bytes[static_cast<std::size_t>(digits[i])];
            }
        }
    }
}

// Makes random numbers, which are the same on every machine.
class TRandom {
public:
    std::size_t Below(std::size_t end) { return fEngine() % end; }
    std::size_t Between(std::size_t first, std::size_t last) { return first + Below(last - first + 1); }

private:
    std::mt19937 fEngine{4711};
};

// Returns a random text. About `common` percent of its bytes are x, in runs. The other bytes are random.
inline std::string RandomText(TRandom &random, std::size_t size, std::size_t common,
                              std::string_view bytes = fsProtocolBytes) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
        text += random.Below(100) < common ? 'x' : bytes[random.Below(bytes.size())];
    return text;
}

} // namespace support

#endif
