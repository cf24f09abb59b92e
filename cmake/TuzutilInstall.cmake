# Installs the library in four components. Runtime has the files that programs need when they run, Development has the
# headers and the files for CMake and pkg-config, Tools has the tools, and Documentation has the documents.
include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tuzutil)
get_target_property(kind tuzutil TYPE)

# tuzutil_compress(FILE COMPRESSED): compresses a file of the sources. The result contains no time, because a second
# build must give the same bytes.
function(tuzutil_compress file compressed)
    cmake_path(GET compressed PARENT_PATH folder)
    file(MAKE_DIRECTORY ${folder})
    execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/${file} OUTPUT_FILE ${compressed} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

install(TARGETS tuzutil EXPORT tuzutilTargets
        RUNTIME COMPONENT Runtime
        LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
        ARCHIVE COMPONENT Development)
install(DIRECTORY include/tuzutil DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(EXPORT tuzutilTargets NAMESPACE tuzutil:: DESTINATION ${package_folder} COMPONENT Development)
install(FILES cmake/TuzutilDlls.cmake cmake/TuzutilFactoryLibrary.cmake cmake/TuzutilLanguageLibrary.cmake
              tools/tuzutil_messages.py
        DESTINATION ${package_folder} COMPONENT Development)
configure_package_config_file(cmake/tuzutilConfig.cmake.in ${PROJECT_BINARY_DIR}/tuzutilConfig.cmake
                              INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tuzutilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tuzutilConfig.cmake ${PROJECT_BINARY_DIR}/tuzutilConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT Development)

if(TUZUTIL_BUILD_TOOLS)
    install(TARGETS check_formats EXPORT tuzutilTools RUNTIME COMPONENT Tools)
    install(EXPORT tuzutilTools NAMESPACE tuzutil:: DESTINATION ${package_folder} COMPONENT Tools)
    if(NOT WIN32)
        tuzutil_compress(tools/tuzutil_check_formats.1 ${PROJECT_BINARY_DIR}/tuzutil_check_formats.1.gz)
        install(FILES ${PROJECT_BINARY_DIR}/tuzutil_check_formats.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
    endif()
endif()

if(WIN32)
    if(kind STREQUAL "SHARED_LIBRARY")
        tuzutil_runtime_dlls(runtime)
        install(FILES ${runtime} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
    endif()
    # The toolchain file, and the script winerun.sh that runs programs, are for users who build on another system.
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        set(toolchain cmake/mingw-i686.cmake)
    else()
        set(toolchain cmake/mingw-x86_64.cmake)
    endif()
    install(FILES ${toolchain} cmake/mingw.cmake DESTINATION ${package_folder} COMPONENT Development)
    install(PROGRAMS tools/winerun.sh DESTINATION ${package_folder} COMPONENT Development)
endif()

# The paths in tuzutil.pc are relative to the file itself, because users may move the installed folder.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE up)
set(define)
set(private)
if(kind STREQUAL "STATIC_LIBRARY")
    set(define -DTUZUTIL_STATIC)
    set(private -pthread)
    if(WIN32)
        set(private "-lole32 -luuid")
    endif()
endif()
configure_file(cmake/tuzutil.pc.in ${PROJECT_BINARY_DIR}/tuzutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tuzutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# These files tell debuggers how to show the library's objects. If the library is installed where gdb looks for such
# files (in /usr on Debian), gdb loads tuzutil_gdb.py together with the library.
install(FILES tools/debug/tuzutil.natvis DESTINATION ${CMAKE_INSTALL_DATADIR}/tuzutil COMPONENT Development)
if(kind STREQUAL "SHARED_LIBRARY" AND NOT WIN32)
    install(FILES tools/debug/tuzutil_gdb.py RENAME libtuzutil.so.${PROJECT_VERSION}-gdb.py
            DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR} COMPONENT Development)
endif()

install(FILES README.md CHANGELOG.md LICENSE SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Documentation)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT Documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN reference EXCLUDE)

if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
                      COMMAND ${CMAKE_COMMAND} -DBUILD_FOLDER=${PROJECT_BINARY_DIR}
                              -P ${PROJECT_SOURCE_DIR}/cmake/TuzutilUninstall.cmake
                      COMMENT "Removing what was installed from this build" VERBATIM)
    include(cmake/TuzutilPackages.cmake)
endif()
