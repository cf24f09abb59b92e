// The input is a list of operations on two strings. Each operation is followed by its operands. The same operations are
// done with standard strings, and the results must be equal.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TSTRING.h"

#include "bounds.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

class TInput {
public:
    TInput(unsigned char const *data, std::size_t size) : fRest(reinterpret_cast<char const *>(data), size) {}

    bool IsAtEnd() const noexcept { return fRest.empty(); }
    unsigned int Byte() noexcept {
        if (fRest.empty())
            return 0;
        auto const byte = static_cast<unsigned char>(fRest[0]);
        fRest.remove_prefix(1);
        return byte;
    }
    std::string Text() noexcept {
        std::string_view const text = fRest.substr(0, Byte() % 40);
        fRest.remove_prefix(std::min(text.size(), fRest.size()));
        return std::string(text);
    }

private:
    std::string_view fRest;
};

constexpr std::size_t fsLongest = 1000;

struct TPair {
    TString ours{""};
    std::string model;
};

unsigned int Found(std::size_t position) noexcept {
    return position == std::string::npos ? 0 : static_cast<unsigned int>(position + 1);
}

void Change(TPair &pair, TInput &input) {
    unsigned int const start = input.Byte() % 50 + 1;
    unsigned int const count = input.Byte() % 50;
    std::size_t const from = std::min<std::size_t>(start - 1, pair.model.size());
    switch (input.Byte() % 8) {
    case 0: {
        std::string const text = input.Text();
        pair.ours += text;
        pair.model += text;
        break;
    }
    case 1:
        pair.ours.remove(start, count);
        pair.model.erase(from, count);
        break;
    case 2:
        pair.ours = pair.ours.mid(start, count);
        pair.model = pair.model.substr(from, count);
        break;
    case 3:
        pair.ours = pair.ours.subString(start, count, 'p');
        pair.model = pair.model.substr(from, count);
        pair.model.resize(count, 'p');
        break;
    case 4:
        pair.ours[start] = 'x';
        pair.model.resize(std::max<std::size_t>(pair.model.size(), start));
        pair.model[start - 1] = 'x';
        break;
    case 5:
        pair.ours = pair.ours.right(count);
        pair.model = pair.model.substr(pair.model.size() - std::min<std::size_t>(count, pair.model.size()));
        break;
    case 6: {
        TString const same = pair.ours; // this copy shares the buffer and must not change
        std::string const before(same);
        pair.ours += 'y';
        pair.model += 'y';
        Require(same == before);
        break;
    }
    default:
        pair.ours = pair.ours + pair.ours;
        pair.model += pair.model;
        break;
    }
    if (pair.model.size() > fsLongest) {
        pair.ours.remove(fsLongest + 1);
        pair.model.resize(fsLongest);
    }
    pair.ours.MakeUnique(); // case 4 writes through the pointer
    Require(pair.ours == pair.model && pair.ours.view() == pair.model);
    Require(pair.ours.c_str()[pair.ours.length()] == '\0');
}

void Query(TPair const &pair, TPair const &other, TInput &input) {
    auto const c = static_cast<char>(input.Byte());
    Require(pair.ours.indexOf(c) == Found(pair.model.find(c)));
    Require(pair.ours.lastIndexOf(c) == Found(pair.model.rfind(c)));
    Require((pair.ours < other.ours) == (pair.model < other.model));
    Require((pair.ours == other.ours) == (pair.model == other.model));
    std::string joined;
    for (TString const &piece : pair.ours.split(c))
        joined += (joined.empty() ? "" : std::string(1, c)) + std::string(piece);
    Require(pair.model.find(c) == 0 || joined == pair.model);
    std::string const set = input.Text().c_str();
    std::string const zeroless = pair.model.c_str();
    TString const text(zeroless);
    Require(text.indexOfAnyOf(set.c_str()) == Found(zeroless.find_first_of(set)));
    Require(text.indexOfAnyBut(set.c_str()) == Found(zeroless.find_first_not_of(set)));
    Require(set.empty() || text.indexOf(set.c_str()) == Found(zeroless.find(set)));
    Require(text.isDigits() == (zeroless.find_first_not_of("0123456789") == std::string::npos));
}

} // namespace

// The two strings have at most fsLongest bytes, and may be split into as many pieces. Each byte of the input is an
// operation.
TBounds const fsBounds{128 << 10, 16, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    TInput input(data, size);
    TPair pairs[2];
    while (!input.IsAtEnd()) {
        unsigned int const which = input.Byte();
        Change(pairs[which & 1], input);
        Query(pairs[which & 1], pairs[~which & 1], input);
    }
    return 0;
}
