# What TREL_STATIC adds to the link of the client.

add_library(trel_static INTERFACE)
if(TREL_STATIC)
  if(TREL_QSLIBS)
    message(FATAL_ERROR "TREL_STATIC: the shared library of TREL_QSLIBS needs a dynamic client")
  endif()
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
  check_cxx_source_compiles("int main() {}" TREL_STATIC_PIE_WORKS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  # As libraries, not as options: of -pie, which CMake adds, and -static-pie the
  # last one counts.
  if(TREL_STATIC_PIE_WORKS)
    target_link_libraries(trel_static INTERFACE -static-pie)
  else()
    message(WARNING "TREL_STATIC: the client has a fixed address: compiler and C library bring no start-up "
      "code for static position-independent programs")
    target_link_libraries(trel_static INTERFACE -static)
  endif()
endif()
