#!/usr/bin/env bash
# Another support library can be linked instead of the project's own: the client prints
# its texts. A library that is missing or incomplete stops the configuration.
#
#   support_library.sh <source folder> <cmake> <C++ compiler>
set -euo pipefail
source=$1 cmake=$2 compiler=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
  echo "$*" >&2
  exit 1
}

cat >substitute.cc <<'CODE'
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
extern "C" {
void Warning(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fputs("substitute> ", stderr);
  vfprintf(stderr, format, arguments);
  va_end(arguments);
}
[[noreturn]] void Panic(const char*, ...) { abort(); }
char* UtilSafeStrdup0(const char* text) { return strdup(text); }
#ifndef INCOMPLETE
const char* QSR_ReturnStatusToString(uint32_t) { return "substitute status"; }
#endif
}
CODE
"$compiler" -shared -fPIC -o libsubstitute.so substitute.cc
"$compiler" -shared -fPIC -DINCOMPLETE -o libincomplete.so substitute.cc

configure() { "$cmake" -S "$source" -B build -DCMAKE_CXX_COMPILER="$compiler" -DTREL_QSLIBS="$1" 2>&1; }

text=$(configure "$folder/missing.so") && fail "a missing library was accepted"
[[ $text == *"TREL_QSLIBS: there is no library $folder/missing.so"* ]] || fail "$text"

text=$(configure "$folder/libincomplete.so") && fail "an incomplete library was accepted"
tr -s '\n ' ' ' <<<"$text" |
  grep -q "TREL_QSLIBS: $folder/libincomplete.so lacks the function QSR_ReturnStatusToString" ||
  fail "$text"

configure "$folder/libsubstitute.so" >log || fail "$(cat log)"
"$cmake" --build build >log 2>&1 || fail "$(cat log)"
readelf --dynamic build/trel-tool | grep -q 'NEEDED.*libsubstitute.so' || fail "not linked"
nm build/trel-tool | grep -q ' T Warning$' && fail "our own Warning is still in"

[[ $(build/trel-tool nosuch 2>&1 >usage) == "substitute> Unrecognized command: nosuch" ]] ||
  fail "its Warning is not the one used"
[[ $(build/trel-tool -z 2>&1 >usage) != *substitute* ]] || fail "what the C library reports is reported again"

# A daemon that hangs up at once: the send or the receive fails, both with a status text.
mkfifo ready
/usr/bin/python3 - <<'CODE' &
import socket
with socket.socket(socket.AF_UNIX) as daemon:
    daemon.bind("socket")
    daemon.listen()
    open("ready", "w").close()
    client, _ = daemon.accept()
    client.recv(8)
    client.sendall(bytes([0, 0, 0, 5, 0, 0, 0, 0]))
    client.recv(1)
CODE
cat ready
text=$(build/trel-tool -s socket fix-concats 2>&1) && fail "exit value 0 for a status of 5"
[[ $text == "substitute> Error received: substitute status: (null)" ]] || fail "$text"
wait
