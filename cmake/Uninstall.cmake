# Run in the build folder by the target `uninstall`: removes the files of the last
# `cmake --install`, of all or of single components, then the folders that an installation
# has made and that are empty.

file(GLOB manifests "install_manifest*.txt")
if(NOT manifests)
  message(FATAL_ERROR "uninstall: nothing has been installed from this folder")
endif()
foreach(manifest IN LISTS manifests)
  file(STRINGS "${manifest}" files)
  foreach(file IN LISTS files)
    message(STATUS "Uninstalling: $ENV{DESTDIR}${file}")
    file(REMOVE "$ENV{DESTDIR}${file}")
  endforeach()
endforeach()

if(EXISTS install_folders.txt)
  file(STRINGS install_folders.txt folders)
  list(REMOVE_DUPLICATES folders)
  # A folder comes after those that it holds.
  list(SORT folders ORDER DESCENDING)
  foreach(folder IN LISTS folders)
    file(GLOB held LIST_DIRECTORIES true "${folder}/*" "${folder}/.[!.]*")
    if(NOT held)
      file(REMOVE_RECURSE "${folder}")
    endif()
  endforeach()
endif()
file(REMOVE ${manifests} install_folders.txt)
