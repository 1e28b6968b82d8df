# The installed package: programs, libraries, headers, the template of an installation root, and what find_package
# and pkg-config need.
include(CMakePackageConfigHelpers)

install(TARGETS vela_platform vela_testkit basic_util EXPORT basic_utilTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS velad velactl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/platform ${CMAKE_SOURCE_DIR}/util
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/basic_util FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${CMAKE_BINARY_DIR}/gen/asn1 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/basic_util
        FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/install/ DESTINATION ${CMAKE_INSTALL_DATADIR}/basic_util/root)

install(EXPORT basic_utilTargets NAMESPACE basic_util:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
configure_package_config_file(cmake/basic_utilConfig.cmake.in basic_utilConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
write_basic_package_version_file(basic_utilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/basic_util.pc.in basic_util.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/basic_utilConfig.cmake ${CMAKE_BINARY_DIR}/basic_utilConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
install(FILES ${CMAKE_BINARY_DIR}/basic_util.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
