# The common part of the toolchain files for Windows. Such a file sets CMAKE_SYSTEM_PROCESSOR and TUZUTIL_MINGW before
# it includes this file.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TUZUTIL_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TUZUTIL_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${TUZUTIL_MINGW}-windres)
set(CMAKE_RC_FLAGS_INIT "-c 65001")

# The debugger of Wine reads version 4 of DWARF.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4>)
# Without a time stamp, a second build gives the same bytes.
add_link_options(-Wl,--no-insert-timestamp)

# If this file is installed, the script winerun.sh, which runs programs, is beside it. CMake then also looks for
# packages in the folder in which the library is installed.
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/winerun.sh)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/winerun.sh)
    get_filename_component(own ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
else()
    get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/winerun.sh ABSOLUTE)
    set(own ${CMAKE_CURRENT_LIST_DIR}/no-sysroot)
endif()

# CMake looks for packages only in these folders and in the folders that the user names. Therefore it never finds a
# package of the system on which it runs.
list(APPEND CMAKE_FIND_ROOT_PATH ${own} ${CMAKE_PREFIX_PATH})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
