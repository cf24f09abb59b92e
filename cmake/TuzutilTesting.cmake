# Builds GoogleTest for the target from the sources that the distribution supplies.
execute_process(COMMAND dpkg-query -L googletest OUTPUT_VARIABLE files ERROR_QUIET)
string(REGEX MATCH "[^\n]*/src/googletest" TUZUTIL_GOOGLETEST "${files}")
if(NOT TUZUTIL_GOOGLETEST)
    message(FATAL_ERROR "The sources of GoogleTest are missing: install the package googletest")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(${TUZUTIL_GOOGLETEST} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

# The headers that nearly every suite includes are compiled once for all suites of the same kind (plain or optimized).
# For each kind, an extra program compiles them, because precompiled headers must have the compiler flags of a program.
set(TUZUTIL_SUITE_HEADERS <gtest/gtest.h> <chrono> <filesystem> <fstream> <functional> <iostream> <map> <memory> <sstream>
                          <string> <string_view> <thread> <vector>)
foreach(kind plain optimized)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/suite_headers.cpp CONTENT "int main() {}\n")
    add_executable(${kind}_suite_headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/suite_headers.cpp)
    target_link_libraries(${kind}_suite_headers PRIVATE tuzutil::tuzutil gtest_main Threads::Threads)
    target_precompile_headers(${kind}_suite_headers PRIVATE ${TUZUTIL_SUITE_HEADERS})
    tuzutil_warnings(${kind}_suite_headers)
endforeach()
target_compile_options(plain_suite_headers PRIVATE $<$<CONFIG:RelWithDebInfo,Release>:-O0>)

# tuzutil_add_suite(NAME [SUPPORT name...] [NEEDS target...] [DEFINITIONS name=value...] [LIBRARIES library...]
#                   [SOURCES file...] [OWN_COPY source...] [SEAM] [NOT_SANITIZED] [OPTIMIZED] [SERIAL])
#
# Builds the test program NAME_test, which is linked to the library and to GoogleTest's main(). If the file NAME_test.cpp
# exists, it is a source of the program.
#   SUPPORT        Stems of files in tests/support. For the stem x, the program gets x_posix.cpp or x_win32.cpp.
#   NEEDS          Targets that are built before the suite is.
#   SOURCES        Further sources in the folder of the suite.
#   OWN_COPY       Sources of the library, relative to src/. The program contains its own copy of each of them.
#   SEAM           The suite includes a source of the library, and replaces the functions that this source calls.
#   NOT_SANITIZED  The suite replaces the allocator, or a variable that the sanitizers watch. It is not built if
#                  sanitizers are used.
#   SERIAL         The suite takes away what all processes share, so no other test runs at the same time.
#   OPTIMIZED      The suite itself computes much, so the compiler optimizes it. Other suites are not optimized, because
#                  they build faster that way.
#
# CTest lists the tests of a suite when it runs the suite, not when the suite is built. To list the tests of a Windows
# suite, Wine must start, and this can take longer than the time limit of a build step.
function(tuzutil_add_suite name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SEAM;NOT_SANITIZED;OPTIMIZED;SERIAL" "" "SUPPORT;NEEDS;DEFINITIONS;LIBRARIES;SOURCES;OWN_COPY")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tuzutil_add_suite(${name}): ${arg_UNPARSED_ARGUMENTS}?")
    endif()
    if(arg_NOT_SANITIZED AND TUZUTIL_SANITIZE)
        return()
    endif()
    set(suite ${name}_test)
    set(support ${arg_SUPPORT})
    list(TRANSFORM support PREPEND ${PROJECT_SOURCE_DIR}/tests/support/)
    list(TRANSFORM support APPEND _${TUZUTIL_PLATFORM}.cpp)
    list(TRANSFORM arg_OWN_COPY PREPEND ${PROJECT_SOURCE_DIR}/src/)
    set(sources ${arg_SOURCES} ${support} ${arg_OWN_COPY})
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${suite}.cpp)
        list(PREPEND sources ${suite}.cpp)
    endif()
    add_executable(${suite} ${sources})
    target_include_directories(${suite} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${suite} PRIVATE tuzutil::tuzutil gtest_main Threads::Threads ${arg_LIBRARIES})
    target_compile_definitions(${suite} PRIVATE ${arg_DEFINITIONS})
    if(arg_OPTIMIZED)
        target_precompile_headers(${suite} REUSE_FROM optimized_suite_headers)
    elseif(NOT arg_SEAM AND NOT arg_OWN_COPY)
        target_precompile_headers(${suite} REUSE_FROM plain_suite_headers)
        target_compile_options(${suite} PRIVATE $<$<CONFIG:RelWithDebInfo,Release>:-O0>)
    endif()
    if(arg_SEAM OR arg_OWN_COPY)
        # The program contains the copy itself, so its functions must not be declared as imports from the DLL.
        target_compile_definitions(${suite} PRIVATE $<$<BOOL:${WIN32}>:tuzutil_EXPORTS>)
    endif()
    if(arg_NEEDS)
        add_dependencies(${suite} ${arg_NEEDS})
    endif()
    tuzutil_warnings(${suite})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${suite} PRIVATE -Wno-self-assign-overloaded) # suites test that `text = text` is harmless
    endif()
    set(timeout 600)
    if(TUZUTIL_SANITIZE)
        set(timeout 3600) # some suites try all short texts, and a sanitizer makes this take many minutes
    endif()
    gtest_discover_tests(${suite} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                         PROPERTIES TIMEOUT ${timeout} RUN_SERIAL ${arg_SERIAL})
endfunction()

# tuzutil_add_suites(NAME...): builds a suite for each name, without options.
function(tuzutil_add_suites)
    foreach(name ${ARGN})
        tuzutil_add_suite(${name})
    endforeach()
endfunction()

# tuzutil_add_helper(NAME): builds a program that tests start.
function(tuzutil_add_helper name)
    add_executable(${name} ${name}.cpp)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil Threads::Threads)
    tuzutil_warnings(${name})
endfunction()

# tuzutil_add_module(NAME SOURCE): builds the library NAME.dll with static objects in the folder of the programs. Tests
# load it by its name.
function(tuzutil_add_module name source)
    add_library(${name} MODULE ${source})
    set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".dll")
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil)
    tuzutil_warnings(${name})
endfunction()

# tuzutil_let_unload(NAME): lets the system unload the library NAME. g++ makes symbols that are unique in the process, for
# static members of inline code, and Linux never unloads a library that has such symbols.
function(tuzutil_let_unload name)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
        target_compile_options(${name} PRIVATE -fno-gnu-unique)
    endif()
endfunction()
