# Toolchain: 32-bit Windows by mingw-w64 (posix threads), programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)

# SSE2 arithmetic gives the same floating-point results as on x86-64, and a realigned stack in every function.
# DWARF 4 is what the Wine debugger reads.
# They are no initial values of CMAKE_CXX_FLAGS, which somebody who sets that variable would lose.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-msse2> $<$<COMPILE_LANGUAGE:C,CXX>:-mfpmath=sse>
                    $<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4>)
# The runtime's malloc aligns to 8 bytes, though the compiler believes 16.
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-faligned-new=8>)

set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_RC_FLAGS_INIT "-c 65001")

# Byte-identical rebuilds.
add_link_options(-Wl,--no-insert-timestamp)

# No native package can leak in.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR}/no-sysroot)
foreach(k LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${k} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/winerun.sh ABSOLUTE)
