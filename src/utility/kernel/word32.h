#ifndef TUZUTIL_WORD32
#define TUZUTIL_WORD32

// Checks whether a value fits in 32 bits. The public interface passes 32-bit values as `unsigned long`, which has 64
// bits on some systems.

#include <cstdint>

namespace word32 {

inline bool Fits(unsigned long value) noexcept {
    return static_cast<std::uint32_t>(value) == value;
}

// Returns whether a mask fits in 32 bits. Also accepts a mask that was made from a negative int, such as ~0 or 1 << 31:
// in a 64-bit `unsigned long`, the upper 32 bits of such a mask are all 1.
inline bool FitsMask(unsigned long value) noexcept {
    return Fits(value) || static_cast<unsigned long>(static_cast<long>(static_cast<std::int32_t>(value))) == value;
}

} // namespace word32

#endif
