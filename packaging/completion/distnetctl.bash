# Completion of distnetctl for bash. Commands and options are read from the program's own help, so they match
# the installed version.

# Prints the words below a heading of a command's help: _distnetctl_help HEADING [COMMAND…]
_distnetctl_help()
{
    local heading=$1
    shift
    distnetctl "$@" --help 2>/dev/null | sed -n "/^$heading:/,/^\$/s/^  \([^ ].*\)/\1/p"
}

# Prints the values of a member of the daemon's answer: _distnetctl_members MEMBER ARGUMENT…
_distnetctl_members()
{
    local member=$1
    shift
    distnetctl --json --timeout 1 "$@" 2>/dev/null | grep -o "\"$member\":\"[^\"]*\"" | cut -d '"' -f 4
}

_distnetctl()
{
    local word=$2 before=$3 path=() passed=() value="" index files=--state,--socket,--output,-o
    local values=--timeout,--output,-o,--device-name,--interval,--since,--recording,--passphrase-fd
    for ((index = 1; index < COMP_CWORD; ++index)); do
        case ${COMP_WORDS[index]} in
            --socket | --state)
                passed+=("${COMP_WORDS[index]}" "${COMP_WORDS[index + 1]}")
                ((++index))
                ;;
            -*) [[ ,$values, == *",${COMP_WORDS[index]},"* ]] && ((++index)) ;;
            *) path+=("${COMP_WORDS[index]}") ;;
        esac
    done

    COMPREPLY=()
    if [[ ,$files, == *",$before,"* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        compopt -o filenames 2>/dev/null
        return
    elif [[ $before == --since ]]; then
        value="10m 1h30m 1d today yesterday"
    elif [[ ,$values, == *",$before,"* ]]; then
        return
    elif [[ $word == -* ]]; then
        value=$({ _distnetctl_help Options "${path[@]}"; _distnetctl_help Options; } | grep -o -e '--[a-z-]*')
    else
        case "${path[*]}" in
            start | stop | up | "up "* | prefer | "prefer "* | "share allow" | "share deny" | "account rename" | "account remove" | "account transfer")
                local list=(devices)
                [[ ${path[0]} == account ]] && list=(account devices)
                value=$(_distnetctl_members name "${passed[@]}" "${list[@]}" | tail -n +2)
                # A name may contain spaces, which compgen would treat as the end of a word.
                local IFS=$'\n'
                mapfile -t COMPREPLY < <(compgen -W "$value" -- "$word" | sed 's/[^[:alnum:]._-]/\\&/g')
                return
                ;;
            "account request" | "account admit" | "account install" | "account backup" | "account restore" | "trace stop")
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                compopt -o filenames 2>/dev/null
                return
                ;;
            auto) value="on off" ;;
            info | "info "*) value="supportSmartHotSpot hotspotName bssid" ;;
            "sim set" | "sim set "*)
                value=$(distnetctl --json sim show "${passed[@]}" 2>/dev/null | sed -n 's/.*"state":{//p' |
                    grep -o '"[A-Za-z0-9_.]*":' | tr -d '":' | sed 's/$/=/')
                compopt -o nospace 2>/dev/null
                ;;
            *) value=$(_distnetctl_help Subcommands "${path[@]}" "${passed[@]}" | cut -d ' ' -f 1) ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$value" -- "$word")
}

complete -F _distnetctl distnetctl
