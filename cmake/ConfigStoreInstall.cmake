# Installs the shared library, its public headers, a CMake package
# (find_package(configstore) -> configstore::configstore) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS configstore EXPORT configstoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/configstore
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT configstoreTargets
  NAMESPACE configstore::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/configstore)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/configstoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/configstoreConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/configstore)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/configstoreConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/configstoreConfig.cmake
  ${PROJECT_BINARY_DIR}/configstoreConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/configstore)

# The .pc file finds the prefix relative to where it lies, so that the
# installed tree can be moved; how far up depends on the library directory
# (lib, or lib/<multiarch> under /usr).
file(RELATIVE_PATH CONFIGSTORE_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" CONFIGSTORE_PC_TO_PREFIX "${CONFIGSTORE_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/configstore.pc.in
  ${PROJECT_BINARY_DIR}/configstore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/configstore.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
