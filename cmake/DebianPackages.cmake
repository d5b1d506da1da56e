# Finds what a part of the project needs; if it is missing, the message names the Debian
# package.

# trel_find_package(<package of CMake> <package of Debian>)
macro(trel_find_package package debian_package)
  find_package(${package} QUIET)
  if(NOT ${package}_FOUND)
    message(FATAL_ERROR
      "${package} is missing: install the Debian package ${debian_package} "
      "(scripts/setup installs all that the project needs).")
  endif()
endmacro()

# trel_find_program(<variable> <program> <package of Debian>)
macro(trel_find_program variable program debian_package)
  find_program(${variable} ${program})
  if(NOT ${variable})
    message(FATAL_ERROR
      "${program} is missing: install the Debian package ${debian_package} "
      "(scripts/setup installs all that the project needs).")
  endif()
endmacro()
