# The toolchain for 64-bit Windows: mingw-w64 with posix threads. Programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(TUZUTIL_MINGW x86_64-w64-mingw32)

include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
