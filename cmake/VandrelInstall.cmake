# Installation: headers, libvandrel.so.1, the plug-in folder, the tool, a CMake package
# (find_package(Vandrel) gives Vandrel::vandrel) and a pkg-config file. Everything goes under
# <prefix>/lib, not a multiarch folder, so the tool finds <prefix>/lib/vandrel/plugins beside it.
include(CMakePackageConfigHelpers)

set(VANDREL_INSTALL_LIBDIR lib)
set(VANDREL_INSTALL_CMAKEDIR ${VANDREL_INSTALL_LIBDIR}/cmake/Vandrel)

install(TARGETS vandrel EXPORT VandrelTargets
  LIBRARY DESTINATION ${VANDREL_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vandrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT VandrelTargets NAMESPACE Vandrel:: DESTINATION ${VANDREL_INSTALL_CMAKEDIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VandrelConfig.cmake.in
  ${CMAKE_BINARY_DIR}/cmake/VandrelConfig.cmake
  INSTALL_DESTINATION ${VANDREL_INSTALL_CMAKEDIR}
  PATH_VARS VANDREL_PLUGIN_DIR_NAME)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/cmake/VandrelConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/cmake/VandrelConfig.cmake
  ${CMAKE_BINARY_DIR}/cmake/VandrelConfigVersion.cmake DESTINATION ${VANDREL_INSTALL_CMAKEDIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/vandrel.pc.in ${CMAKE_BINARY_DIR}/cmake/vandrel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/cmake/vandrel.pc DESTINATION ${VANDREL_INSTALL_LIBDIR}/pkgconfig)
