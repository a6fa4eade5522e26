# The same small program on each of the targets that a project gets from nuv.
foreach(target nuv sequential threaded)
  add_executable(program_${target} ${CMAKE_CURRENT_LIST_DIR}/program.c)
  target_link_libraries(program_${target} PRIVATE nuv::${target})
endforeach()
target_compile_definitions(program_nuv PRIVATE PUBLISHED_NAMES)
