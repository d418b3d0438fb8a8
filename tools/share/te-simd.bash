# bash completion for te-simd: its options, files after --tables, --state
# and --capture, directories after --relay.
_te_simd() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    case $prev in
    --tables | --state | --capture) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --relay) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- "$cur")); return ;;
    --fault | --ready-fd | --max-rows) return ;;
    esac
    COMPREPLY=($(compgen -W "-v --verbose --group --ready-fd --max-rows --tables --state --fault --capture --relay --help --version" -- "$cur"))
}
complete -F _te_simd te-simd
