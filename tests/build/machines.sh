#!/usr/bin/env bash
# Builds client and unit tests for other architectures, and runs under qemu-user the unit
# tests, and against the client the cli tests of the release build.
#
#   tests/build/machines.sh [--full | ARCHITECTURE...]
#
# Without arguments for arm64 (little-endian) and s390x (big-endian), with --full for all
# that cmake/CrossDebian.cmake knows. Prints how many unit and cli tests passed for each.
set -euo pipefail
cd "$(dirname "$0")/../.."

architectures=("$@")
(($# > 0)) || architectures=(arm64 s390x)
[[ ${1:-} != --full ]] || architectures=(arm64 armhf i386 mips64el ppc64el riscv64 s390x)

# What the emulator cannot do:
left_out=(
  '*Slow*' # these wait for real time-outs, which are the kernel's
  # qemu-user adds a line of its own to standard error when a signal that dumps core ends
  # the program.
  QslibsDeathTest.PanicWritesTheTextAndALineEndAndAborts
  '*/AnnouncedLength.BeyondTheMemoryLimitAborts/*'
  # The client is started as trel-tool, whatever the name that the test gives it.
  Help.NamesTheProgramAsInvoked
  # qemu-user handles signals of its own.
  Signals.AreLeftAsTheCallerSetThemButForTheBrokenPipe
)
# What a process with 32-bit addresses cannot do: allocate 2 GiB at once. Its client aborts.
beyond_32_bits=(
  StoppedClient.TakesALongPayloadOfWhichNothingHasComeForZerosInBoundedMemory
  '*/AnnouncedLength.NotSentIsAnEmptySuccessInBoundedMemory/2'
  '*/AnnouncedLength.NotSentIsAnEmptySuccessInBoundedMemory/3'
)

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# GoogleTest for the architecture, from the sources that Debian's package holds.
build_googletest() { # <architecture> <folder>
  cmake -S /usr/src/googletest -B "$2/googletest" -G Ninja --toolchain "$PWD/cmake/CrossDebian.cmake" \
    -DTREL_ARCH="$1" -DCMAKE_BUILD_TYPE=Release
  cmake --build "$2/googletest"
  cmake --install "$2/googletest" --prefix "$2/installed"
}

try() { # <architecture>
  local build=$PWD/build/cross-$1 order=little emulator filter name
  [[ $1 != armhf && $1 != i386 ]] || left_out+=("${beyond_32_bits[@]}")
  filter=-$(IFS=: && echo "${left_out[*]}")
  build_googletest "$1" "$build"
  export TREL_ARCH=$1
  cmake --preset cross -DTREL_BUILD_TESTS=ON \
    -DGTest_DIR="$build/installed/lib/cmake/GTest"
  cmake --build --preset cross --target trel-tool unit_tests
  tests/build/binary.sh "$build/trel-tool" 0
  emulator=$(sed -n 's/^TREL_EMULATOR:[A-Z]*=//p' "$build/CMakeCache.txt")
  mkdir "$folder/$1"
  printf '#!/bin/sh\nexec %s -0 trel-tool "%s" "$@"\n' "$emulator" "$build/trel-tool" \
    >"$folder/$1/trel-tool"
  chmod +x "$folder/$1/trel-tool"
  [[ $1 != s390x ]] || order=big
  for name in "${left_out[@]}"; do
    if ! grep -q '^  ' < <($emulator "$build/tests/unit_tests" --gtest_list_tests --gtest_filter="$name"
      build/release/tests/cli_tests --gtest_list_tests --gtest_filter="$name"); then
      echo "left out, but no test: $name"
      return 1
    fi
  done
  $emulator "$build/tests/unit_tests" --gtest_brief=1 --gtest_filter="$filter"
  TREL_TOOL=$folder/$1/trel-tool TREL_TOOL_BYTE_ORDER=$order build/release/tests/cli_tests \
    --gtest_brief=1 --gtest_filter="$filter"
}

for architecture in "${architectures[@]}"; do
  # As many at a time as there are processors.
  (($(jobs -pr | wc -l) < $(nproc))) || wait -n || true
  (
    trap '(($? == 0)) || touch "$folder/$architecture.failed"' EXIT
    try "$architecture" >"$folder/$architecture.log" 2>&1
  ) &
done
wait
status=0
for architecture in "${architectures[@]}"; do
  log=$folder/$architecture.log
  if [[ -e $folder/$architecture.failed ]]; then
    cat "$log" >&2
    echo "$architecture: failed"
    status=1
  else
    echo "$architecture: $(sed -n 's/.*PASSED *\] \([0-9]*\) tests.*/\1/p' "$log" | paste -sd '+') tests"
  fi
done
exit "$status"
