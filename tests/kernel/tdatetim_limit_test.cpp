// How dates look for a buffer that is large enough: this program has its own copy of the class, above a runtime that it
// directs.

#include "utility/TDATETIM.cpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::size_t fsNeeded = 0;          // bytes of the text, without its end
std::vector<std::size_t> fsLimits; // that were tried

std::string Format(std::size_t length) {
    return std::string(length, 'x');
}

} // namespace

long platform::TimeZone() noexcept {
    return 0;
}
std::int64_t platform::CurrentTime() noexcept {
    return 0;
}
int platform::LocalZone() noexcept {
    return 0;
}
bool platform::UtcRecord(std::int64_t, std::tm &record) noexcept {
    record = {};
    return true;
}
std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *, std::tm const &) noexcept {
    fsLimits.push_back(size);
    if (fsNeeded == 0 || fsNeeded >= size)
        return 0;
    std::memset(buffer, 'y', fsNeeded);
    buffer[fsNeeded] = 0;
    return fsNeeded;
}

TEST(TDateTimeLimit, IsTheFormatAnd39BytesAndThenDoubles) {
    struct TRow {
        std::size_t format;
        std::size_t needed;
        std::vector<std::size_t> limits;
    };
    TRow const rows[] = {{2, 40, {41}},
                         {2, 41, {41, 82}},
                         {2, 81, {41, 82}},
                         {2, 82, {41, 82, 164}},
                         {61, 350, {100, 200, 400}},
                         {100000, 100038, {100039}},
                         {100000, 100039, {100039, 200078}},
                         {100000, 300000, {100039, 200078, 400156}}};
    for (TRow const &row : rows) {
        fsLimits.clear();
        fsNeeded = row.needed;
        TString const text = TDateTime(1, 0).QueryString(Format(row.format).c_str());
        EXPECT_EQ(std::string(static_cast<char const *>(text), text.length()), std::string(row.needed, 'y'));
        EXPECT_EQ(fsLimits, row.limits) << row.format << ' ' << row.needed;
    }
}

TEST(TDateTimeLimit, ATextThatNeverComesIsNil) {
    struct TRow {
        std::size_t format;
        std::size_t tries;
        std::size_t last;
    };
    TRow const rows[] = {
        {1, 12, 81920}, {985, 7, 65536}, {2009, 7, 131072}, {8388569, 6, 268435456}, {300000000, 1, 300000039}};
    fsNeeded = 0;
    for (TRow const &row : rows) {
        fsLimits.clear();
        EXPECT_TRUE(TDateTime(1, 0).QueryString(Format(row.format).c_str()).IsNilString());
        EXPECT_EQ(fsLimits.size(), row.tries) << row.format;
        EXPECT_EQ(fsLimits.back(), row.last) << row.format;
    }
}
