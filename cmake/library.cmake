# How the shared libraries of the set are compiled and linked.
#
# They need the C library alone: no C++ runtime, no exceptions, no run-time type information, no start-up files, so that
# nothing of ours runs before main or after it. Arithmetic is as written: products are not contracted into
# multiply-adds, and complex products take the plain formula.

add_library(nuv_library_options INTERFACE)
target_compile_options(nuv_library_options
  INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden
                                      -ffp-contract=off -fno-math-errno>
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fcx-limited-range>)
target_link_libraries(nuv_library_options INTERFACE nuv_internal_headers)

# nuv_compile(TARGET): compiles the sources of a library's target in the manner above.
function(nuv_compile target)
  target_link_libraries(${target} PRIVATE nuv_library_options)
  add_dependencies(${target} catalogue)
endfunction()

# nuv_shared_library(NAME EXPORTS MAP SOURCES ...): a library that exports just what the catalogue lists for MAP.
function(nuv_shared_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORTS" "SOURCES")
  add_library(${name} SHARED ${arg_SOURCES})
  nuv_compile(${name})
  set(map ${NUV_GENERATED_DIR}/exports/${arg_EXPORTS}.map)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map} BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
  target_include_directories(${name} INTERFACE ${NUV_GENERATED_DIR}/include)
  target_link_options(${name}
    PRIVATE -static-libgcc LINKER:--as-needed LINKER:--version-script=${map} LINKER:-Bsymbolic-functions
            LINKER:--enable-new-dtags LINKER:-z,noexecstack)
  if(NOT NUV_SANITIZE)
    target_link_options(${name} PRIVATE -nostartfiles)
  endif()
endfunction()
