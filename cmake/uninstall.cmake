# Removes what `cmake --install` put into place, by the list that it left in the build folder, and the folders that are
# empty then and were made for nuv. Run by the target uninstall, with MANIFEST naming the list.

if(NOT EXISTS ${MANIFEST})
  message(FATAL_ERROR "Nothing was installed from here: there is no ${MANIFEST}.")
endif()
file(STRINGS ${MANIFEST} files ENCODING UTF-8)
set(folders)
foreach(file IN LISTS files)
  set(file "$ENV{DESTDIR}${file}")
  if(EXISTS ${file} OR IS_SYMLINK ${file})
    message(STATUS "Removing: ${file}")
    file(REMOVE ${file})
  else()
    message(STATUS "Gone before: ${file}")
  endif()
  cmake_path(GET file PARENT_PATH folder)
  # Folders of nuv's own are named for it, whatever lies in them.
  while(folder MATCHES "/nuv(/|$)")
    list(APPEND folders ${folder})
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
endforeach()

list(REMOVE_DUPLICATES folders)
list(SORT folders ORDER DESCENDING)  # what lies in a folder comes before it
foreach(folder IN LISTS folders)
  file(GLOB left ${folder}/* ${folder}/.*)
  list(REMOVE_ITEM left ${folder}/. ${folder}/..)
  if(NOT left AND IS_DIRECTORY ${folder})
    file(REMOVE_RECURSE ${folder})
  endif()
endforeach()
file(REMOVE ${MANIFEST})
