// Values and messages in binary form whose lengths and numbers were falsified, one at a time, at every byte of the
// form. Whatever the data announce, the reader asks for a bounded amount of memory, and ends with a result or with the
// described failure.

#include "tuzutil/BINSTRM.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TXTMSG.h"

#include "support/FailingMemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>

namespace {

// At most 64 KiB are allocated before the bytes of a text arrive, plus the header of the text. The text of a message is
// composed in a buffer of its own, which is doubled when it grows.
constexpr std::size_t fsMostAtOnce = 0x10000 + 64;
constexpr std::size_t fsMostOfAText = 0x40000 + 64;

constexpr std::uint32_t fsNumbers[] = {
    0,          1,          2,          0x7F,       0x80,       0xFF,       0x100,      0x7FFF,     0x8000,
    0xFFFF,     0x10000,    0x10001,    0x3FFFFFFF, 0x40000000, 0x40000001, 0x7FFFFFFE, 0x7FFFFFFF, 0x80000000,
    0x80000001, 0xFFFFFFEF, 0xFFFFFFF0, 0xFFFFFFF1, 0xFFFFFFF8, 0xFFFFFFFC, 0xFFFFFFFE, 0xFFFFFFFF};

// Replaces the four bytes at each offset by each number in each order, and passes the result to `read`.
template <typename Read>
void Falsify(std::string const &bytes, Read read) {
    for (std::size_t at = 0; at + 4 <= bytes.size(); ++at) {
        for (std::uint32_t const number : fsNumbers) {
            for (bool const isReversed : {false, true}) {
                std::uint32_t const stored = isReversed ? __builtin_bswap32(number) : number;
                std::string falsified = bytes;
                std::memcpy(falsified.data() + at, &stored, sizeof stored);
                SCOPED_TRACE(std::to_string(number) + " at " + std::to_string(at) + (isReversed ? " reversed" : ""));
                read(falsified);
                if (testing::Test::HasFailure())
                    return;
            }
        }
    }
}

template <typename Object>
std::string Written(Object const &object, int networkOrder) {
    std::ostringstream sink;
    ToBinaryStream out(sink, networkOrder);
    object.WriteToBinaryStream(out);
    return sink.str();
}

TTextMessage Message() {
    return TTextMessage("a %s %u %s %s %d of it", TagVar("text"), TagVar(7u), TagVar(u"wide"), TagVar(TDateTime(1, 2)),
                        TagVar(TagVarVoidPtr()));
}

class HostileLengths : public testing::TestWithParam<int> {};

TEST_P(HostileLengths, InAStringTakeNoMemory) {
    std::ostringstream sink;
    ToBinaryStream out(sink, GetParam());
    out << TString("text of a string");
    Falsify(sink.str(), [](std::string const &bytes) {
        std::istringstream source(bytes);
        TiBinaryStream in(source, GetParam());
        TString text;
        memory::TakeLargest();
        EXPECT_NO_THROW(in >> text);
        EXPECT_LE(memory::TakeLargest(), fsMostAtOnce);
        EXPECT_LE(text.length(), 16u);
    });
}

TEST_P(HostileLengths, InAValueTakeNoMemory) {
    for (TagVar const &value : {TagVar("text"), TagVar(u"wide"), TagVar(TDateTime(1, 2)), TagVar(TagVarVoidPtr())}) {
        Falsify(Written(value, GetParam()), [](std::string const &bytes) {
            std::istringstream source(bytes);
            TiBinaryStream in(source, GetParam());
            TagVar read;
            memory::TakeLargest();
            try {
                read.ReadFromBinaryStream(in);
            } catch (TInvalidRequest const &problem) {
                EXPECT_STREQ(problem.text(0), "unknown type");
            }
            EXPECT_LE(memory::TakeLargest(), fsMostAtOnce);
        });
    }
}

TEST_P(HostileLengths, InAMessageTakeNoMemory) {
    Falsify(Written(Message(), GetParam()), [](std::string const &bytes) {
        std::istringstream source(bytes);
        TiBinaryStream in(source, GetParam());
        TTextMessage read;
        memory::TakeLargest();
        try {
            read.ReadFromBinaryStream(in);
        } catch (TInvalidRequest const &problem) {
            EXPECT_STREQ(problem.text(0), "unknown type");
        }
        EXPECT_LE(memory::TakeLargest(), fsMostAtOnce);
        EXPECT_NE(read.QueryMessage().length(), 0u);
        EXPECT_LE(memory::TakeLargest(), fsMostOfAText);
    });
}

// gcount() then tells that only the length was read, and the text is still there.
TEST_P(HostileLengths, OfATextForWhichThereIsNoMemoryAreReadAlone) {
    std::ostringstream sink;
    ToBinaryStream out(sink, GetParam());
    out << TString(nullptr, 1000, 'x') << TString(nullptr, 1000, 'y');
    std::istringstream source(sink.str());
    TiBinaryStream in(source, GetParam());
    TString text;
    in >> text;
    EXPECT_EQ(in.gcount(), 1000);
    TString next;
    memory::FailFrom(1);
    EXPECT_THROW(in >> next, TOutOfMemory);
    memory::Stop();
    EXPECT_EQ(in.gcount(), 4);
    EXPECT_EQ(source.get(), 'y');
}

INSTANTIATE_TEST_SUITE_P(InEachOrder, HostileLengths, testing::Values(0, 1));

} // namespace
