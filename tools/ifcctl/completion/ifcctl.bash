# SPDX-License-Identifier: MIT OR GPL-2.0
# Completion of ifcctl for bash: source <(ifcctl completion bash)
_ifcctl() {
    local line=${COMP_LINE:0:COMP_POINT} program=$1 answer word prefix='' files=''
    [[ $program != '~/'* ]] || program=$HOME/${program#'~/'}
    mapfile -t answer < <("$program" complete "$line" 2>/dev/null)
    # bash replaces only what stands after the last of its word breaks, such as '='.
    word=${line##*[[:space:]]}
    [[ $word != *["$COMP_WORDBREAKS"]* ]] || prefix=${word%"${word##*["$COMP_WORDBREAKS"]}"}
    COMPREPLY=()
    for word in "${answer[@]}"; do
        if [[ $word == '<file>' ]]; then
            files=1
        else
            COMPREPLY+=("${word#"$prefix"}")
        fi
    done
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *[=:] ]] || compopt -o nospace
    [[ -n $files ]] || return 0
    if [[ ${#COMPREPLY[@]} -eq 0 ]]; then
        compopt -o default
    else
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$2")
        compopt -o filenames
    fi
}
complete -o nosort -F _ifcctl ifcctl
