# The installed tree: flat headers, the library, and what find_package and pkg-config read. It can
# be moved as a whole; nothing in it holds the prefix it was installed to.

include(CMakePackageConfigHelpers)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zynkernn)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zynkernn EXPORT zynkernn-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zynkern
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zynkernn-targets NAMESPACE zynkernn:: DESTINATION ${config_dir})

configure_package_config_file(cmake/zynkernn-config.cmake.in zynkernn-config.cmake
  INSTALL_DESTINATION ${config_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zynkernn-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zynkernn-config.cmake
  ${PROJECT_BINARY_DIR}/zynkernn-config-version.cmake
  DESTINATION ${config_dir})

# pkg-config finds the prefix from the place of its file: as many steps up as that lies deep.
file(RELATIVE_PATH ZYNKERN_PC_TO_PREFIX
  ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/zynkernn.pc.in zynkernn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zynkernn.pc DESTINATION ${pkgconfig_dir})
