# Describes the packages that scripts/package makes of the installed files. For Linux, these are a pair of Debian
# packages and a tarball; for Windows, a zip.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # only what is installed has to be built
set(CPACK_PACKAGE_VENDOR "the tuzutil maintainers")
set(CPACK_PACKAGE_CONTACT "The tuzutil maintainers <maintainers@tuzutil.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
    set(CPACK_PACKAGE_FILE_NAME tuzutil-${PROJECT_VERSION}-win${bits})
    include(CPack)
    return()
endif()

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_FILE_NAME tuzutil-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL Runtime DebianRuntime Development Tools Documentation DebianDevelopment)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(runtime libtuzutil${PROJECT_VERSION_MAJOR})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "shared utility library for internet mail servers")
set(description "The text type, exceptions, tracing, translatable messages, typed values,
streams of line-oriented protocols, encodings, locks, threads, timers and
shared memory that a framework of mail servers and tools shares.")
# The names of all files that a release consists of begin with "tuzutil".
execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE
                ERROR_QUIET)
set(CPACK_DEBIAN_RUNTIME_FILE_NAME tuzutil-${PROJECT_VERSION}-debian-${architecture}.deb)
set(CPACK_DEBIAN_DEVELOPMENT_FILE_NAME tuzutil-dev-${PROJECT_VERSION}-debian-${architecture}.deb)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION ${description})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtuzutil-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), g++ | c++-compiler, python3")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "${description}\n.\nThis package has what is needed to build programs with the library.")

# Only the Debian packages have these files: the copyright, the changelog, and the overrides for lintian. The file
# "shlibs" tells other packages on which version of the library they depend. The file "triggers" lets dpkg update the
# cache of the dynamic linker.
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
     "libtuzutil ${PROJECT_VERSION_MAJOR} ${runtime} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
file(STRINGS packaging/debian/changelog first LIMIT_COUNT 1)
if(NOT first MATCHES "\\(${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}\\)")
    message(FATAL_ERROR "packaging/debian/changelog begins with another version: ${first}")
endif()
tuzutil_compress(packaging/debian/changelog ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz)
foreach(pair Runtime:${runtime} Development:libtuzutil-dev)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES packaging/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT Debian${component} EXCLUDE_FROM_ALL)
    install(FILES packaging/debian/${component}.overrides RENAME ${package}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT Debian${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
cpack_add_component_group(Runtime)
cpack_add_component_group(Development)
cpack_add_component(Runtime GROUP Runtime)
cpack_add_component(DebianRuntime GROUP Runtime)
foreach(component Development Tools Documentation DebianDevelopment)
    cpack_add_component(${component} GROUP Development)
endforeach()
