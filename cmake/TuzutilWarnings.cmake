# One set of warnings for everything that is built here, unless another project builds it. They are errors in the presets, where the compiler is known;
# another compiler, or another version, may warn of what is no fault.
option(TUZUTIL_WARNINGS "Let the compiler warn" ${PROJECT_IS_TOP_LEVEL})
option(TUZUTIL_WARNINGS_AS_ERRORS "Take every warning for an error" OFF)

function(tuzutil_warnings target)
    if(NOT TUZUTIL_WARNINGS)
        return()
    endif()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
                                             $<$<BOOL:${TUZUTIL_WARNINGS_AS_ERRORS}>:-Werror>)
    # Clang counts a name of a class that a function of the C library has as well; TagVar::time is one.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wshadow)
        # These versions take "text" + string(), as -O3 unfolds it, for a copy onto itself.
        if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
            target_compile_options(${target} PRIVATE -Wno-restrict)
        endif()
    endif()
endfunction()
