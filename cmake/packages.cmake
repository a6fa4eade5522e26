# nuv_need(RESULT WHAT PURPOSE): stops unless what a find command left in RESULT is there, and names the script that
# installs it: scripts/install-dependencies with this purpose.
function(nuv_need result what purpose)
  if(NOT ${result})
    message(FATAL_ERROR "${what} is missing. It is installed, with all that this build needs, by\n"
                        "  scripts/install-dependencies ${purpose}")
  endif()
endfunction()
