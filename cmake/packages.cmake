# nuv_need(RESULT WHAT PURPOSE): stops unless what a find command left in RESULT is there, and names the script that
# installs it: scripts/install-dependencies with this purpose.
function(nuv_need result what purpose)
  if(NOT ${result})
    message(FATAL_ERROR "${what} is missing. It is installed, with all that this build needs, by\n"
                        "  scripts/install-dependencies ${purpose}")
  endif()
endfunction()

# A 64-bit Debian keeps libraries for 32-bit programs in lib32, where CMake looks only if it is told.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set_property(GLOBAL PROPERTY FIND_LIBRARY_USE_LIB32_PATHS TRUE)
endif()
