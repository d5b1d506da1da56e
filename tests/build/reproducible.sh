#!/usr/bin/env bash
# Builds what is installed once more, from a copy of the sources in another folder, and
# fails unless it gives the same bytes: the client as released, small and with debugging
# information, and the stand-in daemon.
set -euo pipefail
cd "$(dirname "$0")/../.."

programs=(demo/trel-tool demo/trel-standin small/trel-tool symbols/trel-tool)
# A cache would hand out the same object twice.
unset CMAKE_CXX_COMPILER_LAUNCHER
export CCACHE_DISABLE=1

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
copy="$folder/a folder of another length"
mkdir "$copy"
git ls-files -z --cached --others --exclude-standard |
  xargs -0 cp --parents --target-directory="$copy"

quietly() {
  "$@" >"$folder/log" 2>&1 || {
    cat "$folder/log" >&2
    exit 1
  }
}

build() { # <source folder> <folder to build in>
  quietly cmake -S "$1" --preset demo -B "$2/demo"
  quietly cmake --build "$2/demo"
  quietly cmake -S "$1" --preset small -B "$2/small"
  quietly cmake --build "$2/small"
  # Debugging information is where paths like to hide.
  quietly cmake -S "$1" -B "$2/symbols" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
  quietly cmake --build "$2/symbols" --target trel-tool
}

build "$PWD" "$PWD/build"
build "$copy" "$copy/out of the way"

differs=0
for program in "${programs[@]}"; do
  if cmp "build/$program" "$copy/out of the way/$program"; then
    echo "the same bytes twice: $program"
  else
    differs=1
  fi
done
exit "$differs"
