#!/usr/bin/env bash
# Tries the packages: packs them twice and compares (with --full builds them twice), runs
# lintian, runs the tests of the release build against the client in each, and on this
# machine, as root or with sudo, installs, uses and purges them. Shows what each holds.
set -euo pipefail
cd "$(dirname "$0")/../.."
shopt -s nullglob
build=$PWD/build/release
packages=$PWD/build/packages
names=(trel-tool trel-standin trel-tool-monitoring)

as_root=()
((EUID == 0)) || as_root=(sudo)
folder=$(mktemp -d)
standin=
installed=
# shellcheck disable=SC2317 # called by the trap
cleanup() {
  [[ -z $standin ]] || kill "$standin" 2>/dev/null || true
  [[ -z $installed ]] || "${as_root[@]}" dpkg --purge "${names[@]}" >/dev/null || true
  "${as_root[@]}" rm -rf "$folder"
}
trap cleanup EXIT
title() { printf -- '-- %s\n' "$*"; }
fail() {
  printf 'packages: %s\n' "$*" >&2
  exit 1
}

# rpm makes a database where it looks for one.
rpm() { command rpm --dbpath "$folder/rpmdb" "$@"; }
# The packages are the only files that are made outside of build/.
mkdir "$folder/home" "$folder/tmp"
make_packages() {
  env GIT_CONFIG_GLOBAL="$HOME/.gitconfig" HOME="$folder/home" TMPDIR="$folder/tmp" scripts/package
  find "$folder/home" "$folder/tmp" -mindepth 1 >"$folder/made"
  [[ ! -s $folder/made ]] || fail "packing leaves behind: $(<"$folder/made")"
}

title "the same bytes twice"
make_packages
cp -r "$packages" "$folder/first"
if [[ ${1:-} == --full ]]; then
  rm -rf build/demo build/packaging
  export CCACHE_DISABLE=1
else
  find build/demo/trel-tool build/demo/trel-standin build/packaging/source/build/debian/trel-* \
    generated -exec touch {} +
fi
make_packages >"$folder/names"
# The first names the time of the build, the second the first.
diff -r --exclude='*.buildinfo' --exclude='*.changes' "$folder/first" "$packages"

title "lintian"
cd "$packages"
debs=(./*.deb)
rpms=(./*.rpm)
tars=(./*.tar.gz)
[[ ${#debs[@]} == 3 && ${#rpms[@]} == 3 && ${#tars[@]} == 3 ]] || fail "packages are missing"
# The standards are those of the oldest release.
lintian --allow-root --pedantic --display-info --suppress-tags out-of-date-standards-version \
  --fail-on error,warning,info,pedantic ./*.changes

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
  sed -e 's|^\.\{0,1\}/||' -e 's|^lib/|usr/lib/|' -e '/\/$/d; /^$/d' -e '/^usr\/share\/\(doc\|lintian\)/d' \
    -e '/^usr\/share\/trel-tool$/d' -e 's|zsh/vendor-completions|zsh/site-functions|' -e 's|\.8\.gz$|.8|' | sort
}
for name in "${names[@]}"; do
  dpkg-deb --fsys-tarfile "$name"_*.deb | tar --list | contents_of >"$folder/$name.deb.list"
  rpm --query --list --package "$name"-[0-9]*.rpm | contents_of >"$folder/$name.rpm.list"
  tar --list --file "$name"-[0-9]*.tar.gz | contents_of >"$folder/$name.tar.list"
  diff "$folder/$name.deb.list" "$folder/$name.rpm.list"
  diff "$folder/$name.deb.list" "$folder/$name.tar.list"
done
for package in "${rpms[@]}"; do
  rpm --checksig --nosignature "$package"
done
if rpm --query --requires --package ./trel-tool-[0-9]*.rpm | grep -vE '^(libc\.so\.6|rpmlib|rtld)\('; then
  fail "the client's RPM needs more than libc"
fi

title "the tests against each package's client"
# rpm takes a folder for a system, in which what the packages need is missing. That of Debian 12
# warns to use it at all.
in_folder=("${as_root[@]}" env rpm --root "$folder/rpm" --dbpath /var/lib/rpm --nodeps)
mkdir "$folder/deb" "$folder/rpm" "$folder/tar"
dpkg-deb --extract ./trel-tool_*.deb "$folder/deb"
"${in_folder[@]}" --install "${rpms[@]}"
"${in_folder[@]}" --verify --all
tar --extract --file ./trel-tool-[0-9]*.tar.gz --directory "$folder/tar"
for kind in deb rpm tar; do
  TREL_TOOL=$folder/$kind/usr/sbin/trel-tool "$build/tests/cli_tests" --gtest_brief=1 \
    --gtest_filter='-*Slow*' >"$folder/$kind.log" 2>&1 || {
    cat "$folder/$kind.log" >&2
    fail "a test fails against the $kind package"
  }
  grep -h ' ran\. ' "$folder/$kind.log"
done

"${in_folder[@]}" --erase "${names[@]}"
find "$folder/rpm" -name '*trel*' >"$folder/made"
[[ ! -s $folder/made ]] || fail "the RPM packages leave behind: $(<"$folder/made")"

title "installed, used, purged"
state_of() { dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null || true; }
for name in "${names[@]}"; do
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

tests/build/binary.sh /usr/sbin/trel-tool 0
tests/build/hardening.sh /usr/sbin/trel-tool
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

debian/tests/exchange 2>"$folder/made" >/dev/null
[[ ! -s $folder/made ]] || fail "autopkgtest takes for a failure: $(<"$folder/made")"
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

"${as_root[@]}" dpkg --purge "${names[@]}" >/dev/null
installed=
list_files >"$folder/after"
diff "$folder/before" "$folder/after"
for name in "${names[@]}"; do
  [[ -z $(state_of "$name") ]] || fail "dpkg still knows $name"
done
echo "nothing is left behind"
