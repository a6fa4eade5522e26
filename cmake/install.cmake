# What a program outside the tree needs: libraries, headers, the command, a pkg-config file and a CMake package. Both
# descriptions find the files relative to themselves, so that an installed tree can be moved.

install(TARGETS nuv_lapack nuv_kpa nuv_kpb nuv_sequential nuv_orvo_thread LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS nuv_all nuv_with_threads nuv_with_sequential LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS nuv_libblas nuv_liblapack LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/nuv)
install(DIRECTORY ${NUV_GENERATED_DIR}/include/nuv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NUV_BUILD_TOOLS)
  install(TARGETS nuv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

file(RELATIVE_PATH NUV_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/package/nuv.pc.in ${PROJECT_BINARY_DIR}/package/nuv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/nuv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/package/nuvConfig.cmake.in ${PROJECT_BINARY_DIR}/package/nuvConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/nuvConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/nuvConfig.cmake ${PROJECT_BINARY_DIR}/package/nuvConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv)
