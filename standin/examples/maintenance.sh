#!/bin/sh
# A script under test: asks whether a disk may go while no rebalance is started.
#
#   maintenance.sh TREL_TOOL SOCKET
set -eu
trel_tool=$1 socket=$2
tool() {
  "$trel_tool" -s "$socket" "$@"
}
# Also when a step fails.
trap 'tool enable-workitem -i PROACTIVE_REBALANCE' EXIT
tool disable-workitem -i PROACTIVE_REBALANCE
tool what-if-entity-decom -u 00112233-4455-6677-8899-aabbccddeeff -d 2
