#ifndef TUZUTIL_DEBUG_CHECK
#define TUZUTIL_DEBUG_CHECK

// Whether this build looks for misuse that does no harm at once. Builds without NDEBUG write a trace entry about it;
// others stay silent.

namespace debugcheck {

#if defined(NDEBUG)
constexpr bool isOn = false;
#else
constexpr bool isOn = true;
#endif

} // namespace debugcheck

#endif
