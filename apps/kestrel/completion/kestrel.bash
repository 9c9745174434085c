# Completion of kestrel for bash: the program itself knows its commands, filters, keys and values.
_kestrel() {
    local line=${COMP_LINE:0:COMP_POINT} candidate skip word
    local -a words
    read -ra words <<<"$line"
    case $line in *[[:space:]]) words+=('') ;; esac
    word=${words[${#words[@]} - 1]}
    # bash replaces only what stands after the last colon or equals sign.
    skip=${word%"${word##*[:=]}"}
    COMPREPLY=()
    while IFS=$'\t' read -r candidate _; do
        COMPREPLY+=("${candidate#"$skip"}")
        case $candidate in *[:=]) compopt -o nospace ;; esac
    done < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
}
complete -o default -F _kestrel kestrel
