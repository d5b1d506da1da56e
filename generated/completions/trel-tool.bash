# bash completion for trel-tool(8). Made from the contract; edit protocol/
# instead. It neither runs the client nor touches the daemon.
# shellcheck shell=bash

_trel_tool_commands() {
  # word|options that it reads|what it does; without the last: not offered
  rows=(
    'stats|o|Retrieve TREL stats'
    'crawler|ua|Queue crawler run on an object specified by -u/--uuid'
    'fitness-config-get||'
    'fitness-config-set|j|'
    'fitness-config-reset||'
    'fitness-stats-get||Get current fitness stats for each disk'
    'log-level||Set treld log level'
    'fix-object-immediate|u|Fix absent and degraded components in object immediately'
    'get-object-last-operation|u|'
    'start-proactive-rebalance||Start proactive rebalance'
    'stop-proactive-rebalance||Stop proactive rebalance'
    'info-proactive-rebalance||Get the info of proactive rebalance'
    'fix-concats||Fix concats for all objects owned by the node now'
    'info-rebalance|ua|Get the info of rebalance for a disk specified by -u/--uuid'
    'resources-to-fix-unhealthy-objects|u|Resources required to fix unhealthy objects'
    'what-if-entity-decom|uade|Resources needed for entity decommissioning'
    'what-if-upgrade|luwdr|Resources needed for host or disk upgrade'
    'what-if-cancel||Cancel on-going what-if operation'
    'force-reconfigure-the-object|uf|Force apply the new object configuration to the object'
    'update-treldb|f|Update nodes/disks/KOR_objects in treldb'
    'replace-treldb|f|Update nodes/disks/KOR_objects in treldb, delete not present objects'
    'enable-trel-recovery-mode|mu|Put TREL in recovery mode'
    'get-obj-decom-state|ua|'
    'enable-workitem|i|Enable work item type specified by -i/--work-item'
    'disable-workitem|i|Disable work item type specified by -i/--work-item'
    'get-obj-crawler-state|uao|Get crawler state of an object specified by -u/--uuid OR Get crawler stats of all objects with -a/--all'
    'pause-decom-state-progress||pause progressing the decom state machine'
    'resume-decom-state-progress||resume progressing the decom state machine'
    'start-decom-state-heartbeat||start the heartbeat of state in decom state machine'
    'pause-failed-delta-entry-processing||pause the controller TREL just before it processes a failed delta entry'
    'block-cdb-cb|u|block certain cdb callbacks for testing'
    'refresh-config-opts||Refresh advanced config options'
    'component-manual-move|unx|Move the component based on given destination list or exclusion list'
    'set-global-exclusion-list|xX|Set global exclusion list so that none of new component goes to excluded disk/dg/host/fd as per exclusion mode'
    'info-owner-rebalance||Get the info about owner rebalance'
    'set-preferred-fd|u|Set preferred FD uuid in trelDB handle'
    'set-nonPreferred-fd|u|Set nonPreferred FD uuid in trelDB handle'
  )
}

_trel_tool_options() {
  # letter|name|kind of value|what it does
  rows=(
    'h|help|none|print the help text and end'
    'o|output-path|file|write a streamed reply to a file'
    's|socket-path|socket|socket of the daemon'
    't|timeout|number|accepted, has no effect'
    'u|uuid|uuid|UUID of the object, disk or other entity'
    'l|uuid-list|uuid-list|UUIDs of the hosts or disks, joined by commas'
    'j|json|json|JSON object with the fitness configuration'
    'f|file-path|file|file that the daemon is to read'
    'd|decom-mode|number|decommissioning mode'
    'e|ensure-durability|none|ensure durability in an ensure-access decommissioning'
    'r|reason|number|reason of the upgrade'
    'i|work-item|work-item|work-item type'
    'm|recovery-mode|number|recovery mode'
    'w|wipe-disk|none|wipe the disks in the upgrade'
    'a|all|none|all objects that this node owns'
    'n|destination-list|uuid-list|UUIDs of the destinations, joined by commas'
    'x|exclusion-list|uuid-list|UUIDs of what is excluded, joined by commas'
    'X|exclusion-mode|number|where the exclusion list holds'
  )
}

_trel_tool_values() {
  # letter|value|meaning
  rows=(
    'd|0|no action'
    'd|1|ensure access'
    'd|2|evacuate all data'
    'r|0|none'
    'r|1|disable dedup'
    'r|2|enable encryption'
    'r|3|disable dedup and enforce encryption'
    'i|PLACEMENT|work-item type 1'
    'i|DECOM_CLEANUP|work-item type 2'
    'i|CLEANUP|work-item type 3'
    'i|VOTES_REBALANCE|work-item type 5'
    'i|FIX_FD_IDS|work-item type 6'
    'i|MOVE|work-item type 7'
    'i|REACTIVE_REBALANCE|work-item type 8'
    'i|DECOM|work-item type 9'
    'i|FORCE_REPAIR|work-item type 10'
    'i|FORCE_RECONFIGURE|work-item type 11'
    'i|RECOVERY|work-item type 12'
    'i|REPAIR|work-item type 13'
    'i|CHANGE|work-item type 14'
    'i|CHANGE_PENDING|work-item type 15'
    'i|COMPLIANCE|work-item type 16'
    'i|CONCAT|work-item type 17'
    'i|PROACTIVE_REBALANCE|work-item type 18'
    'i|DELTA_DECOM|work-item type 19'
    'i|FORMAT_CHANGE|work-item type 20'
    'i|UNPLANNED_DELTA|work-item type 21'
    'i|MANUAL_MOVE|work-item type 22'
    'i|CONCAT_IN_MIDDLE|work-item type 23'
    'm|1|REPAIR'
    'm|2|REBALANCE'
    'm|3|COMPLIANCE'
    'm|4|POLICY'
    'm|5|CONCAT'
    'm|6|DELTA'
    'm|7|ALL, except DELTA'
    'X|0|for all new components'
    'X|1|not for witnesses'
    'X|2|not for new object placements'
    'X|3|neither for witnesses nor for new object placements'
  )
}

_trel_tool_words() {
  # command|place or group|word|meaning
  rows=(
    'start-proactive-rebalance|1|default|time span in seconds: 86400'
    'start-proactive-rebalance|2|default|variance threshold, 0 to 1: 0.3'
    'start-proactive-rebalance|3|default|time threshold in seconds: 1800'
    'start-proactive-rebalance|4|default|rate threshold in MB per hour: 14913081'
    'block-cdb-cb|event|update|block updates'
    'block-cdb-cb|event|add|block additions'
    'block-cdb-cb|event|delete|block deletions'
    'block-cdb-cb|entry|object|of objects'
    'block-cdb-cb|entry|disk|of disks'
    'block-cdb-cb|entry|node|of nodes'
  )
}

# Sets letter and kind of the long option that is named or abbreviated by $1.
_trel_tool_long() {
  local rows row found=() name
  _trel_tool_options
  for row in "${rows[@]}"; do
    name=${row#*|}
    name=${name%%|*}
    [[ $name == "$1" ]] && found=("$row") && break
    [[ $name == "$1"* ]] && found+=("$row")
  done
  ((${#found[@]} == 1)) || return
  IFS='|' read -r letter name kind _ <<<"${found[0]}"
}

# Sets letter and kind of the short option $1.
_trel_tool_short() {
  local rows row name
  _trel_tool_options
  for row in "${rows[@]}"; do
    [[ $row != "$1|"* ]] || IFS='|' read -r letter name kind _ <<<"$row"
  done
}

# Reads one word as the client would: sets awaits to the option that the next word
# is the value of, given, command, rest and ended.
_trel_tool_read() {
  local word=$1 letter='' kind='' index
  if [[ -n $awaits ]]; then
    awaits=''
  elif [[ $ended == 1 || $word != -?* ]]; then
    if [[ -z $command ]]; then command=$word; else rest+=("$word"); fi
  elif [[ $word == -- ]]; then
    ended=1
  elif [[ $word == --* ]]; then
    word=${word#--}
    _trel_tool_long "${word%%=*}"
    given+=$letter
    [[ $word == *=* || $kind == none ]] || awaits=$letter
  else
    for ((index = 1; index < ${#word}; index++)); do
      kind=''
      _trel_tool_short "${word:index:1}"
      given+=${word:index:1}
      if [[ -n $kind && $kind != none ]]; then
        ((index + 1 < ${#word})) || awaits=${word:index:1}
        return
      fi
    done
  fi
}

# Offers $2 with the description $3 if it begins as $1 does.
_trel_tool_offer() {
  [[ $2 == "$1"* ]] || return
  COMPREPLY+=("$2")
  meanings+=("$3")
}

# Offers paths that begin with $1, or with a second word only sockets and folders.
_trel_tool_paths() {
  local path typed=${1//\\/}
  compopt -o filenames 2>/dev/null
  while IFS= read -r path; do
    if [[ -z ${2-} || -d ${path/#\~\//"$HOME/"} || -S ${path/#\~\//"$HOME/"} ]]; then
      COMPREPLY+=("$path")
    fi
  done < <(compgen -f -- "${typed#[\"\']}")
}

# Offers values of the option $1 that begin with $2.
_trel_tool_offer_values() {
  local rows row letter kind='' value meaning
  _trel_tool_short "$1"
  case $kind in
    file) _trel_tool_paths "$2" ;;
    socket) _trel_tool_paths "$2" sockets ;;
    *)
      _trel_tool_values
      for row in "${rows[@]}"; do
        IFS='|' read -r letter value meaning <<<"$row"
        [[ $letter != "$1" ]] || _trel_tool_offer "$2" "$value" "$meaning"
      done
      ;;
  esac
}

# Offers the options that still make sense; a few commands refuse long ones.
_trel_tool_offer_options() {
  local rows row letter name meaning word reads=all
  _trel_tool_commands
  for row in "${rows[@]}"; do
    [[ $row != "$command|"* ]] || IFS='|' read -r word reads meaning <<<"$row"
  done
  [[ $reads == all ]] || reads+=hst
  # One of the two lists is enough, and both are refused.
  if [[ $command == component-manual-move && $given == *[nx]* ]]; then
    reads=${reads//[nx]/}
  fi
  _trel_tool_options
  for row in "${rows[@]}"; do
    IFS='|' read -r letter name _ meaning <<<"$row"
    [[ $given != *$letter* ]] || continue
    [[ $reads == all || $reads == *$letter* ]] || continue
    [[ $command == @(log-level|block-cdb-cb) ]] ||
      _trel_tool_offer "$1" "--$name" "$meaning"
    _trel_tool_offer "$1" "-$letter" "$meaning"
  done
}

_trel_tool_offer_words() {
  local rows row reads word place meaning other used
  if [[ -z $command ]]; then
    _trel_tool_commands
    for row in "${rows[@]}"; do
      IFS='|' read -r word reads meaning <<<"$row"
      [[ -z $meaning ]] || _trel_tool_offer "$1" "$word" "$meaning"
    done
    return
  fi
  _trel_tool_words
  for row in "${rows[@]}"; do
    [[ $row == "$command|"* ]] || continue
    IFS='|' read -r _ place word meaning <<<"$row"
    if [[ $place == [0-9] ]]; then
      ((place == ${#rest[@]} + 1)) || continue
    else
      used=''
      for other in "${rest[@]}"; do
        [[ " ${rows[*]} " != *"$command|$place|$other|"* ]] || used=1
      done
      [[ -z $used ]] || continue
    fi
    _trel_tool_offer "$1" "$word" "$meaning"
  done
}

# Puts the meanings after the words when readline is about to list them.
_trel_tool_describe() {
  local index width=0 line
  [[ ${COMP_TYPE-} == 63 || ${COMP_TYPE-} == 33 || ${COMP_TYPE-} == 64 ]] || return
  ((${#COMPREPLY[@]} > 1 && ${#COMPREPLY[@]} == ${#meanings[@]})) || return
  for line in "${COMPREPLY[@]}"; do
    ((${#line} <= width)) || width=${#line}
  done
  for index in "${!COMPREPLY[@]}"; do
    printf -v line '%-*s  (%s)' "$width" "${COMPREPLY[index]}" "${meanings[index]}"
    COMPREPLY[index]=${line:0:${COLUMNS:-80} - 1}
  done
}

_trel_tool() {
  local index word words=() place=0 join='' current prefix=''
  local awaits='' given='' command='' rest=() ended='' meanings=() rows row
  COMPREPLY=()
  compopt -o nosort 2>/dev/null

  # Readline splits the line at "=" too.
  for index in "${!COMP_WORDS[@]}"; do
    word=${COMP_WORDS[index]}
    if [[ -n $join || ($word == = && ${#words[@]} -gt 0 && ${words[-1]} == --*) ]]; then
      words[-1]+=$word
      [[ $word == = ]] && join=1 || join=''
    else
      words+=("$word")
    fi
    ((index != COMP_CWORD)) || place=$((${#words[@]} - 1))
  done

  for ((index = 1; index < place; index++)); do
    _trel_tool_read "${words[index]}"
  done
  # What is after the cursor counts as far as it holds the command word.
  _trel_tool_commands
  for word in "${words[@]:place + 1}"; do
    [[ -n $command || " ${rows[*]%%|*} " != *" $word "* ]] || command=$word
  done

  current=${words[place]}
  if [[ $given == *h* ]]; then
    return
  elif [[ -n $awaits ]]; then
    _trel_tool_offer_values "$awaits" "$current"
  elif [[ -z $ended && $current == --*=* ]]; then
    local letter='' kind=''
    word=${current%%=*}
    _trel_tool_long "${word#--}"
    _trel_tool_offer_values "$letter" "${current#*=}"
    # Without the split, the whole word is replaced.
    [[ ${COMP_WORDS[COMP_CWORD]} != --*=* ]] || prefix="$word="
  elif [[ -z $ended && $current == -[!-]?* ]]; then
    _trel_tool_offer_values "${current:1:1}" "${current:2}"
    prefix=${current:0:2}
  elif [[ -z $ended && $current == -* ]]; then
    _trel_tool_offer_options "$current"
  else
    _trel_tool_offer_words "$current"
  fi
  if [[ -n $prefix ]]; then
    COMPREPLY=("${COMPREPLY[@]/#/$prefix}")
  fi
  _trel_tool_describe
}

complete -F _trel_tool trel-tool
