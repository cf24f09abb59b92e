#ifndef TUZUTIL_WORD32
#define TUZUTIL_WORD32

// Words of 32 bits that an interface passes as `unsigned long`, which has 64 bits on some systems. Whoever takes one
// asks here whether it fits.

#include <cstdint>

namespace word32 {

inline bool Fits(unsigned long value) noexcept {
    return static_cast<std::uint32_t>(value) == value;
}

// A mask may also come from an int, with its upper half full of the sign: ~0, or 1 << 31.
inline bool FitsMask(unsigned long value) noexcept {
    return Fits(value) || static_cast<unsigned long>(static_cast<long>(static_cast<std::int32_t>(value))) == value;
}

} // namespace word32

#endif
