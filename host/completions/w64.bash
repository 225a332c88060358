# bash completion for w64. Commands and options come from the program's own help.

_w64_commands() { sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]\{1,\}\) .*/\1/p' <<<"$1"; }
_w64_options() { grep -oE '^  (-[a-z],)?--[a-z-]+' <<<"$1" | tr -d ' ' | tr , '\n'; }
_w64_names() { awk -F '  +' '/^$/ { on = 0 } on { for (i = 2; i <= NF; i++) print $i "=" } /^Names:/ { on = 1 }' <<<"$1"; }

_w64() {
    local program=${1/#\~/$HOME} current=$2 words word
    local general help command=()
    general=$("$program" --help 2>/dev/null)
    help=$general
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == help ]] && continue # is followed by the same as w64
        _w64_commands "$help" | grep -qxF -- "$word" || continue
        command+=("$word")
        help=$("$program" "${command[@]}" --help 2>/dev/null)
    done
    case $3 in
    --format) words=$'wav\nflac\naiff\ncaf\nogg\nopus\nmp3\nraw' ;;
    --bits) words=$'8\n16\n24\n32\n64' ;;
    *)
        words=$(_w64_commands "$help")
        [[ $current == -* ]] && words=$(_w64_options "$general"$'\n'"$help")
        [[ $current$3 == *=* || $current == -* || $3 == -* || $3 == set ]] || words+=$(_w64_names "$help")
        ;;
    esac
    local IFS=$'\n'
    COMPREPLY=($(compgen -W "$words" -- "$current")) # none: file names
    [[ ${COMPREPLY[0]} == *= ]] || return 0
    COMPREPLY=("${COMPREPLY[@]// /\\ }")
    compopt -o nospace 2>/dev/null || true
}
complete -o default -F _w64 w64
