// Reads any bytes line by line with a buffer of any size, and through concatenating streams. The results must be those
// of the models.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/LINESTRM.h"

#include "support/concat_model.h"
#include "support/line_model.h"
#include "support/streams.h"

#include "bounds.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::size_t LongestLine(std::string_view text) {
    std::size_t longest = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        longest = std::max(longest, end - begin);
        begin = end + 1;
    }
    return longest;
}

class TOpenBuf : public TLineStreamBuf {
public:
    using TLineStreamBuf::TLineStreamBuf;

    std::string_view Piece() {
        setg(eback(), egptr(), egptr());
        underflow();
        return std::string_view(gptr(), static_cast<std::size_t>(egptr() - gptr()));
    }
};

void ReadLines(std::string_view text, std::size_t split) {
    support::TSplitSource source(text, split);
    unsigned long const size = 500 + static_cast<unsigned long>(split % 16);
    TOpenBuf buffer(size, &source);
    for (std::string_view const piece : support::LinePieces(text, size - 12))
        Require(buffer.Piece() == piece);
    Require(buffer.Piece().empty());
    Require(buffer.QueryLinesRead() == support::LinesAtEnd(text));
    Require(source.rdstate() == std::ios::eofbit);
}

void ReadLinesWithLimit(std::string_view text, std::size_t split) {
    support::TSplitSource source(text, split);
    TLineStreamBuf buffer(500, &source);
    std::size_t const limit = 4 * split;
    Require(support::ReadLines(buffer, limit) == support::LinesRead(text, limit));
}

// Concatenates the two halves of the text. Both halves must be read to their ends, and the result must be that of the
// model. If lines are not delivered whole, the model holds for lines that are shorter than the buffer, less
// the room for a line end and for put back bytes.
void Concatenate(std::string_view text, std::size_t split, bool isWhole) {
    std::vector<std::string> const halves = {std::string(text.substr(0, text.size() / 2)),
                                             std::string(text.substr(text.size() / 2))};
    support::TSplitSource first(halves[0], split);
    support::TSplitSource second(halves[1], split);
    bool const crLf = split % 2 != 0;
    unsigned long const size = split % 4 < 2 ? 600 : static_cast<unsigned long>(split);
    TConcatStreamBuf buffer(crLf, size, first, second);
    buffer.SetWholeLines(isWhole);
    std::string const all = support::ReadRuns(buffer, 1 + split);
    if (isWhole)
        Require(all == support::ConcatenatedWhole(halves, crLf));
    else if (LongestLine(text) + 13 < size)
        Require(all == support::Concatenated(halves, crLf));
    Require(all.size() <= 2 * text.size() + 4);
    Require(first.rdstate() == std::ios::eofbit && second.rdstate() == std::ios::eofbit);
}

} // namespace

// The model keeps each line as a string of its own, and a line may be one byte long.
TBounds const fsBounds{96 << 10, 340, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const text(reinterpret_cast<char const *>(data) + 1, size - 1);
    ReadLines(text, data[0]);
    ReadLinesWithLimit(text, data[0]);
    Concatenate(text, data[0], false);
    Concatenate(text, data[0], true);
    return 0;
}
