#!/usr/bin/env bash
# Fails if a finished binary is not hardened:
#
#   hardening.sh <binary>
#
# It must have PIE, full RELRO, immediate binding, a stack protector, stack-clash probes
# and fortified calls, no executable stack and no library path.
set -euo pipefail
export LC_ALL=C # readelf is read in its own words

binary=$1
status=0
fail() {
  printf '%s: %s\n' "$binary" "$1" >&2
  status=1
}

header=$(readelf --wide --file-header "$binary")
segments=$(readelf --wide --program-headers "$binary")
dynamic=$(readelf --wide --dynamic "$binary")
imported=$(nm --dynamic --undefined-only "$binary" | sed 's/@.*//; s/.* //')

grep -q 'Type: *DYN' <<<"$header" || fail "is not position-independent"
grep -q 'FLAGS_1.*PIE' <<<"$dynamic" || fail "is no position-independent executable"
grep -q 'GNU_RELRO' <<<"$segments" || fail "has no RELRO segment"
grep -q 'FLAGS.*BIND_NOW' <<<"$dynamic" || fail "binds lazily, so that RELRO is not full"
grep -q 'GNU_STACK.* RW ' <<<"$segments" || fail "has an executable stack"
if grep -qE 'RPATH|RUNPATH|TEXTREL' <<<"$dynamic"; then
  fail "has a library path of its own or relocations in its text"
fi
grep -qx '__stack_chk_fail' <<<"$imported" || fail "has no stack protector"
grep -qE '^__.*_chk$' <<<"$(grep -vx '__stack_chk_fail' <<<"$imported")" ||
  fail "makes no fortified call"
if grep -xE 'printf|sn?printf|v?fprintf|vprintf|strcpy|strcat' <<<"$imported" >&2; then
  fail "makes calls that are not fortified"
fi
# A frame beyond a page is touched page by page while it grows.
if [[ $(uname -m) == x86_64 ]]; then
  code=$(objdump --disassemble --no-show-raw-insn "$binary")
  # shellcheck disable=SC2016 # a dollar of the assembler's
  grep -qE 'or[bwlq]? +\$0x0,(0x[0-9a-f]+)?\(%rsp\)' <<<"$code" ||
    fail "has no stack-clash probe"
fi
exit "$status"
