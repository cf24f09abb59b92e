# Toolchain: 32-bit Windows by mingw-w64 (posix threads), programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TUZUTIL_MINGW i686-w64-mingw32)

# SSE2 arithmetic gives the same floating-point results as on x86-64, and a realigned stack in every function.
# They are no initial values of CMAKE_CXX_FLAGS, which somebody who sets that variable would lose.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-msse2> $<$<COMPILE_LANGUAGE:C,CXX>:-mfpmath=sse>)
# The runtime's malloc aligns to 8 bytes, though the compiler believes 16.
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-faligned-new=8>)

include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
