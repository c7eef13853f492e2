# bash completion of the cellwarden tools. It reads commands, options and names from each tool's --help
# and lists.

_cellwarden_tool() {
    local cur prev words cword
    _init_completion || return
    local tool=${words[0]} help command='' word
    help=$("$tool" --help 2>/dev/null)
    local commands
    commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$help")
    for word in "${words[@]:1:cword-1}"; do
        if grep -qx -- "$word" <<<"$commands"; then
            command=$word
            help=$("$tool" "$command" --help 2>/dev/null)
            break
        fi
    done
    if [[ $prev == --type ]]; then
        word=$(sed -n 's/.*--type.*{\(.*\)}.*/\1/p' <<<"$help")
        mapfile -t COMPREPLY < <(compgen -W "${word//,/ }" -- "$cur")
    elif [[ $prev == --scenario ]]; then
        _filedir
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(
            compgen -W "$("$tool" --list 2>/dev/null | sed 's/ .*//')" -- "$cur")
    elif [[ $cur == -* ]]; then
        local options
        options=$(grep -oE -- '(^|[ ,])--?[a-z][a-z-]*' <<<"$help" | tr -d ' ,')
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    elif [[ -n $commands && -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    else
        _filedir
        if [[ $command == run && ! $prev =~ ^--(out|from|policy)$ ]]; then
            mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(
                compgen -W "$("$tool" list 2>/dev/null | sed '/^$/,$d; s/ .*//')" -- "$cur")
        fi
    fi
}
complete -F _cellwarden_tool cellwarden-bench cellwarden-campaign cellwarden-inspect \
    cellwarden-lifetime cellwarden-report
