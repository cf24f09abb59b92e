#ifndef TUZUTIL_DEBUG_CHECK
#define TUZUTIL_DEBUG_CHECK

// Misuse that does no harm at once and so passes in silence: builds without NDEBUG tell of it in the trace.

namespace debugcheck {

#if defined(NDEBUG)
constexpr bool isOn = false;
#else
constexpr bool isOn = true;
#endif

} // namespace debugcheck

#endif
