include(CMakePackageConfigHelpers)

install(TARGETS tuzutil check_formats EXPORT tuzutilTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tuzutil DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tuzutilTargets NAMESPACE tuzutil:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tuzutil)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tuzutilConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/tuzutilConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tuzutil)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tuzutilConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/TuzutilLanguageLibrary.cmake ${PROJECT_SOURCE_DIR}/tools/tuzutil_messages.py
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tuzutil)
if(WIN32)
    install(FILES ${TUZUTIL_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tuzutilConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/tuzutilConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tuzutil)
