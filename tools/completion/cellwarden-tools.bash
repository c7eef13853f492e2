# bash completion of the cellwarden tools: commands and options come from each tool's own --help.

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
    if [[ $cur == -* ]]; then
        local options
        options=$(grep -oE -- '(^|[ ,])--?[a-z][a-z-]*' <<<"$help" | tr -d ' ,')
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    elif [[ -n $commands && -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    else
        _filedir
    fi
}
complete -F _cellwarden_tool cellwarden-bench cellwarden-campaign cellwarden-inspect \
    cellwarden-lifetime cellwarden-report
