# What a program outside the tree needs: libraries, headers, the command, pkg-config files and a CMake package. Those
# descriptions find the files relative to themselves, so that an installed tree can be moved. Components are the packages
# of a distribution: libraries, development, command; what names none is for development.

install(TARGETS nuv_lapack nuv_kpa nuv_kpb nuv_sequential nuv_orvo_thread nuv_all nuv_with_threads nuv_with_sequential
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development)
install(TARGETS nuv_libblas nuv_liblapack
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/nuv COMPONENT libraries NAMELINK_COMPONENT development)
install(DIRECTORY ${NUV_GENERATED_DIR}/include/nuv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} PATTERN nuv_lapack.h EXCLUDE)
# The same declarations with comments in full.
install(FILES ${NUV_GENERATED_DIR}/documented/nuv/nuv_lapack.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nuv)
if(NUV_BUILD_TOOLS)
  install(TARGETS nuv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
endif()

# nuv_pkg_config(NAME LIBRARY DIFFERENCE): one of the names of nuv for pkg-config.
function(nuv_pkg_config NUV_PC_NAME NUV_PC_LIBRARY NUV_PC_DIFFERENCE)
  file(RELATIVE_PATH NUV_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(packaging/nuv.pc.in ${PROJECT_BINARY_DIR}/packaging/${NUV_PC_NAME}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${NUV_PC_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
nuv_pkg_config(nuv nuv "")
nuv_pkg_config(nuv-sequential nuv_sequential ", on the thread that calls")
nuv_pkg_config(nuv-threaded nuv_orvo_thread ", on several threads")

include(CMakePackageConfigHelpers)
configure_package_config_file(packaging/nuvConfig.cmake.in ${PROJECT_BINARY_DIR}/packaging/nuvConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/nuvConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/nuvConfig.cmake ${PROJECT_BINARY_DIR}/packaging/nuvConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nuv)

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DMANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
    VERBATIM)
  include(packaging/debian.cmake)
endif()
