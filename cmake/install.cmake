# What a program outside the tree needs: libraries, headers, the command, a pkg-config file and a CMake package. Both
# descriptions find the files relative to themselves, so that an installed tree can be moved.

install(TARGETS nuv_lapack nuv_kpa nuv_kpb nuv_sequential nuv_orvo_thread LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${NUV_GENERATED_DIR}/include/nuv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} PATTERN nuv_lapack.h EXCLUDE)
# The same declarations with comments in full.
install(FILES ${NUV_GENERATED_DIR}/documented/nuv/nuv_lapack.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nuv)
if(NUV_BUILD_TOOLS)
  install(TARGETS nuv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

file(RELATIVE_PATH NUV_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/package/nuv.pc.in ${CMAKE_BINARY_DIR}/package/nuv.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/nuv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/package/nuvConfig.cmake.in ${CMAKE_BINARY_DIR}/package/nuvConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/nuvConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/nuvConfig.cmake ${CMAKE_BINARY_DIR}/package/nuvConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv)
