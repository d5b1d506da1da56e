# The flags of our targets, as libraries to link: trel_flags for all code, on top of
# it trel_hardening for what is installed, on top of that trel_client_flags.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()

# Warnings that all code of ours is free of, and the sanitizers.
add_library(trel_flags INTERFACE)
target_compile_options(trel_flags INTERFACE
  -Wall -Wextra -Wpedantic
  -Wcast-align -Wcast-qual -Wconversion -Wdouble-promotion -Wformat=2
  -Wimplicit-fallthrough -Wmissing-declarations -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Wshadow
  -Wsign-conversion -Wswitch-enum -Wundef -Wunused
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-branches -Wduplicated-cond -Wlogical-op>
  $<$<BOOL:${TREL_WARNINGS_AS_ERRORS}>:-Werror>)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  # Casts that 64-bit machines need are useless on others.
  target_compile_options(trel_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wuseless-cast>)
else()
  # Files beyond 2 GiB and times beyond 2038. Elsewhere fopen keeps its plain name.
  target_compile_definitions(trel_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
set(TREL_SANITIZED 0)
# Strip build paths from the binaries.
target_compile_options(trel_flags INTERFACE
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
  "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")
if(TREL_SANITIZERS)
  set(TREL_SANITIZED 1)
  target_compile_options(trel_flags INTERFACE
    -fsanitize=${TREL_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(trel_flags INTERFACE -fsanitize=${TREL_SANITIZERS})
endif()
if(TREL_BUILD_FUZZERS AND NOT TREL_SANITIZERS MATCHES "memory")
  # Counts what an input reaches, for all code that a fuzzer may be linked with.
  target_compile_options(trel_flags INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(trel_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Gives the targets of <library> the linker's -z <keyword>, if the linker knows it.
function(trel_link_with library keyword)
  string(MAKE_C_IDENTIFIER "TREL_LINKER_KNOWS_${keyword}" known)
  check_linker_flag(CXX "-Wl,-z,${keyword}" ${known})
  if(${known})
    target_link_options(${library} INTERFACE -Wl,-z,${keyword})
  endif()
endfunction()

# Hardening of what is installed, as far as compiler and linker know it for the target.
# CXXFLAGS win: a protection that they name is left to them. The sanitizers have checks
# of their own.
add_library(trel_hardening INTERFACE)
target_link_libraries(trel_hardening INTERFACE trel_flags)
if(TREL_COVERAGE)
  # Nobody counts the lines of tests. Atomic, since tests have threads.
  target_compile_options(trel_hardening INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(trel_hardening INTERFACE --coverage)
endif()
if(NOT TREL_SANITIZERS)
  # Fortified calls need an optimised build. Level 2 and not 3: tools that stand between
  # the client and its system calls know recv and read by those names.
  set(CMAKE_REQUIRED_FLAGS -O2)
  check_cxx_source_compiles([[
    #ifdef _FORTIFY_SOURCE
    #error
    #endif
    int main() {}]] TREL_FORTIFY_IS_OURS)
  if(TREL_FORTIFY_IS_OURS AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    target_compile_options(trel_hardening INTERFACE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
  endif()
  # clang takes options that do nothing for the target, with a warning.
  set(CMAKE_REQUIRED_FLAGS -Werror)
  foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection
      -fcf-protection -mbranch-protection=standard)
    string(REGEX REPLACE "^-.|-strong|=.*" "" family "${flag}")
    string(MAKE_C_IDENTIFIER "TREL_KNOWS_${family}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known} AND NOT CMAKE_CXX_FLAGS MATCHES "${family}")
      target_compile_options(trel_hardening INTERFACE ${flag})
    endif()
  endforeach()
  unset(CMAKE_REQUIRED_FLAGS)
  foreach(keyword IN ITEMS relro now noexecstack)
    trel_link_with(trel_hardening ${keyword})
  endforeach()
endif()

# The client needs nothing but libc at run time.
add_library(trel_client_flags INTERFACE)
target_link_libraries(trel_client_flags INTERFACE trel_hardening)
target_compile_options(trel_client_flags INTERFACE -fno-exceptions -fno-rtti -Wnull-dereference)
target_link_options(trel_client_flags INTERFACE -Wl,--as-needed)
# Two mappings instead of four: each start costs that much less (docs/performance.md).
trel_link_with(trel_client_flags noseparate-code)
