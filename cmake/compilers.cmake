# Which compilers and machines the tree is written for, and what each compiler is told beyond what all are told.
#
# Run as a script, with the variables that it looks at, it shows what a configuration would say:
#
#     cmake -DCMAKE_CXX_COMPILER_ID=GNU -DCMAKE_CXX_COMPILER_VERSION=11 -DCMAKE_SYSTEM_NAME=Linux
#           -DCMAKE_SYSTEM_PROCESSOR=x86_64 -P cmake/compilers.cmake

set(NUV_LEAST_GNU 12)    # the first with __builtin_shufflevector
set(NUV_LEAST_Clang 14)  # the oldest that the tree is tried with

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
  message(FATAL_ERROR "nuv is for Linux so far: its libraries rely on what ELF and the loader there do. "
                      "This is ${CMAKE_SYSTEM_NAME}.")
endif()
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64|i[3-6]86|x86)$")
  message(FATAL_ERROR "nuv is for x86 processors so far, 64-bit and 32-bit ones: its stubs and kernels are written for "
                      "them. This is ${CMAKE_SYSTEM_PROCESSOR}.")
endif()
if(NOT DEFINED NUV_LEAST_${CMAKE_CXX_COMPILER_ID})
  message(FATAL_ERROR "nuv is compiled by gcc ${NUV_LEAST_GNU} or clang ${NUV_LEAST_Clang}, or newer ones: it uses their "
                      "vector extensions. This is ${CMAKE_CXX_COMPILER_ID} (${CMAKE_CXX_COMPILER}). Another one is "
                      "named by -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++.")
endif()
if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS NUV_LEAST_${CMAKE_CXX_COMPILER_ID})
  message(FATAL_ERROR "nuv needs gcc ${NUV_LEAST_GNU} or clang ${NUV_LEAST_Clang}, or newer ones. This is "
                      "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} (${CMAKE_CXX_COMPILER}). Another one is "
                      "named by -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++.")
endif()
if(CMAKE_SCRIPT_MODE_FILE)
  return()
endif()

# A complex product is the plain formula. Where no flag says so, a compiler asks a function of its library for each
# product that comes out as not a number, and gets the plain formula from ours (src/base/complex_products.cpp).
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcx-limited-range NUV_HAS_PLAIN_COMPLEX_PRODUCTS)

# What clang alone complains about: explicit instantiations, which the catalogue has for every precision, of templates
# that are specialised for some; hints for the loops of gcc; and what one of two instantiations or layers has no use for.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(NUV_QUIET_OPTIONS
    -Wno-instantiation-after-specialization -Wno-unknown-pragmas -Wno-unused-lambda-capture -Wno-unused-private-field)
endif()
