// Reads values in their binary form from any bytes, in both byte orders. Reading must end. Each value that was read is
// written, and must be the same value after it is read again.

#include "tuzutil/BINSTRM.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TAGVAR.h"

#include "bounds.h"

#include <sstream>
#include <string>

namespace {

std::string Written(TagVar const &value, int networkOrder) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes, networkOrder);
    value.WriteToBinaryStream(out);
    return bytes.str();
}

void ReadValues(std::string const &bytes, int networkOrder) {
    std::istringstream source(bytes);
    TiBinaryStream in(source, networkOrder);
    for (std::size_t count = 0; source.good() && count <= bytes.size(); ++count) {
        TagVar value;
        try {
            value.ReadFromBinaryStream(in);
        } catch (TInvalidRequest const &) {
            return; // the kind of the value does not exist
        }
        if (!source)
            return;
        if (!value.IsType(TagVar::date) && !value.IsType(TagVar::time)) { // values of these kinds have no text
            std::ostringstream shown;
            value.StreamOut(shown);
        }
        std::string const form = Written(value, networkOrder);
        std::istringstream again(form);
        TiBinaryStream repeated(again, networkOrder);
        TagVar copy;
        copy.ReadFromBinaryStream(repeated);
        Require(Written(copy, networkOrder) == form);
    }
}

void ReadStrings(std::string const &bytes, int networkOrder) {
    std::istringstream source(bytes);
    TiBinaryStream in(source, networkOrder);
    std::size_t total = 0;
    while (source.good()) {
        TString text; // a new one, because an empty string in the stream leaves the former text of the target
        in >> text;
        total += source ? text.length() : 0;
        int number = 0;
        in >> number;
    }
    Require(total <= bytes.size());
}

} // namespace

// A value and its copies; a length that the input announces is not believed.
TBounds const fsBounds{160 << 10, 24, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string const bytes(reinterpret_cast<char const *>(data + 1), size - 1);
    ReadValues(bytes, data[0] & 1);
    ReadStrings(bytes, data[0] & 1);
    return 0;
}
