#ifndef TUZUTIL_DEBUG_CHECK
#define TUZUTIL_DEBUG_CHECK

// Says whether this build checks for misuse that does no immediate harm. Builds without NDEBUG check for such misuse
// and trace it. Builds with NDEBUG do not check for it.

namespace debugcheck {

#if defined(NDEBUG)
constexpr bool isOn = false;
#else
constexpr bool isOn = true;
#endif

} // namespace debugcheck

#endif
