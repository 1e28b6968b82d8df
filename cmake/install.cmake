# The installed package: programs, libraries, headers, the template of an installation root, and what find_package
# and pkg-config need.
include(CMakePackageConfigHelpers)
include(gb2312)

# The installed headers need it of whoever includes them.
target_compile_features(vela_platform PUBLIC cxx_std_20)

install(TARGETS vela_platform vela_testkit basic_util EXPORT basic_utilTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS velad velactl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS vela_apps LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
get_property(handler_sets GLOBAL PROPERTY VELA_HANDLER_SETS)
get_property(handler_set_folder GLOBAL PROPERTY VELA_HANDLER_SET_FOLDER)
install(TARGETS ${handler_sets} LIBRARY DESTINATION ${handler_set_folder})
install(FILES ${CMAKE_SOURCE_DIR}/apps/velad/handler_set.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/basic_util/apps/velad)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/install/ DESTINATION ${CMAKE_INSTALL_DATADIR}/basic_util/root)

file(STRINGS ${CMAKE_SOURCE_DIR}/cmake/internal_headers.txt patterns REGEX "^[^#]")
set(internal_headers "")
foreach(pattern IN LISTS patterns)
  list(APPEND internal_headers PATTERN ${pattern} EXCLUDE)
endforeach()
install(DIRECTORY ${CMAKE_SOURCE_DIR}/platform ${CMAKE_SOURCE_DIR}/util
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/basic_util FILES_MATCHING PATTERN "*.h" ${internal_headers})
# The platform's messages only: those of the programs are the programs' own.
get_target_property(asn1_headers vela_asn1 VELA_ASN1_HEADERS)
foreach(header IN LISTS asn1_headers)
  file(RELATIVE_PATH name ${CMAKE_BINARY_DIR}/gen ${header})
  get_filename_component(folder ${name} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/basic_util/${folder})
endforeach()

install(EXPORT basic_utilTargets NAMESPACE basic_util:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
configure_package_config_file(cmake/basic_utilConfig.cmake.in basic_utilConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
write_basic_package_version_file(basic_utilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# The way from pkgconfig/ to the prefix: the package works wherever it is put.
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
list(TRANSFORM ESNACC_INCLUDE_DIRS PREPEND "-isystem " OUTPUT_VARIABLE esnacc_cflags)
list(JOIN esnacc_cflags " " esnacc_cflags)
configure_file(cmake/basic_util.pc.in basic_util.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/basic_utilConfig.cmake ${CMAKE_BINARY_DIR}/basic_utilConfigVersion.cmake
              cmake/asn1.cmake cmake/asn1_compile.cmake cmake/handler_set.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/basic_util)
install(FILES ${CMAKE_BINARY_DIR}/basic_util.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
