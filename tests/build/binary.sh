#!/usr/bin/env bash
# The client needs only libc at run time (a static one nothing), contains no code for
# exceptions or run-time types, calls C library functions by their plain names, and calls
# nothing that would change what its caller has set or set a time limit of its own.
#
#   binary.sh <client> <sanitized: 0 or 1>
set -euo pipefail
export LC_ALL=C # readelf is read in its own words
client=$1
if [[ $2 == 1 ]]; then
  echo "skipped: the sanitizers bring libraries and calls of their own"
  exit 77
fi

fail() {
  echo "$*" >&2
  exit 1
}

needed=$(readelf --dynamic "$client" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if ! readelf --program-headers --wide "$client" | grep -q '^ *INTERP '; then
  [[ -z $needed ]] || fail "is static and yet needs $needed"
  exit 0
fi
# The loader, where the stack protector's value is in it.
needed=$(grep -vE '^ld[-a-z0-9]*\.so\.[0-9]$' <<<"$needed" || true)
[[ $needed == libc.so.6 ]] || fail "needs more than libc: $needed"

# With the same meaning: large files and late times on 32-bit machines, C23's numbers.
symbols=$(nm --dynamic --undefined-only "$client" | sed 's/.* U //; s/@.*//
  s/^fopen64$/fopen/; s/^__setsockopt64$/setsockopt/; s/^__isoc23_//')
# clang 19 fortifies calls that g++ leaves alone at this level.
if readelf --string-dump=.comment "$client" | grep -q clang; then
  # shellcheck disable=SC2001 # one of several lines
  symbols=$(sed 's/^__\(read\|recv\)_chk$/\1/' <<<"$symbols")
fi
for name in signal calloc malloc free strdup socket setsockopt connect send recv read write \
  fopen getopt_long strtoull; do
  grep -qx "$name" <<<"$symbols" || fail "does not call $name"
done
if grep -E '^(__recv_chk|__read_chk|_Z|__cxa_throw|__gxx_personality)' <<<"$symbols"; then
  fail "calls what it must not"
fi
settings='setlocale|newlocale|uselocale|umask|f?chdir|f?chmod|setr?limit|prctl|daemon|setsid'
settings+='|(set|unset|put|clear|secure_get)env|setvbuf|setbuf|setlinebuf|isatty'
times='alarm|ualarm|setitimer|timer_create|timerfd_create|poll|p?select|nanosleep|sleep|usleep'
signals='sigaction|sigprocmask|pthread_sigmask|signalfd|sigset|raise|kill'
if grep -xE "($settings|$times|$signals)" <<<"$symbols"; then
  fail "changes its caller's settings or keeps a time of its own"
fi
