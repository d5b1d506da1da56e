#!/usr/bin/env bash
# Tries the packages: builds them twice and compares, runs lintian, runs the tests of
# the release build against the client in each, and on this machine, as root or with
# sudo, installs, uses and purges them. Shows what each package holds.
set -euo pipefail
cd "$(dirname "$0")/../.."
shopt -s nullglob
build=$PWD/build/release
packages=$PWD/build/packages

as_root=()
((EUID == 0)) || as_root=(sudo)
folder=$(mktemp -d)
standin=
installed=
# shellcheck disable=SC2317 # called by the trap
cleanup() {
  [[ -z $standin ]] || kill "$standin" 2>/dev/null || true
  [[ -z $installed ]] || "${as_root[@]}" dpkg --purge trel-tool trel-standin >/dev/null || true
  rm -rf "$folder"
}
trap cleanup EXIT
title() { printf -- '-- %s\n' "$*"; }
fail() {
  printf 'packages: %s\n' "$*" >&2
  exit 1
}

title "the same bytes twice"
scripts/package
cp -r "$packages" "$folder/first"
find build/demo/trel-tool build/demo/trel-standin generated -exec touch {} +
scripts/package >"$folder/names"
diff -r "$folder/first" "$packages"

title "lintian"
cd "$packages"
debs=(./*.deb)
rpms=(./*.rpm)
tars=(./*.tar.gz)
[[ ${#debs[@]} == 2 && ${#rpms[@]} == 2 && ${#tars[@]} == 2 ]] || fail "packages are missing"
lintian --allow-root --show-overrides --fail-on error,warning "${debs[@]}"

title "contents"
for package in "${debs[@]}"; do
  printf '%s\n' "$package"
  dpkg-deb --field "$package" Package Version Depends Installed-Size
  dpkg-deb --fsys-tarfile "$package" | tar --list --verbose
done
[[ $(dpkg-deb --field ./trel-tool_*.deb Depends) =~ ^libc6\ \([^,]*\)$ ]] ||
  fail "the client needs more than libc"

# contents_of <list of files>: the files of a package, without its documents and
# with the folders that differ between the kinds made equal.
contents_of() {
  sed -e 's|^\.\{0,1\}/||' -e '/\/$/d' -e '/^usr\/share\/doc/d' -e '/^usr\/share\/trel-tool$/d' \
    -e 's|zsh/vendor-completions|zsh/site-functions|' | sort
}
for name in trel-tool trel-standin; do
  dpkg-deb --fsys-tarfile "$name"_*.deb | tar --list | contents_of >"$folder/$name.deb.list"
  rpm --query --list --package "$name"-*.rpm | contents_of >"$folder/$name.rpm.list"
  tar --list --file "$name"-*.tar.gz | contents_of >"$folder/$name.tar.list"
  diff "$folder/$name.deb.list" "$folder/$name.rpm.list"
  diff "$folder/$name.deb.list" "$folder/$name.tar.list"
done
for package in "${rpms[@]}"; do
  rpm --checksig --nosignature "$package"
done
if rpm --query --requires --package ./trel-tool-*.rpm | grep -vE '^(libc\.so\.6|rpmlib|rtld)\('; then
  fail "the client's RPM needs more than libc"
fi

title "the tests against each package's client"
mkdir "$folder/deb" "$folder/rpm" "$folder/tar"
dpkg-deb --extract ./trel-tool_*.deb "$folder/deb"
rpm2cpio ./trel-tool-*.rpm | (cd "$folder/rpm" && cpio --extract --make-directories --quiet)
tar --extract --file ./trel-tool-*.tar.gz --directory "$folder/tar"
for kind in deb rpm tar; do
  TREL_TOOL=$folder/$kind/usr/sbin/trel-tool "$build/tests/cli_tests" --gtest_brief=1 \
    --gtest_filter='-*Slow*' >"$folder/$kind.log" 2>&1 || {
    cat "$folder/$kind.log" >&2
    fail "a test fails against the $kind package"
  }
  grep -h ' ran\. ' "$folder/$kind.log"
done

title "installed, used, purged"
state_of() { dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null || true; }
for name in trel-tool trel-standin; do
  [[ -z $(state_of "$name") ]] || fail "$name is installed here already and is not touched"
done
list_files() { "${as_root[@]}" find /etc /opt /usr /var/lib -xdev ! -path '/var/lib/apt/*' | sort; }
list_files >"$folder/before"
installed=1
# A machine that leaves out manual pages gets these all the same.
"${as_root[@]}" dpkg --path-include='/usr/share/man/*' --path-include='/usr/share/doc/*' \
  --install "${debs[@]}" >/dev/null
cmp "$folder/deb/usr/sbin/trel-tool" /usr/sbin/trel-tool
cd - >/dev/null

tests/build/hardening.sh /usr/sbin/trel-tool libc.so.6
tests/build/hardening.sh /usr/bin/trel-standin
for page in trel-tool trel-standin; do
  file=$(man --where 8 "$page")
  [[ $file == /usr/share/man/man8/$page.8.gz ]] || fail "man finds $file for $page"
  COLUMNS=80 man 8 "$page" >"$folder/$page.text"
  grep -q 'EXIT STATUS' "$folder/$page.text" || fail "man does not show $page"
  gzip --decompress --stdout "$file" >"$folder/$page.8"
done
guides=(/usr/share/doc/trel-standin/{testing-scripts,standin}.md*)
((${#guides[@]} == 2)) || fail "trel-standin has no guide"
# With both pages there, neither refers to one that is missing.
if mandoc -Tlint "$folder"/trel-tool.8 "$folder"/trel-standin.8 2>/dev/null | grep 'Xr trel-'; then
  fail "a page refers to one that is not there"
fi

mkfifo "$folder/ready"
trel-standin --socket "$folder/socket" >"$folder/ready" &
standin=$!
exec 3<"$folder/ready"
read -r _ <&3
PATH=/usr/sbin:$PATH /usr/bin/python3 tests/generated/tab_test.py "$folder/socket"
kill "$standin"
wait "$standin" 2>/dev/null || true
standin=
TREL_MANUAL=$folder/trel-tool.8 TREL_TOOL=/usr/sbin/trel-tool TREL_STANDIN=/usr/bin/trel-standin \
  /usr/bin/python3 tests/generated/generated_test.py Manual.test_examples_work_against_the_stand_in

"${as_root[@]}" dpkg --purge trel-tool trel-standin >/dev/null
installed=
list_files >"$folder/after"
diff "$folder/before" "$folder/after"
for name in trel-tool trel-standin; do
  [[ -z $(state_of "$name") ]] || fail "dpkg still knows $name"
done
echo "nothing is left behind"
