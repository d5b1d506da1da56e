#!/bin/sh
# A script under test: starts a rebalance and polls until it is done.
#
#   rebalance.sh TREL_TOOL SOCKET
set -eu
trel_tool=$1 socket=$2
tool() {
  "$trel_tool" -s "$socket" "$@"
}
tool start-proactive-rebalance 3600
polls=1
while tool info-proactive-rebalance | grep -q '"running":true'; do
  polls=$((polls + 1))
done
echo "moved after $polls polls"
