#!/usr/bin/env bash
# ask.bash <completion> <place> <word>...: what bash offers at the word with that
# number, the program's name being number 0, one per line.
# shellcheck source=/dev/null # the caller names it
source "$1"
COMP_CWORD=$2
COMP_WORDS=("${@:3}")
export COMP_LINE="${COMP_WORDS[*]}" COMP_TYPE=${COMP_TYPE-9}
_trel_tool
((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
