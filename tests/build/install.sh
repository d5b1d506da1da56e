#!/usr/bin/env bash
# What is installed is right for the folder that it is installed to, and the target
# `uninstall` removes it: all files, and the folders that were not there before.
#
#   install.sh <build folder> <cmake>
set -euo pipefail
build=$1 cmake=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
fail() {
  echo "$*" >&2
  exit 1
}

mkdir -p "$prefix/share/man"
touch "$prefix/share/man/kept"
find "$prefix" | sort >"$build/install_before.txt"
rm -f "$build"/install_manifest*.txt "$build/install_folders.txt"

text=$("$cmake" --install "$build" --prefix "$prefix")
fish=$prefix/share/fish/vendor_completions.d/trel-tool.fish
[[ $text == *"For fish: ln -s $fish /etc/fish/completions/"* ]] || fail "nothing is said about fish: $text"
[[ -s $fish && -x $prefix/sbin/trel-tool ]] || fail "files are missing"
[[ ! -e $prefix/lib/systemd ]] || fail "monitoring is installed without being asked for"

"$cmake" --install "$build" --prefix "$prefix" --component monitoring >/dev/null
check=$(sed -n 's/^ExecStart=\([^ ]*\) .*/\1/p' "$prefix/lib/systemd/system/trel-monitoring.service")
[[ $check == "$prefix"/* && -x $check ]] || fail "the service starts $check"

"$cmake" --build "$build" --target uninstall >/dev/null
find "$prefix" | sort | diff "$build/install_before.txt" - || fail "uninstall leaves files or removes too many"
