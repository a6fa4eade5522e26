# Runs the catalogue's generator whenever an entry or the generator changes. Every library depends on target `catalogue`.

find_package(Python3 QUIET COMPONENTS Interpreter)
nuv_need(Python3_FOUND "Python 3" build)

file(GLOB NUV_CATALOGUE_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/catalogue/*.cat)
file(GLOB NUV_GENERATOR_FILES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/catalogue/*.py ${PROJECT_SOURCE_DIR}/interfaces/cblas/*.py
  ${PROJECT_SOURCE_DIR}/interfaces/*/head.*)
set(NUV_GENERATOR ${PROJECT_SOURCE_DIR}/catalogue/generate.py)
set(NUV_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)
set(NUV_CBLAS_SOURCES)
foreach(level 1 2 3)
  list(APPEND NUV_CBLAS_SOURCES ${NUV_GENERATED_DIR}/interfaces/cblas/level${level}.cpp)
endforeach()
# The headers for users carry the comments of the sources.
file(GLOB_RECURSE NUV_COMMENTED_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.hpp ${PROJECT_SOURCE_DIR}/kernels/*.cpp
  ${PROJECT_SOURCE_DIR}/threading/level3/*.cpp)
set(NUV_STUBS ${NUV_GENERATED_DIR}/stubs.S)
set(NUV_KERNEL_ENTRIES ${NUV_GENERATED_DIR}/kernel_entries.S)
set(NUV_LAYER_ENTRIES ${NUV_GENERATED_DIR}/layer_entries.S)
set(NUV_STANDARD_FILES)
foreach(library libblas liblapack)
  list(APPEND NUV_STANDARD_FILES
    ${NUV_GENERATED_DIR}/standard/${library}_jumps.S ${NUV_GENERATED_DIR}/standard/${library}_functions.c)
endforeach()

add_custom_command(
  OUTPUT ${NUV_GENERATED_DIR}/stamp
  BYPRODUCTS ${NUV_STUBS} ${NUV_KERNEL_ENTRIES} ${NUV_LAYER_ENTRIES} ${NUV_CBLAS_SOURCES} ${NUV_STANDARD_FILES}
             ${NUV_GENERATED_DIR}/exports/libnuv.map
             ${NUV_GENERATED_DIR}/exports/libblas.map
             ${NUV_GENERATED_DIR}/exports/liblapack.map
             ${NUV_GENERATED_DIR}/exports/lapack.map
             ${NUV_GENERATED_DIR}/exports/kernel.map
             ${NUV_GENERATED_DIR}/exports/layer.map
             ${NUV_GENERATED_DIR}/c/by_value_s.c
             ${NUV_GENERATED_DIR}/c/by_value_d.c
             ${NUV_GENERATED_DIR}/c/by_value_c.c
             ${NUV_GENERATED_DIR}/c/by_value_z.c
             ${NUV_GENERATED_DIR}/include/nuv/nuv.h
  COMMAND Python3::Interpreter -B ${NUV_GENERATOR} --output ${NUV_GENERATED_DIR} ${NUV_CATALOGUE_FILES}
  COMMAND ${CMAKE_COMMAND} -E touch ${NUV_GENERATED_DIR}/stamp
  DEPENDS ${NUV_GENERATOR_FILES} ${NUV_CATALOGUE_FILES} ${NUV_COMMENTED_FILES}
  COMMENT "Reading the catalogue"
  VERBATIM)
add_custom_target(catalogue DEPENDS ${NUV_GENERATED_DIR}/stamp)

# What a source of the libraries sees: the tree by its folders, and the generated headers.
add_library(nuv_internal_headers INTERFACE)
target_include_directories(nuv_internal_headers
  INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src ${NUV_GENERATED_DIR}/include ${NUV_GENERATED_DIR}/internal
            ${NUV_GENERATED_DIR}/entries)
