# Completion of vox for bash.
_vox()
{
    local words=("${COMP_WORDS[@]:1:COMP_CWORD}") word prefix
    # bash takes words apart at colons; together again, with what is before the last colon left out of the answers.
    _get_comp_words_by_ref -n : cur words 2>/dev/null && words=("${words[@]:1:COMP_CWORD}")
    COMPREPLY=()
    while IFS= read -r word; do
        COMPREPLY+=("$word")
    done < <("${COMP_WORDS[0]}" complete "${words[@]}" 2>/dev/null)
    declare -F __ltrim_colon_completions >/dev/null && __ltrim_colon_completions "${words[-1]}"
    case "${COMPREPLY[*]}" in
        *: | *@ | */) compopt -o nospace ;;
    esac
}
complete -o default -F _vox vox
