# tuzutil_add_factory_library(NAME SOURCES file.cpp... [OUTPUT_DIRECTORY folder])
#
# Builds a library that supplies factories to TFactoryLoader. The target NAME makes the file NAME.dll, which has this
# name on every system. If a folder is given, the file is put into this folder. If no folder is given, the file is put
# into CMAKE_RUNTIME_OUTPUT_DIRECTORY, if that variable is set. When the library is loaded, its static factory objects
# register themselves with their loaders.
function(tuzutil_add_factory_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT_DIRECTORY" "SOURCES")
    if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tuzutil_add_factory_library(NAME SOURCES file.cpp... [OUTPUT_DIRECTORY folder])")
    endif()
    get_target_property(kind tuzutil::tuzutil TYPE)
    if(kind STREQUAL "STATIC_LIBRARY")
        message(FATAL_ERROR "${name}: a library that supplies factories needs tuzutil as a shared library")
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
