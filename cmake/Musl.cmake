# Toolchain file: builds the client for musl with Debian's g++ and musl-tools. Debian has
# no libstdc++ for musl; the client needs its headers alone.

set(CMAKE_CXX_COMPILER g++)
execute_process(COMMAND g++ -print-multiarch
  OUTPUT_VARIABLE trel_triplet OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -dumpversion
  OUTPUT_VARIABLE trel_gxx OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REPLACE -gnu -musl trel_musl "${trel_triplet}")

# The macro is glibc's, and libstdc++ asks it which glibc there is.
set(CMAKE_CXX_FLAGS_INIT "-specs=/usr/lib/${trel_musl}/musl-gcc.specs -nostdinc++ \
-isystem /usr/include/c++/${trel_gxx} -isystem /usr/include/${trel_triplet}/c++/${trel_gxx} \
-isystem /usr/include/${trel_musl} \"-D__GLIBC_PREREQ(major,minor)=0\"")
# The specs file knows -static, and takes -static-pie for neither.
set(TREL_STATIC_PIE_WORKS OFF CACHE INTERNAL "")
