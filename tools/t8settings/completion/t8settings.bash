# shellcheck shell=bash
# What may come next on the command line is for the tool itself to say; it answers in words that are
# quoted already, and says nothing where it cannot.
_t8settings() {
    local program=${1/#\~/$HOME} kind=
    COMPREPLY=()
    {
        read -r kind && mapfile -t COMPREPLY
    } < <("$program" complete bash "${COMP_LINE:0:COMP_POINT}" "$COMP_WORDBREAKS" 2>/dev/null)
    case $kind in
        path) compopt -o default ;;
        parts) compopt -o nospace ;;
    esac
} 2>/dev/null

complete -F _t8settings t8settings
