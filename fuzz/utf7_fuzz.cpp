// Decodes any bytes as modified UTF-7, and encodes the result. If this text is decoded, the result must be the same. If
// the bytes are canonical, the encoded text must be equal to them. Then takes any bytes for UTF-8. After the faults are
// replaced, the text must be well-formed, and must not change when it is converted to 16-bit text and back. If the
// bytes have no fault, replacing must not change them.

#include "tuzutil/UTF7.h"

#include "bounds.h"

#include <cstdlib>

// A text in UTF-7, UTF-16 and UTF-8.
TBounds const fsBounds{16 << 10, 40, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    TString const text(data, static_cast<unsigned int>(size), ' ');
    TString const name = TModifiedUTF7::Decode(text);
    if (TModifiedUTF7::Decode(TModifiedUTF7::Encode(name)) != name)
        std::abort();
    if (TModifiedUTF7::IsCanonical(text) && TModifiedUTF7::Encode(name) != text)
        std::abort();
    TString const valid = TUnicode::ToUtf8(text, TUnicode::replace);
    if (TUnicode::FindFault(valid) != 0 || TUnicode::ToUtf8(TUnicode::FromUtf8(valid)) != valid)
        std::abort();
    if ((TUnicode::FindFault(text) == 0) != (valid == text))
        std::abort();
    TString wide(data, static_cast<unsigned int>(size), ' ');
    wide.SetUnicode(1);
    TString const back = TModifiedUTF7::Decode(TModifiedUTF7::Encode(wide));
    if (size >= 2 && back != wide.subString(1, static_cast<unsigned int>(size & ~std::size_t{1})))
        std::abort();
    if (TUnicode::FindFault(TUnicode::ToUtf8(wide, TUnicode::replace)) != 0)
        std::abort();
    return 0;
}
