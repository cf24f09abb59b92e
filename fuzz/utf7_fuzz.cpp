// Modified UTF-7 from any bytes: a decoded name, encoded again, decodes to itself.

#include "tuzutil/UTF7.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(unsigned char const *data, std::size_t size) {
    TString const text(data, static_cast<unsigned int>(size), ' ');
    TString const name = TModifiedUTF7::Decode(text);
    if (TModifiedUTF7::Decode(TModifiedUTF7::Encode(name)) != name)
        std::abort();
    TString wide(data, static_cast<unsigned int>(size), ' ');
    wide.SetUnicode(1);
    TString const back = TModifiedUTF7::Decode(TModifiedUTF7::Encode(wide));
    if (size >= 2 && back != wide.subString(1, static_cast<unsigned int>(size & ~std::size_t{1})))
        std::abort();
    return 0;
}
