# fish completion for trel-tool(8). Made from the contract; edit protocol/
# instead. It neither runs the client nor touches the daemon.

# word|options that it reads|what it does; without the last: not offered
function __trel_tool_commands
    printf '%s\n' \
    'stats|o|Retrieve TREL stats' \
    'crawler|ua|Queue crawler run on an object specified by -u/--uuid' \
    'fitness-config-get||' \
    'fitness-config-set|j|' \
    'fitness-config-reset||' \
    'fitness-stats-get||Get current fitness stats for each disk' \
    'log-level||Set treld log level' \
    'fix-object-immediate|u|Fix absent and degraded components in object immediately' \
    'get-object-last-operation|u|' \
    'start-proactive-rebalance||Start proactive rebalance' \
    'stop-proactive-rebalance||Stop proactive rebalance' \
    'info-proactive-rebalance||Get the info of proactive rebalance' \
    'fix-concats||Fix concats for all objects owned by the node now' \
    'info-rebalance|ua|Get the info of rebalance for a disk specified by -u/--uuid' \
    'resources-to-fix-unhealthy-objects|u|Resources required to fix unhealthy objects' \
    'what-if-entity-decom|uade|Resources needed for entity decommissioning' \
    'what-if-upgrade|luwdr|Resources needed for host or disk upgrade' \
    'what-if-cancel||Cancel on-going what-if operation' \
    'force-reconfigure-the-object|uf|Force apply the new object configuration to the object' \
    'update-treldb|f|Update nodes/disks/KOR_objects in treldb' \
    'replace-treldb|f|Update nodes/disks/KOR_objects in treldb, delete not present objects' \
    'enable-trel-recovery-mode|mu|Put TREL in recovery mode' \
    'get-obj-decom-state|ua|' \
    'enable-workitem|i|Enable work item type specified by -i/--work-item' \
    'disable-workitem|i|Disable work item type specified by -i/--work-item' \
    'get-obj-crawler-state|uao|Get crawler state of an object specified by -u/--uuid OR Get crawler stats of all objects with -a/--all' \
    'pause-decom-state-progress||pause progressing the decom state machine' \
    'resume-decom-state-progress||resume progressing the decom state machine' \
    'start-decom-state-heartbeat||start the heartbeat of state in decom state machine' \
    'pause-failed-delta-entry-processing||pause the controller TREL just before it processes a failed delta entry' \
    'block-cdb-cb|u|block certain cdb callbacks for testing' \
    'refresh-config-opts||Refresh advanced config options' \
    'component-manual-move|unx|Move the component based on given destination list or exclusion list' \
    'set-global-exclusion-list|xX|Set global exclusion list so that none of new component goes to excluded disk/dg/host/fd as per exclusion mode' \
    'info-owner-rebalance||Get the info about owner rebalance' \
    'set-preferred-fd|u|Set preferred FD uuid in trelDB handle' \
    'set-nonPreferred-fd|u|Set nonPreferred FD uuid in trelDB handle'
end

# command|place or group|word|meaning
function __trel_tool_words
    printf '%s\n' \
    'start-proactive-rebalance|1|default|time span in seconds: 86400' \
    'start-proactive-rebalance|2|default|variance threshold, 0 to 1: 0.3' \
    'start-proactive-rebalance|3|default|time threshold in seconds: 1800' \
    'start-proactive-rebalance|4|default|rate threshold in MB per hour: 14913081' \
    'block-cdb-cb|event|update|block updates' \
    'block-cdb-cb|event|add|block additions' \
    'block-cdb-cb|event|delete|block deletions' \
    'block-cdb-cb|entry|object|of objects' \
    'block-cdb-cb|entry|disk|of disks' \
    'block-cdb-cb|entry|node|of nodes'
end

# letter|value|meaning
function __trel_tool_value_rows
    printf '%s\n' \
    'd|0|no action' \
    'd|1|ensure access' \
    'd|2|evacuate all data' \
    'r|0|none' \
    'r|1|disable dedup' \
    'r|2|enable encryption' \
    'r|3|disable dedup and enforce encryption' \
    'i|PLACEMENT|work-item type 1' \
    'i|DECOM_CLEANUP|work-item type 2' \
    'i|CLEANUP|work-item type 3' \
    'i|VOTES_REBALANCE|work-item type 5' \
    'i|FIX_FD_IDS|work-item type 6' \
    'i|MOVE|work-item type 7' \
    'i|REACTIVE_REBALANCE|work-item type 8' \
    'i|DECOM|work-item type 9' \
    'i|FORCE_REPAIR|work-item type 10' \
    'i|FORCE_RECONFIGURE|work-item type 11' \
    'i|RECOVERY|work-item type 12' \
    'i|REPAIR|work-item type 13' \
    'i|CHANGE|work-item type 14' \
    'i|CHANGE_PENDING|work-item type 15' \
    'i|COMPLIANCE|work-item type 16' \
    'i|CONCAT|work-item type 17' \
    'i|PROACTIVE_REBALANCE|work-item type 18' \
    'i|DELTA_DECOM|work-item type 19' \
    'i|FORMAT_CHANGE|work-item type 20' \
    'i|UNPLANNED_DELTA|work-item type 21' \
    'i|MANUAL_MOVE|work-item type 22' \
    'i|CONCAT_IN_MIDDLE|work-item type 23' \
    'm|1|REPAIR' \
    'm|2|REBALANCE' \
    'm|3|COMPLIANCE' \
    'm|4|POLICY' \
    'm|5|CONCAT' \
    'm|6|DELTA' \
    'm|7|ALL, except DELTA' \
    'X|0|for all new components' \
    'X|1|not for witnesses' \
    'X|2|not for new object placements' \
    'X|3|neither for witnesses nor for new object placements'
end

# Prints the values of the option with this letter.
function __trel_tool_values --argument-names letter
    __trel_tool_value_rows | string match -- "$letter|*" | string sub -s 3 | string replace '|' \t
end

# Prints what stands before the cursor: one line with the letters of the options
# that are given, then the command word and the words after it. The option whose
# value is at the cursor is not among them.
function __trel_tool_line
    set -l mark \x01
    set -l words (commandline -opc)[2..] $mark
    argparse --ignore-unknown \
        h/help \
        o/output-path=+ \
        s/socket-path=+ \
        t/timeout=+ \
        u/uuid=+ \
        l/uuid-list=+ \
        j/json=+ \
        f/file-path=+ \
        d/decom-mode=+ \
        e/ensure-durability \
        r/reason=+ \
        i/work-item=+ \
        m/recovery-mode=+ \
        w/wipe-disk \
        a/all \
        n/destination-list=+ \
        x/exclusion-list=+ \
        X/exclusion-mode=+ \
        -- $words 2>/dev/null
    set -l given
    for letter in h o s t u l j f d e r i m w a n x X
        set -l flag _flag_$letter
        set -q $flag; or continue
        test "$$flag[1][-1]" = $mark; or set -a given $letter
    end
    echo (string join '' $given)
    test "$argv[-1]" = $mark; and set -e argv[-1]
    set -l rest (string match --invert -- '--' $argv)
    # What is after the cursor counts as far as it holds the command word.
    if test (count $rest) -eq 0
        set -l before (commandline -opc)
        for word in (commandline -o)[2..]
            contains -- "$word" $before (commandline -t); and continue
            __trel_tool_commands | string match -q -- "$word|*"; and set rest $word; and break
        end
    end
    set -q rest[1]; and printf '%s\n' $rest
end

# Whether the option with this letter still makes sense, with a second word its long name.
function __trel_tool_takes --argument-names letter long
    set -l line (__trel_tool_line)
    # A few commands refuse long options.
    set -q long[1]; and set -q line[2]; and contains -- $line[2] log-level block-cdb-cb; and return 1
    string match -qr -- "[h$letter]" $line[1]; and return 1
    contains -- -- (commandline -opc); and return 1
    set -q line[2]; or return 0
    # One of the two lists is enough, and both are refused.
    if test $line[2] = component-manual-move
        contains -- $letter n x; and string match -qr '[nx]' -- $line[1]; and return 1
    end
    set -l row (__trel_tool_commands | string match -- "$line[2]|*")
    set -q row[1]; or return 0
    string match -q -- "*$letter*" hst(string split '|' -- $row)[2]
end

# Prints the words that may stand at the cursor.
function __trel_tool_offer
    # No word begins so, but fish would find it inside of many.
    string match -q -- '-*' (commandline -t); and return
    set -l line (__trel_tool_line)
    string match -q -- '*h*' $line[1]; and return
    if not set -q line[2]
        __trel_tool_commands | string match -v -- '*|' | string replace -r '\|.*\|' \t
        return
    end
    set -l rows (__trel_tool_words | string match -- "$line[2]|*")
    set -l rest $line[3..]
    for row in $rows
        set -l fields (string split '|' -- $row)
        if string match -qr '^[0-9]$' -- $fields[2]
            test $fields[2] -eq (math (count $rest) + 1); or continue
        else
            set -l used
            for word in $rest
                string match -q -- "$line[2]|$fields[2]|$word|*" $rows; and set used 1
            end
            test -z "$used"; or continue
        end
        printf '%s\t%s\n' $fields[3] $fields[4]
    end
end

# Prints the sockets and folders that begin as the word at the cursor does.
function __trel_tool_sockets
    set -l typed (string replace -r '^(--socket-path=|-s)' '' -- (commandline -t))
    for path in (complete -C "'' $typed" | string replace -r '\t.*' '')
        set -l full (string replace -r '^~/' "$HOME/" -- $path)
        test -S $full; and printf '%s\tsocket\n' $path
        test -d $full; and printf '%s\n' $path
    end
end

complete -c trel-tool -f
complete -c trel-tool -a '(__trel_tool_offer)'
complete -c trel-tool -n '__trel_tool_takes h' -s h -d 'print the help text and end'
complete -c trel-tool -n '__trel_tool_takes h long' -l help -d 'print the help text and end'
complete -c trel-tool -n '__trel_tool_takes o' -s o -d 'write a streamed reply to a file' -rF
complete -c trel-tool -n '__trel_tool_takes o long' -l output-path -d 'write a streamed reply to a file' -rF
complete -c trel-tool -n '__trel_tool_takes s' -s s -d 'socket of the daemon' -xa '(__trel_tool_sockets)'
complete -c trel-tool -n '__trel_tool_takes s long' -l socket-path -d 'socket of the daemon' -xa '(__trel_tool_sockets)'
complete -c trel-tool -n '__trel_tool_takes t' -s t -d 'accepted, has no effect' -x
complete -c trel-tool -n '__trel_tool_takes t long' -l timeout -d 'accepted, has no effect' -x
complete -c trel-tool -n '__trel_tool_takes u' -s u -d 'UUID of the object, disk or other entity' -x
complete -c trel-tool -n '__trel_tool_takes u long' -l uuid -d 'UUID of the object, disk or other entity' -x
complete -c trel-tool -n '__trel_tool_takes l' -s l -d 'UUIDs of the hosts or disks, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes l long' -l uuid-list -d 'UUIDs of the hosts or disks, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes j' -s j -d 'JSON object with the fitness configuration' -x
complete -c trel-tool -n '__trel_tool_takes j long' -l json -d 'JSON object with the fitness configuration' -x
complete -c trel-tool -n '__trel_tool_takes f' -s f -d 'file that the daemon is to read' -rF
complete -c trel-tool -n '__trel_tool_takes f long' -l file-path -d 'file that the daemon is to read' -rF
complete -c trel-tool -n '__trel_tool_takes d' -s d -d 'decommissioning mode' -x -a '(__trel_tool_values d)'
complete -c trel-tool -n '__trel_tool_takes d long' -l decom-mode -d 'decommissioning mode' -x -a '(__trel_tool_values d)'
complete -c trel-tool -n '__trel_tool_takes e' -s e -d 'ensure durability in an ensure-access decommissioning'
complete -c trel-tool -n '__trel_tool_takes e long' -l ensure-durability -d 'ensure durability in an ensure-access decommissioning'
complete -c trel-tool -n '__trel_tool_takes r' -s r -d 'reason of the upgrade' -x -a '(__trel_tool_values r)'
complete -c trel-tool -n '__trel_tool_takes r long' -l reason -d 'reason of the upgrade' -x -a '(__trel_tool_values r)'
complete -c trel-tool -n '__trel_tool_takes i' -s i -d 'work-item type' -x -a '(__trel_tool_values i)'
complete -c trel-tool -n '__trel_tool_takes i long' -l work-item -d 'work-item type' -x -a '(__trel_tool_values i)'
complete -c trel-tool -n '__trel_tool_takes m' -s m -d 'recovery mode' -x -a '(__trel_tool_values m)'
complete -c trel-tool -n '__trel_tool_takes m long' -l recovery-mode -d 'recovery mode' -x -a '(__trel_tool_values m)'
complete -c trel-tool -n '__trel_tool_takes w' -s w -d 'wipe the disks in the upgrade'
complete -c trel-tool -n '__trel_tool_takes w long' -l wipe-disk -d 'wipe the disks in the upgrade'
complete -c trel-tool -n '__trel_tool_takes a' -s a -d 'all objects that this node owns'
complete -c trel-tool -n '__trel_tool_takes a long' -l all -d 'all objects that this node owns'
complete -c trel-tool -n '__trel_tool_takes n' -s n -d 'UUIDs of the destinations, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes n long' -l destination-list -d 'UUIDs of the destinations, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes x' -s x -d 'UUIDs of what is excluded, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes x long' -l exclusion-list -d 'UUIDs of what is excluded, joined by commas' -x
complete -c trel-tool -n '__trel_tool_takes X' -s X -d 'where the exclusion list holds' -x -a '(__trel_tool_values X)'
complete -c trel-tool -n '__trel_tool_takes X long' -l exclusion-mode -d 'where the exclusion list holds' -x -a '(__trel_tool_values X)'
