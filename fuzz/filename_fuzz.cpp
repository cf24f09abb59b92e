// Takes any bytes for file names, both narrow and 16-bit. If the parts of a name are joined, the result must be the
// name. If two names are joined, there must be exactly one delimiter between them.

#include "tuzutil/FILENAME.h"

#include "bounds.h"

namespace {

void Split(TFileName const &name) {
    TString const &delim = name.IsUnicode() ? TFileName::QueryDelimUnicode() : TFileName::QueryDelimLocal();
    TString const &whole = name;
    if (name.QueryFirstRest().IsNull()) {
        Require(static_cast<TString const &>(name.QueryFirstName()) == whole);
        Require(static_cast<TString const &>(name.QueryName()) == whole);
    } else {
        Require(name.QueryFirstName() + delim + name.QueryFirstRest() == whole);
        Require(name.QueryPath() + delim + name.QueryName() == whole);
    }
    TFileName const joined(name, name);
    bool const losesOne = name.IsDelimAtEnd() && name.IsDelimAtBegin();
    bool const needsOne = !name.IsDelimAtEnd() && !name.IsDelimAtBegin();
    Require(joined.length() + (losesOne ? delim.length() : 0) == 2 * whole.length() + (needsOne ? delim.length() : 0));
    Require(name.QueryDrive().length() <= whole.length() && name.IsFullPath() <= 1);
    TFileName fixed(name);
    Require(fixed.FixDelim().length() == whole.length() && name == TFileName(name));
    Require(!name.QueryNameLocal().IsUnicode() && name.QueryNameUnicode().IsUnicode());
    name.QueryNative();
}

} // namespace

// A name and its parts, each with one copy.
TBounds const fsBounds{16 << 10, 24, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    TString text(data, static_cast<unsigned int>(size), ' ');
    Split(text);
    text.SetUnicode(1);
    if (size % 2 == 0)
        Split(text);
    return 0;
}
