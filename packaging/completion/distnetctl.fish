# Completion of distnetctl for fish. Commands and options are read from the program's own help, so they match
# the installed version.

# Prints the words below a heading of a command's help, each with its description: __distnetctl_help HEADING [COMMAND…]
function __distnetctl_help
    distnetctl $argv[2..] --help 2>/dev/null | sed -n "/^$argv[1]:/,/^\$/s/^  \([^ ].*\)/\1/p" |
        string replace --regex '  +' \t
end

# Prints the names in the daemon's answer: __distnetctl_names ARGUMENT…
function __distnetctl_names
    distnetctl --json --timeout 1 $argv 2>/dev/null | grep -o '"name":"[^"]*"' | cut -d '"' -f 4 | tail -n +2
end

function __distnetctl_candidates
    set -l words (commandline --tokenize --current-process --cut-at-cursor)[2..]
    set -l current (commandline --current-token --cut-at-cursor)
    set -l passed
    set -l names
    set -l option
    for word in $words
        if test -n "$option"
            contains -- $option --socket --state; and set -a passed $option $word
            set option
        else if contains -- $word --socket --state --timeout --output -o --device-name --interval --since --recording \
                --passphrase-fd
            set option $word
        else if not string match --quiet -- '-*' $word
            set -a names $word
        end
    end

    switch "$option"
        case --state --socket --output -o
            __fish_complete_path $current
            return
        case --since
            printf '%s\n' 10m 1h30m 1d today yesterday
            return
        case '--*'
            return
    end
    if string match --quiet -- '-*' $current
        begin
            __distnetctl_help Options $names
            __distnetctl_help Options
        end | string match --regex --all -- '--[a-z-]+' | sort --unique
        return
    end
    switch "$names"
        case start stop up 'up *' prefer 'prefer *' 'share allow' 'share deny'
            __distnetctl_names $passed devices
        case 'account rename' 'account remove' 'account transfer'
            __distnetctl_names $passed account devices
        case 'account request' 'account admit' 'account install' 'account backup' 'account restore' 'trace stop'
            __fish_complete_path $current
        case auto
            printf '%s\n' on off
        case info 'info *'
            printf '%s\n' supportSmartHotSpot hotspotName bssid
        case 'sim set' 'sim set *'
            distnetctl --json sim show $passed 2>/dev/null | sed -n 's/.*"state":{//p' |
                grep -o '"[A-Za-z0-9_.]*":' | tr -d '":' | string replace --regex '$' =
        case '*'
            __distnetctl_help Subcommands $names $passed
    end
end

complete --command distnetctl --no-files --arguments '(__distnetctl_candidates)'
