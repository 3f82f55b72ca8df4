# Debian packages: `cpack --config build/release/CPackConfig.cmake -B out/packages`, once everything is built.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zolt-mfdenoise)
set(CPACK_PACKAGE_CONTACT "zolt_mfdenoise's developers <zolt@localhost>")
set(CPACK_PACKAGE_HOMEPAGE_URL "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The program carries the library inside; nothing has to be found among what is packed.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_COMPRESSION_TYPE gzip)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzolt-mfdenoise${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Exact multi-frame noise reduction of camera bursts: the libraries
 Aligns the frames of a burst, leaves out what moved, averages the rest and filters what noise is left.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzolt-mfdenoise-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Exact multi-frame noise reduction of camera bursts: for developers
 The C header, and what CMake and pkg-config need to find the library.")

install(FILES cmake/copyright-library DESTINATION share/doc/${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} RENAME copyright
  COMPONENT library)
install(FILES cmake/copyright-library DESTINATION share/doc/libzolt-mfdenoise-dev RENAME copyright COMPONENT development)

if(ZOLT_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL program)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME zolt-burst)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "Makes one clean image of a burst of noisy frames
 Reads and writes the files of phones and cameras with all that they carry.")
  install(FILES cmake/copyright-program DESTINATION share/doc/zolt-burst RENAME copyright COMPONENT program)
endif()

if(ZOLT_GSTREAMER_FOUND)
  # Its own library is in no package yet while packages are made.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/burst)
  list(APPEND CPACK_COMPONENTS_ALL gstreamer)
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_NAME gstreamer1.0-zoltburst)
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_GSTREAMER_DESCRIPTION "Cleans the frames of a video with their neighbours: GStreamer element
 Aligns each frame's neighbours to it, leaves out what moved, averages and filters.")
  install(FILES cmake/copyright-library DESTINATION share/doc/gstreamer1.0-zoltburst RENAME copyright COMPONENT gstreamer)
endif()

include(CPack)
