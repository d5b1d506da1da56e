# Toolchain file: builds for the Debian architecture that TREL_ARCH names, with the cross
# compiler that Debian calls by the target's triplet, or with clang if CMAKE_CXX_COMPILER
# says so. Programs of the target run under qemu-user.

# architecture, triplet, processor, qemu's name for it
set(trel_arch_arm64 aarch64-linux-gnu aarch64 aarch64)
set(trel_arch_armhf arm-linux-gnueabihf armv7l arm)
set(trel_arch_i386 i686-linux-gnu i686 i386)
set(trel_arch_mips64el mips64el-linux-gnuabi64 mips64 mips64el)
set(trel_arch_ppc64el powerpc64le-linux-gnu ppc64le ppc64le)
set(trel_arch_riscv64 riscv64-linux-gnu riscv64 riscv64)
set(trel_arch_s390x s390x-linux-gnu s390x s390x)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TREL_ARCH)
if(NOT trel_arch_${TREL_ARCH})
  message(FATAL_ERROR "TREL_ARCH: there is no cross build for \"${TREL_ARCH}\"")
endif()
list(GET trel_arch_${TREL_ARCH} 0 trel_triplet)
list(GET trel_arch_${TREL_ARCH} 1 CMAKE_SYSTEM_PROCESSOR)
list(GET trel_arch_${TREL_ARCH} 2 trel_qemu)

set(CMAKE_SYSTEM_NAME Linux)
if(NOT CMAKE_CXX_COMPILER)
  set(CMAKE_CXX_COMPILER ${trel_triplet}-g++)
endif()
set(CMAKE_CXX_COMPILER_TARGET ${trel_triplet}) # read by clang alone
set(CMAKE_LIBRARY_ARCHITECTURE ${trel_triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${trel_qemu} -L /usr/${trel_triplet})
set(TREL_EMULATOR "qemu-${trel_qemu} -L /usr/${trel_triplet}" CACHE INTERNAL "")
