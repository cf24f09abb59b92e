# tuzutil_add_factory_library(NAME SOURCES file.cpp... [OUTPUT_DIRECTORY folder])
#
# Builds a library that supplies factories, for TFactoryLoader: the target NAME makes NAME.dll, on every system, where
# programs are built unless a folder is given. Its static objects register themselves when it is loaded.
function(tuzutil_add_factory_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT_DIRECTORY" "SOURCES")
    if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tuzutil_add_factory_library(NAME SOURCES file.cpp... [OUTPUT_DIRECTORY folder])")
    endif()
    add_library(${name} MODULE ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil)
    set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".dll")
    if(arg_OUTPUT_DIRECTORY)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${arg_OUTPUT_DIRECTORY})
    elseif(CMAKE_RUNTIME_OUTPUT_DIRECTORY)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
endfunction()
