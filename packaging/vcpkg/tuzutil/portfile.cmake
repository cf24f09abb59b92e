# An overlay port. It builds the source tree that contains it: vcpkg install tuzutil --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_cmake_configure(
    SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS -DTUZUTIL_BUILD_TESTS=OFF -DTUZUTIL_BUILD_EXAMPLES=OFF -DTUZUTIL_BUILD_TOOLS=OFF -DTUZUTIL_WARNINGS=OFF
)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME tuzutil CONFIG_PATH lib/cmake/tuzutil)
vcpkg_fixup_pkgconfig()
vcpkg_copy_pdbs()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share"
     "${CURRENT_PACKAGES_DIR}/share/doc")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
