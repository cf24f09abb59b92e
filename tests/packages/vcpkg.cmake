# Runs the script PORTFILE of the port with these functions instead of those of vcpkg. They configure the library in
# WORK/build, and write what the script says into WORK/said.
set(CURRENT_PACKAGES_DIR ${WORK}/packages)

function(vcpkg_cmake_configure)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
    if(NOT arg_SOURCE_PATH OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vcpkg_cmake_configure(${ARGN})")
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B ${WORK}/build -G Ninja ${arg_OPTIONS}
                            -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} -DCMAKE_INSTALL_LIBDIR=lib
                    COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(vcpkg_cmake_install)
    if(NOT EXISTS ${WORK}/build/cmake_install.cmake)
        message(FATAL_ERROR "The library is not configured")
    endif()
endfunction()

function(vcpkg_cmake_config_fixup)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
    file(APPEND ${WORK}/said "package=${arg_PACKAGE_NAME}\nfolder=${arg_CONFIG_PATH}\n")
endfunction()

function(vcpkg_fixup_pkgconfig)
endfunction()

function(vcpkg_copy_pdbs)
endfunction()

function(vcpkg_install_copyright)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FILE_LIST")
    file(APPEND ${WORK}/said "copyright=${arg_FILE_LIST}\n")
endfunction()

include(${PORTFILE})
