# TUZUTIL_SANITIZE is a list of sanitizers in the compiler's form, for example "address,undefined" or "thread". If it is
# empty, no sanitizer is used.
set(TUZUTIL_SANITIZE "" CACHE STRING "Sanitizers to build everything with")
if(TUZUTIL_SANITIZE)
    add_compile_options(-fsanitize=${TUZUTIL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TUZUTIL_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # If sanitizers are used, the compiler wrongly warns of uninitialized parts in the standard header <regex>.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()

option(TUZUTIL_COVERAGE "Build with coverage counters" OFF)
if(TUZUTIL_COVERAGE)
    add_compile_options(--coverage -O0)
    add_link_options(--coverage)
endif()
