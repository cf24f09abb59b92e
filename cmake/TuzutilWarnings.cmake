# One set of warnings for everything that is built here; all of them are errors.
function(tuzutil_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
                                             -Werror)
    # Clang counts a name of a class that a function of the C library has as well; TagVar::time is one.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wshadow)
    endif()
endfunction()
