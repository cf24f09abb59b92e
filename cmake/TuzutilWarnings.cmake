# All targets of this project have the same warnings. If another project contains this one, the warnings are off. In the
# presets, warnings are errors, because the compilers are known. Outside of the presets they are not errors, because
# another compiler or version may warn of correct code.
option(TUZUTIL_WARNINGS "Let the compiler warn" ${PROJECT_IS_TOP_LEVEL})
option(TUZUTIL_WARNINGS_AS_ERRORS "Take every warning for an error" OFF)

function(tuzutil_warnings target)
    if(NOT TUZUTIL_WARNINGS)
        return()
    endif()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
                                             $<$<BOOL:${TUZUTIL_WARNINGS_AS_ERRORS}>:-Werror>)
    # -Wshadow is only for g++, because Clang also warns of a member that has the name of a C function, such as
    # TagVar::time.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wshadow)
        # With -O3, these versions of g++ wrongly warn that "text" + string() copies memory onto itself.
        if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
            target_compile_options(${target} PRIVATE -Wno-restrict)
        endif()
    endif()
endfunction()
