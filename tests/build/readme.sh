#!/usr/bin/env bash
# The example of README.md works: the stand-in daemon reports that the script under test
# sent what it should, and shows the requests decoded.
#
#   readme.sh <source folder> <build folder>
set -euo pipefail
cd "$1"
unset POSIXLY_CORRECT # the example has options after the command word
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The three lines, without the first one, which builds.
lines=$(sed -n '/^## Test a script/,/^## Build/ s/^    //p' README.md)
[[ $(wc -l <<<"$lines") == 3 && $lines == scripts/demo* ]] || {
  echo "README.md does not hold the three lines: $lines" >&2
  exit 1
}
# In quotes: either path may have blanks.
build="\"$2\"" drawer="\"$folder\"/drawer"
lines=${lines//build\/demo/"$build"}
lines=${lines//\/tmp\/drawer/"$drawer"}
text=$(bash -euc "$(tail -n +2 <<<"$lines")" 2>&1)
for part in 'the script was followed: 3 requests' '"workItemName":"PROACTIVE_REBALANCE"' \
  '"decomMode":2' '{"feasible":true}'; do
  [[ $text == *"$part"* ]] || {
    printf 'not shown: %s\n%s\n' "$part" "$text" >&2
    exit 1
  }
done
