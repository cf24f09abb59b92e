#ifndef TUZUTIL_DEBUGCHK_H
#define TUZUTIL_DEBUGCHK_H

// Misuse that does no harm at once and so passes in silence: builds without NDEBUG tell of it in the trace.

namespace debugcheck {

#if defined(NDEBUG)
constexpr bool isOn = false;
#else
constexpr bool isOn = true;
#endif

} // namespace debugcheck

#endif
