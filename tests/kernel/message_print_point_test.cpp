// Reals in a locale whose decimal point is no ASCII character: this program has its own copy of the formatter, above a
// runtime that it directs.

#include "utility/kernel/message_print.cpp"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <optional>
#include <string>

// What no format here needs.
void TMessageFaults::Report(Fault, char, std::uint32_t) const {
    ADD_FAILURE() << "a fault";
}

platform::TPrintfHabits const platform::printfHabits = {};

namespace {

// The point: the Arabic one where the encoding has it, else one of Latin 1.
struct Point {
    Point() {
        std::mbstate_t state = {};
        std::size_t const count = std::wcrtomb(bytes, character, &state);
        if (count == static_cast<std::size_t>(-1)) {
            character = 0xB7;
            bytes[0] = static_cast<char>(0xB7);
            length = 1;
        } else {
            length = count;
        }
    }

    wchar_t character = 0x66B;
    char bytes[MB_LEN_MAX];
    std::size_t length;
};

Point const *fsPoint;

class MessagePoint : public testing::Test {
protected:
    MessagePoint() : fBefore(std::setlocale(LC_CTYPE, nullptr)) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        fPoint.emplace();
        fsPoint = &*fPoint;
    }
    ~MessagePoint() override { std::setlocale(LC_CTYPE, fBefore.c_str()); }

    std::string const fBefore;
    std::optional<Point> fPoint;
};

TString Formatted(TString const &format, double value) {
    static TTextMessage const message;
    TagVar const argument(value);
    return PrintMessage(format, {&argument, 1, TMessageFaults(message)});
}

} // namespace

std::size_t platform::FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                                 double value) noexcept {
    char plain[600];
    int const count = std::snprintf(plain, sizeof plain, format, width, precision, value);
    std::string text(plain, static_cast<std::size_t>(count));
    text.replace(text.find_first_of(".,"), 1, fsPoint->bytes, fsPoint->length);
    EXPECT_LT(text.size(), size);
    std::memcpy(buffer, text.data(), text.size());
    return text.size();
}

TEST_F(MessagePoint, IsOneCharacterOfA16BitText) {
    TString const text = Formatted(u"<%8.2f>", -1.5);
    ASSERT_EQ(text.length(), 20u);
    unsigned short const *const units = text;
    unsigned short const expected[] = {'<', ' ', ' ', ' ', '-', '1', static_cast<unsigned short>(fPoint->character),
                                       '5', '0', '>'};
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(units[i], expected[i]) << i;
}

TEST_F(MessagePoint, IsItsBytesInANarrowText) {
    TString const text = Formatted("<%8.2f>", -1.5);
    EXPECT_EQ(std::string(static_cast<char const *>(text), text.length()),
              "<   -1" + std::string(fPoint->bytes, fPoint->length) + "50>");
}
