# bash completion for te-agentx: its options, and paths after -x (the
# master's AgentX socket, directories ending in / to go on; a
# tcp:HOST:PORT address is typed out).
_te_agentx() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    case $prev in
    -x) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --base-oid | --refresh | --ready-fd) return ;;
    esac
    COMPREPLY=($(compgen -W "-x --base-oid --refresh --ready-fd -v --verbose --print-mib --list-oids --help --version" -- "$cur"))
}
complete -F _te_agentx te-agentx
