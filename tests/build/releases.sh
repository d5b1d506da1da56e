#!/usr/bin/env bash
# Tries the project on fresh Debian systems, with nothing but git and sudo in them: README's
# two commands and the quick checks as a user with sudo, and the two commands as root in a
# system of his own. Needs root, debootstrap and a Debian mirror.
#
#   tests/build/releases.sh [<release>...]              (without a word: bookworm trixie)
#
# What is tried is the last commit. Prints a line for each command.
set -euo pipefail
cd "$(dirname "$0")/../.."

releases=("$@")
((${#releases[@]})) || releases=(bookworm trixie)

# in_system <folder> <user> <command>: what it mounts and starts goes with it.
in_system() {
  # shellcheck disable=SC2016 # words of the inner shell
  unshare --mount --pid --fork --kill-child bash -euc '
    mount --types proc proc "$0/proc"
    mount --rbind /dev "$0/dev"
    mount --types sysfs --options ro sysfs "$0/sys"
    exec chroot "$0" su --login "$1" --command "cd trel-tool && $2"' "$@"
}

# try <release> <system> <user> <command>...
try() {
  local release=$1 system=$2 user=$3 command begin
  shift 3
  for command in "$@"; do
    begin=$SECONDS
    in_system "$system" "$user" "$command" >"$folder/log" 2>&1 || {
      cat "$folder/log" >&2
      echo "$release, $user: $command fails" >&2
      exit 1
    }
    echo "$release, $user: $command passes, $((SECONDS - begin)) s"
  done
  rm -rf "$system"
}

trap 'rm -rf "$folder"' EXIT
for release in "${releases[@]}"; do
  folder=$PWD/build/releases/$release
  rm -rf "$folder"
  mkdir -p "$folder"
  first=$folder/first
  # What it mounts goes with it.
  unshare --mount debootstrap --variant=minbase --include=ca-certificates,git,sudo "$release" "$first" \
    >"$folder/log" || {
    cat "$folder/log" >&2
    exit 1
  }
  echo "127.0.0.1 localhost $(hostname)" >"$first/etc/hosts"
  cp /etc/resolv.conf "$first/etc/resolv.conf"
  chroot "$first" useradd --create-home --shell /bin/bash builder
  echo "builder ALL=(ALL) NOPASSWD: ALL" >"$first/etc/sudoers.d/builder"
  git clone --quiet --no-hardlinks . "$first/root/trel-tool"
  cp -a "$first/root/trel-tool" "$first/home/builder/trel-tool"
  chroot "$first" chown -R builder: /home/builder
  cp -a "$first" "$first.root"
  try "$release" "$first" builder scripts/demo scripts/test scripts/check
  try "$release" "$first.root" root scripts/demo scripts/test
done
