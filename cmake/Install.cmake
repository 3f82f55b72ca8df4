# Install rules, the CMake package (find_package(zolt_mfdenoise)) and the pkg-config file.
include(CMakePackageConfigHelpers)

# Three packages: the library with its tuning file, what is needed to build with it, and the program. What says nothing
# of itself is for developers.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
set(ZOLT_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zolt_mfdenoise)

install(TARGETS zolt_mfdenoise zolt_burst EXPORT zolt_mfdenoise_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(FILES include/zolt_mfdenoise.h include/zolt_burst.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES config/multiframe.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/zolt_mfdenoise COMPONENT library)
install(EXPORT zolt_mfdenoise_targets NAMESPACE zolt:: DESTINATION ${ZOLT_PACKAGE_DIR})

configure_package_config_file(cmake/zolt_mfdenoise-config.cmake.in zolt_mfdenoise-config.cmake
  INSTALL_DESTINATION ${ZOLT_PACKAGE_DIR} PATH_VARS CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(zolt_mfdenoise-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zolt_mfdenoise-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zolt_mfdenoise-config-version.cmake
  DESTINATION ${ZOLT_PACKAGE_DIR})
set(ZOLT_BURST_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zolt_burst)
configure_package_config_file(cmake/zolt_burst-config.cmake.in zolt_burst-config.cmake
  INSTALL_DESTINATION ${ZOLT_BURST_PACKAGE_DIR})
write_basic_package_version_file(zolt_burst-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zolt_burst-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zolt_burst-config-version.cmake
  DESTINATION ${ZOLT_BURST_PACKAGE_DIR})

# Relative, so that the installed folder can be moved.
file(RELATIVE_PATH ZOLT_PREFIX_FROM_PKGCONFIG /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
foreach(library zolt_mfdenoise zolt_burst)
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

include(cmake/Packages.cmake)
