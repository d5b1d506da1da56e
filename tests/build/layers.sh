#!/usr/bin/env bash
# The layers of the client: client may include transport and support, transport may
# include support, support neither. The stand-in daemon and the tests' support share no
# code with the client.
#
#   layers.sh <source folder>
set -euo pipefail
cd "$1"

found=0
# forbid <folder> <pattern>: no file of the folder includes what matches.
forbid() {
  if grep -rnE "#include \"($2)/" "$1" --include='*.h' --include='*.cc'; then
    echo "$1 must not include that" >&2
    found=1
  fi
}

forbid src/support 'client|transport'
forbid src/transport 'client'
forbid standin 'client|transport|support|tests'
forbid tests/support 'client|transport|support'
grep -rq '#include "support/status.h"' src/transport # the pattern finds includes at all
exit "$found"
