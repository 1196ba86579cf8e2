# Completion of vox for bash.
_vox()
{
    local words=("${COMP_WORDS[@]:1:COMP_CWORD}") answer
    # bash takes words apart at colons; together again, with what is before the last colon left out of the answers.
    _get_comp_words_by_ref -n : cur words 2>/dev/null && words=("${words[@]:1:COMP_CWORD}")
    # It fails where a file belongs.
    answer=$("${COMP_WORDS[0]}" complete "${words[@]}" 2>/dev/null) || compopt -o default
    mapfile -t COMPREPLY < <([[ -z $answer ]] || printf '%s\n' "$answer")
    declare -F __ltrim_colon_completions >/dev/null && __ltrim_colon_completions "${words[-1]}"
    case "${COMPREPLY[*]}" in
        *: | *@ | */) compopt -o nospace ;;
    esac
}
complete -F _vox vox
