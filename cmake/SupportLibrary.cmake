# Checks the shared library that TREL_QSLIBS names: it must exist and export the four
# functions that the client uses.

if(TREL_QSLIBS)
  if(NOT EXISTS "${TREL_QSLIBS}" OR IS_DIRECTORY "${TREL_QSLIBS}")
    message(FATAL_ERROR "TREL_QSLIBS: there is no library ${TREL_QSLIBS}")
  endif()

  include(CheckCXXSourceCompiles)
  foreach(function IN ITEMS Warning Panic UtilSafeStrdup0 QSR_ReturnStatusToString)
    set(CMAKE_REQUIRED_LIBRARIES "${TREL_QSLIBS}")
    set(CMAKE_REQUIRED_QUIET TRUE)
    # Another library may be named at the next configuration: no result is kept.
    unset(TREL_QSLIBS_HAS_${function} CACHE)
    check_cxx_source_compiles(
      "extern \"C\" void ${function}(); int main() { ${function}(); }"
      TREL_QSLIBS_HAS_${function})
    unset(CMAKE_REQUIRED_LIBRARIES)
    unset(CMAKE_REQUIRED_QUIET)
    if(NOT TREL_QSLIBS_HAS_${function})
      message(FATAL_ERROR "TREL_QSLIBS: ${TREL_QSLIBS} lacks the function ${function}")
    endif()
  endforeach()
endif()
