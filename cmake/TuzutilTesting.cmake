# GoogleTest, built from the distribution's sources for the target at hand.
execute_process(COMMAND dpkg-query -L googletest OUTPUT_VARIABLE files ERROR_QUIET)
string(REGEX MATCH "[^\n]*/src/googletest" TUZUTIL_GOOGLETEST "${files}")
if(NOT TUZUTIL_GOOGLETEST)
    message(FATAL_ERROR "The sources of GoogleTest are missing: install the package googletest")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(${TUZUTIL_GOOGLETEST} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

# The headers that nearly every suite includes are compiled once for all suites of the same kind. A program of its own
# holds them, because the flags must be those of a program.
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
#                   [SOURCES file...] [OWN_COPY source...] [SEAM] [NOT_SANITIZED] [OPTIMIZED])
#
# A test program NAME_test of NAME_test.cpp, if there is such a file, with GoogleTest's main(), linked to the library.
#   SUPPORT        files of tests/support, in the form that the target has: NAME_posix.cpp or NAME_win32.cpp
#   NEEDS          targets that have to be built before the suite runs
#   SOURCES        further sources, beside the suite
#   OWN_COPY       sources of the library, named from src/ on, of which the program has a copy of its own
#   SEAM           the suite itself includes a source of the library and directs the functions below it; so does OWN_COPY
#   NOT_SANITIZED  the suite takes the place of the allocator, or of a variable that the sanitizers watch
#   OPTIMIZED      the suite computes so much itself that it is optimized; others are not, so that they build faster
#
# Tests are listed when they run, not when they are built: starting Wine takes longer than the build's patience.
function(tuzutil_add_suite name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SEAM;NOT_SANITIZED;OPTIMIZED" "" "SUPPORT;NEEDS;DEFINITIONS;LIBRARIES;SOURCES;OWN_COPY")
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
        # The copy is the program's own, and is not looked for in the DLL.
        target_compile_definitions(${suite} PRIVATE $<$<BOOL:${WIN32}>:tuzutil_EXPORTS>)
    endif()
    if(arg_NEEDS)
        add_dependencies(${suite} ${arg_NEEDS})
    endif()
    tuzutil_warnings(${suite})
    set(timeout 600)
    if(TUZUTIL_SANITIZE)
        set(timeout 3600) # some suites try all short texts, which takes a sanitizer many minutes
    endif()
    gtest_discover_tests(${suite} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT ${timeout})
endfunction()

# tuzutil_add_suites(NAME...): suites that need nothing else.
function(tuzutil_add_suites)
    foreach(name ${ARGN})
        tuzutil_add_suite(${name})
    endforeach()
endfunction()

# tuzutil_add_helper(NAME): a program that tests start.
function(tuzutil_add_helper name)
    add_executable(${name} ${name}.cpp)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil Threads::Threads)
    tuzutil_warnings(${name})
endfunction()

# tuzutil_add_module(NAME SOURCE): a library with static objects that tests load by name, beside the programs.
function(tuzutil_add_module name source)
    add_library(${name} MODULE ${source})
    set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".dll")
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil)
    tuzutil_warnings(${name})
endfunction()
