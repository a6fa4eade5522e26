# How the shared libraries of the set are compiled and linked.
#
# They need the C library alone: no C++ runtime, no exceptions, no run-time type information. Arithmetic is as written:
# products are not contracted into multiply-adds, and complex products take the plain formula.

add_library(nuv_library_options INTERFACE)
target_compile_options(nuv_library_options
  INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden
                                      -ffp-contract=off -fno-math-errno ${NUV_QUIET_OPTIONS}>)
if(NUV_HAS_PLAIN_COMPLEX_PRODUCTS)
  target_compile_options(nuv_library_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fcx-limited-range>)
endif()
target_link_libraries(nuv_library_options INTERFACE nuv_internal_headers)
# Some callers pass no lengths behind the options. On 32-bit x86, where all arguments are on the stack and numbers are wider
# than pointers to them, a jump from an entry to its body would take the places of these lengths for its own.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_options(nuv_library_options INTERFACE -fno-optimize-sibling-calls)
endif()

# nuv_compile(TARGET): compiles the sources of a library's target in the manner above.
function(nuv_compile target)
  target_link_libraries(${target} PRIVATE nuv_library_options)
  add_dependencies(${target} catalogue)
endfunction()

# nuv_shared_library(NAME [RUNS_AT_START] EXPORTS MAP SOURCES ...): a library that exports just what the catalogue lists
# for MAP. Unless it says so, nothing of it runs before main or after it, and it takes no start-up files.
function(nuv_shared_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "RUNS_AT_START" "EXPORTS" "SOURCES")
  add_library(${name} SHARED ${arg_SOURCES})
  nuv_compile(${name})
  if(NOT NUV_HAS_PLAIN_COMPLEX_PRODUCTS)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/base/complex_products.cpp)
  endif()
  set(map ${NUV_GENERATED_DIR}/exports/${arg_EXPORTS}.map)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map} BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
  target_include_directories(${name} INTERFACE ${NUV_GENERATED_DIR}/include)
  target_link_options(${name}
    PRIVATE -static-libgcc LINKER:--as-needed LINKER:--version-script=${map} LINKER:-Bsymbolic-functions
            LINKER:--enable-new-dtags LINKER:-z,noexecstack)
  if(NOT arg_RUNS_AT_START AND NOT NUV_SANITIZE)
    target_link_options(${name} PRIVATE -nostartfiles)
  endif()
endfunction()

# Instruction sets for which the bodies behind the entries are compiled, and the flags of each. 32-bit x86 has the
# baseline alone. The sanitizers watch one set, the widest that this machine runs, as any quick check may
# (NUV_WIDEST_SET_ALONE): three would take three times as long to compile and show little more. Threads meet in what calls
# the bodies, so any set will do there.
set(NUV_FLAGS_sse2 "")
set(NUV_FLAGS_avx2 -march=x86-64-v3)
set(NUV_FLAGS_avx512 -march=x86-64-v4 -mprefer-vector-width=512)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 OR NUV_SANITIZE STREQUAL "thread")
  set(NUV_INSTRUCTION_SETS sse2)
elseif(NUV_SANITIZE OR NUV_WIDEST_SET_ALONE)
  file(WRITE ${PROJECT_BINARY_DIR}/widest_set.cpp
    "#include \"base/instruction_set.cpp\"\n#include <cstdio>\n"
    "int main() { std::fputs(nuv::instruction_set_names[static_cast<int>(nuv::widest_instruction_set())], stdout); }\n")
  try_run(exit_status compiled ${PROJECT_BINARY_DIR}/widest_set ${PROJECT_BINARY_DIR}/widest_set.cpp
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${PROJECT_SOURCE_DIR}/src RUN_OUTPUT_VARIABLE NUV_INSTRUCTION_SETS)
  if(NOT compiled OR NOT exit_status EQUAL 0)
    message(FATAL_ERROR "The widest instruction set of this machine can't be found out.")
  endif()
else()
  set(NUV_INSTRUCTION_SETS sse2 avx2 avx512)
endif()

# nuv_without_sanitizers(TARGET): compiles a target as in a release build, so that it comes out of the compiler's cache.
function(nuv_without_sanitizers target)
  if(NUV_SANITIZE)
    get_target_property(options ${target} COMPILE_OPTIONS)
    list(REMOVE_ITEM options ${NUV_SANITIZER_OPTIONS})
    set_target_properties(${target} PROPERTIES COMPILE_OPTIONS "${options}")
  endif()
endfunction()

# nuv_bodies(NAME SOURCES ...): object libraries NAME_<set>, one for each instruction set.
function(nuv_bodies name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
  foreach(set IN LISTS NUV_INSTRUCTION_SETS)
    add_library(${name}_${set} OBJECT ${arg_SOURCES})
    nuv_compile(${name}_${set})
    target_compile_definitions(${name}_${set} PRIVATE NUV_ISA=${set})
    target_compile_options(${name}_${set} PRIVATE ${NUV_FLAGS_${set}})
    # Bodies are what the sanitizers slow down most; where they read and write is watched at any rate.
    if(NUV_SANITIZE MATCHES address)
      # Checks by calls for each access would compile in half the time, and run three times as long. Not to watch arrays on
      # the stack, sums that are in registers then, halves it as well, and the tests run faster.
      target_compile_options(${name}_${set} PRIVATE -O1)
      if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT NUV_TEST_ALL)
        target_compile_options(${name}_${set} PRIVATE --param=asan-stack=0)
      endif()
    endif()
    if(NUV_SANITIZE MATCHES undefined AND NOT NUV_TEST_ALL)
      target_compile_options(${name}_${set} PRIVATE -fno-sanitize=undefined)
    endif()
  endforeach()
endfunction()

# nuv_entries(TARGET BODIES ENTRIES SETS ...): gives a shared library the bodies for these instruction sets, and the
# entries that lead to them.
function(nuv_entries target bodies entries)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "" "SETS")
  set_source_files_properties(${entries} PROPERTIES GENERATED TRUE
    OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/src/frame/isa_pattern.S;${PROJECT_SOURCE_DIR}/src/frame/stub_bind.S")
  target_sources(${target} PRIVATE ${entries})
  foreach(set IN LISTS arg_SETS)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${bodies}_${set}>)
  endforeach()
  list(LENGTH arg_SETS count)
  if(count EQUAL 1)
    set_property(TARGET ${target} APPEND PROPERTY COMPILE_DEFINITIONS NUV_ONE_SET=${arg_SETS})
  else()
    target_sources(${target} PRIVATE
      ${PROJECT_SOURCE_DIR}/src/frame/isa_binding.cpp ${PROJECT_SOURCE_DIR}/src/base/instruction_set.cpp)
  endif()
endfunction()
