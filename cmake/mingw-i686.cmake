# The toolchain for 32-bit Windows: mingw-w64 with posix threads. Programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TUZUTIL_MINGW i686-w64-mingw32)

# Arithmetic with SSE2 gives the same floating-point results as on x86-64. The flags are compile options and not initial
# values of CMAKE_CXX_FLAGS, because a user who sets that variable would lose those values.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-msse2> $<$<COMPILE_LANGUAGE:C,CXX>:-mfpmath=sse>)
# The malloc() of the C runtime aligns blocks to 8 bytes. Without this flag, the compiler would assume 16 bytes.
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-faligned-new=8>)

include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
