#ifndef TUZUTIL_DEBUG_CHECK
#define TUZUTIL_DEBUG_CHECK

// Says whether this build checks for misuse that does no immediate harm. Builds without NDEBUG make the checks, and
// trace such misuse. Builds with NDEBUG do neither.

namespace debugcheck {

#if defined(NDEBUG)
constexpr bool isOn = false;
#else
constexpr bool isOn = true;
#endif

} // namespace debugcheck

#endif
