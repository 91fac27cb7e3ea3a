include(CMakePackageConfigHelpers)

install(TARGETS tamo_utils EXPORT tamo_utilsTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tamo
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(TAMO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tamo_utils)
install(EXPORT tamo_utilsTargets NAMESPACE tamo:: DESTINATION ${TAMO_CMAKE_DIR})
configure_package_config_file(cmake/tamo_utilsConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tamo_utilsConfig.cmake
  INSTALL_DESTINATION ${TAMO_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tamo_utilsConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/tamo_utilsConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tamo_utilsConfigVersion.cmake
  cmake/AndroidSystemLibs.cmake
  DESTINATION ${TAMO_CMAKE_DIR})

# Relocatable: the paths follow the file wherever it is installed
# (cmake --install --prefix ...). Libs lists what the public headers expose.
file(RELATIVE_PATH TAMO_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" TAMO_PC_TO_PREFIX ${TAMO_PC_TO_PREFIX})
get_filename_component(ANDROID_LIBRARY_DIR ${ANDROID_UTILS_LIBRARY} DIRECTORY)
configure_file(cmake/tamo_utils.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tamo_utils.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tamo_utils.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
