# Toolchain: 64-bit Windows by mingw-w64 (posix threads), programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(TUZUTIL_MINGW x86_64-w64-mingw32)

include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
