# What the toolchains for Windows share. Each of them says for which machine it is.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TUZUTIL_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TUZUTIL_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${TUZUTIL_MINGW}-windres)
set(CMAKE_RC_FLAGS_INIT "-c 65001")

# DWARF 4 is what the Wine debugger reads.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4>)
# Byte-identical rebuilds.
add_link_options(-Wl,--no-insert-timestamp)

# The runner of programs is beside this file if both are installed. Then packages are also looked for where the library
# is installed.
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/winerun.sh)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/winerun.sh)
    get_filename_component(own ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
else()
    get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/winerun.sh ABSOLUTE)
    set(own ${CMAKE_CURRENT_LIST_DIR}/no-sysroot)
endif()

# No native package can leak in: packages are looked for only in these folders and in those that the user names.
list(APPEND CMAKE_FIND_ROOT_PATH ${own} ${CMAKE_PREFIX_PATH})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
