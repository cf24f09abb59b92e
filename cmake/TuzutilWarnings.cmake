# One set of warnings for everything that is built here; all of them are errors.
function(tuzutil_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor
                                             -Woverloaded-virtual -Werror)
endfunction()
