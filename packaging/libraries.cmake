# Read by CPack when it packs, for what is known of the libraries after a build alone.

# They need the C library and nothing else, as new as the newest symbol that they ask it for. CPack would find that out, too,
# but then it adds a script to be run after the removal, for which dpkg keeps a record of the package.
find_program(NUV_READELF readelf REQUIRED)
file(GLOB libraries ${CPACK_NUV_LIBRARIES}/*.so ${CPACK_NUV_LIBRARIES}/nuv/*.so)
execute_process(COMMAND ${NUV_READELF} -V ${libraries} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "GLIBC_[0-9.]+" versions "${symbols}")
list(SORT versions COMPARE NATURAL)
list(POP_BACK versions newest)
string(REPLACE "GLIBC_" "" newest ${newest})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "libc6 (>= ${newest})")

# A machine has libraries of one name from several packages, and a link to the one in use. The link is an alternative whose
# name ends in the machine's architecture, and every package of that kind provides the library's name.

set(NUV_ALTERNATIVES libblas.so.3 liblapack.so.3)
list(JOIN NUV_ALTERNATIVES ", " CPACK_DEBIAN_LIBRARIES_PACKAGE_PROVIDES)
list(JOIN NUV_ALTERNATIVES " " NUV_ALTERNATIVES)
foreach(script postinst prerm)
  configure_file(${CPACK_NUV_TEMPLATES}/${script}.in ${CPACK_NUV_SCRIPTS}/${script} @ONLY FILE_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA
  ${CPACK_NUV_SCRIPTS}/postinst ${CPACK_NUV_SCRIPTS}/prerm ${CPACK_NUV_TEMPLATES}/triggers)
