# Sourced by an interactive zsh: the key ^X^A writes to the descriptor `answer` what
# the completion offers at the cursor, one per line, closed by a line of its own.

unsetopt beep
PROMPT= RPROMPT=
autoload -Uz compinit
compinit -D -u

typeset -ga asked_offers
compadd() {
  # Calls that only sort out what fits add nothing.
  if (( ${@[(I)-[AOD]*]} )); then
    builtin compadd "$@"
    return
  fi
  local -a fitting
  builtin compadd -A fitting "$@"
  asked_offers+=("${fitting[@]}")
  builtin compadd "$@"
}

trel-ask() {
  asked_offers=()
  _main_complete
  print -rlu $answer -- "${asked_offers[@]}" '.'
  # Nothing is inserted or listed.
  compstate[insert]= compstate[list]=
}
zle -C trel-ask complete-word trel-ask
bindkey '^X^A' trel-ask
print -ru $answer ready
