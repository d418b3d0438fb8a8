# bash completion for tectl: the words come from tectl itself
# (tectl --commands), so they follow its command table. The tectl asked is
# the one being completed (./build/tools/tectl, ~/bin/tectl), not the one on
# PATH.
_tectl() {
    local cur=${COMP_WORDS[COMP_CWORD]} typed=() w
    local program=${COMP_WORDS[0]}
    [[ $program == "~/"* ]] && program=$HOME/${program#"~/"}
    for w in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $w == -* ]] || typed+=("$w")
    done
    local next
    next=$("$program" --commands 2>/dev/null | awk -v typed="${typed[*]}" '
        { n = split(typed, t, " "); m = split($0, c, " "); ok = m > n
          # An upper-case word (NAME) stands for an argument: any word matches
          # it, and it is not offered.
          for (i = 1; i <= n && ok; i++) ok = c[i] == t[i] || c[i] ~ /^[A-Z0-9_]+$/
          if (ok && c[n + 1] !~ /^[A-Z0-9_]+$/) print c[n + 1] }' | sort -u)
    COMPREPLY=($(compgen -W "$next --json --undo --help --version" -- "$cur"))
}
complete -F _tectl tectl
