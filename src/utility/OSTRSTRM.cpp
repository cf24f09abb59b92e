// oStringStream: an output stream into one block from malloc(), which the caller may take over with str(). If there is
// no memory, the write fails. No lock is taken.

#include "tuzutil/OSTRSTRM.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <locale>

oStringStreamBuf::oStringStreamBuf(int step) : fStep(std::max(step, 1)) {}

oStringStreamBuf::~oStringStreamBuf() {
    if (!fFrozen)
        std::free(pbase());
}

char *oStringStreamBuf::str() {
    // If nothing was written, a block is allocated here. If there is no memory for it, the result is null.
    if (!pbase())
        overflow(traits_type::eof());
    freeze(1);
    return pbase();
}

// While the block is frozen, the put area ends after the bytes written. The area then has no room, so every write calls
// overflow(), which refuses the write.
void oStringStreamBuf::freeze(int frozen) {
    fFrozen = frozen != 0;
    int const used = pcount();
    setp(pbase(), pbase() + (fFrozen ? used : fSize));
    pbump(used);
}

int oStringStreamBuf::pcount() const noexcept {
    return static_cast<int>(pptr() - pbase());
}

std::streambuf::int_type oStringStreamBuf::overflow(int_type c) {
    if (fFrozen)
        return traits_type::eof();
    if (pptr() == epptr()) {
        std::size_t const used = static_cast<std::size_t>(pptr() - pbase());
        std::size_t const size = used + std::max(used, static_cast<std::size_t>(fStep));
        // No test gets here: the stream would have to hold 2 GiB.
        if (size > INT_MAX)
            return traits_type::eof();
        auto *const block = static_cast<char *>(std::realloc(pbase(), size));
        if (!block)
            return traits_type::eof();
        fSize = static_cast<int>(size);
        setp(block, block + size);
        pbump(static_cast<int>(used));
    }
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

oStringStream::oStringStream(int step) : std::ostream(nullptr), fBuf(step) {
    init(&fBuf);
    imbue(std::locale::classic());
}

oStringStream::~oStringStream() = default;
