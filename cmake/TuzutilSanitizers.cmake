# TUZUTIL_SANITIZE: a sanitizer list as the compiler takes it ("address,undefined", "thread"); empty for none.
set(TUZUTIL_SANITIZE "" CACHE STRING "Sanitizers to build everything with")
if(TUZUTIL_SANITIZE)
    add_compile_options(-fsanitize=${TUZUTIL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TUZUTIL_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # With sanitizers the compiler takes parts of the standard library's own <regex> for uninitialized.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()

option(TUZUTIL_COVERAGE "Build with coverage counters" OFF)
if(TUZUTIL_COVERAGE)
    add_compile_options(--coverage -O0)
    add_link_options(--coverage)
endif()
