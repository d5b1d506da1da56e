# Read by CPack before each kind of package.

if(CPACK_GENERATOR STREQUAL "DEB")
  set(kind debian)
  # CPack would put it above the description of both packages.
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
else()
  set(kind elsewhere)
endif()
set(CPACK_COMPONENTS_ALL "")
foreach(group IN LISTS CPACK_TREL_GROUPS)
  list(APPEND CPACK_COMPONENTS_ALL ${group} ${group}_${kind})
endforeach()
