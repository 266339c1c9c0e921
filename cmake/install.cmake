# Install rules: the library, every public header (with the platform header
# they rest on), a CMake package config and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS cmskit64 EXPORT cmskitTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/cmskit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/platform/win32.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/cmskit/platform)
install(FILES ${PROJECT_SOURCE_DIR}/platform/posix/win32_posix.h ${PROJECT_SOURCE_DIR}/platform/posix/crypt_posix.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/cmskit/platform/posix)

install(EXPORT cmskitTargets NAMESPACE cmskit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmskit)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/cmskitConfig.cmake.in
  ${PROJECT_BINARY_DIR}/cmskitConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmskit)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmskitConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmskitConfig.cmake ${PROJECT_BINARY_DIR}/cmskitConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmskit)

# The pkg-config file names the prefix the install is given (cmake --install
# --prefix), which is known only when installing: everything else is filled
# in now, the prefix by the install script, which writes the file in place
# (so that installs into different prefixes never share a generated file).
set(CMSKIT_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/cmake/cmskit64.pc.in ${PROJECT_BINARY_DIR}/cmskit64.pc.in @ONLY)
install(CODE "
  set(pc \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/cmskit64.pc\")
  message(STATUS \"Installing: \${pc}\")
  configure_file(\"${PROJECT_BINARY_DIR}/cmskit64.pc.in\" \"\${pc}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${pc}\")
")
