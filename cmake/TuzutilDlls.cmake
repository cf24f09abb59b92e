# tuzutil_runtime_dlls(VARIABLE): sets the variable to the paths of the compiler's runtime DLLs. On other systems than
# Windows, the list is empty. A program and the library must share these DLLs, because otherwise an exception of the
# library cannot reach the program.
function(tuzutil_runtime_dlls variable)
    set(dlls)
    if(WIN32)
        if(CMAKE_SIZEOF_VOID_P EQUAL 4)
            set(unwinder libgcc_s_dw2-1.dll)
        else()
            set(unwinder libgcc_s_seh-1.dll)
        endif()
        foreach(dll libstdc++-6.dll ${unwinder} libwinpthread-1.dll)
            execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll} OUTPUT_VARIABLE path
                            OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
            if(NOT IS_ABSOLUTE "${path}")
                message(FATAL_ERROR "The compiler has no ${dll}: tuzutil needs mingw-w64 with posix threads")
            endif()
            list(APPEND dlls ${path})
        endforeach()
    endif()
    set(${variable} ${dlls} PARENT_SCOPE)
endfunction()

# tuzutil_copy_dlls(TARGET): whenever the program TARGET is built, puts the DLLs that the program needs beside it. These
# are the DLLs of the libraries that the program links, and the runtime DLLs of the compiler. On other systems than
# Windows, the function does nothing.
function(tuzutil_copy_dlls target)
    if(WIN32)
        tuzutil_runtime_dlls(runtime)
        add_custom_command(TARGET ${target} POST_BUILD
                           COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_RUNTIME_DLLS:${target}> ${runtime}
                                   $<TARGET_FILE_DIR:${target}>
                           COMMAND_EXPAND_LISTS VERBATIM)
    endif()
endfunction()
