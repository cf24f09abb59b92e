// Reads any bytes line by line with a buffer of any size. The results must be those of the model. Then reads the bytes
// through a TiConcatStream.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/LINESTRM.h"

#include "support/line_model.h"
#include "support/streams.h"

#include "bounds.h"

#include <cstdint>
#include <string_view>

namespace {

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

// Concatenates the two halves of the text. Both halves must be read to their ends. If the stream adds no CR LF, the
// result must not be longer than the text; otherwise it may have twice the length.
void Concatenate(std::string_view text, std::size_t split) {
    support::TSplitSource first(text.substr(0, text.size() / 2), split);
    support::TSplitSource second(text.substr(text.size() / 2), split);
    unsigned long const size = static_cast<unsigned long>(split);
    TConcatStreamBuf buffer(static_cast<int>(split % 2), size, first, second);
    std::string const all = support::ReadRuns(buffer, 1 + split);
    Require(all.size() <= 2 * text.size());
    Require(split % 2 || all.size() <= text.size());
    Require(first.rdstate() == std::ios::eofbit && second.rdstate() == std::ios::eofbit);
}

} // namespace

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const text(reinterpret_cast<char const *>(data) + 1, size - 1);
    ReadLines(text, data[0]);
    ReadLinesWithLimit(text, data[0]);
    Concatenate(text, data[0]);
    return 0;
}
