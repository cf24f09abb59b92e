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

# tuzutil_add_suite(NAME SOURCE...): a test program NAME with GoogleTest's main(), linked to the library.
# Tests are listed when they run, not when they are built: starting Wine takes longer than the build's patience.
function(tuzutil_add_suite name)
    add_executable(${name} ${ARGN})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE tuzutil::tuzutil gtest_main Threads::Threads)
    tuzutil_warnings(${name})
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
endfunction()
