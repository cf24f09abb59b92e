# The toolchain for 64-bit ARM Linux: the cross compiler of the distribution. Programs run under qemu-aarch64, which
# emulates the processor for one process. Programs start other programs. Therefore no emulator is named here: the system
# itself must start qemu-aarch64, through binfmt_misc.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triple aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)

# CMake looks for packages only here and in the folders that the user names. Therefore it never finds a package for the
# processor on which it runs.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${triple} ${CMAKE_PREFIX_PATH})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
