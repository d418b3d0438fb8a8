#!/usr/bin/env python3
"""The bash completions of the tools with a fixed set of options offer what
each tool's --help lists: every long option, and no word that --help does
not name (a short alias may be left out).

  completion_test.py SHARE_DIR TOOL_PATH...

SHARE_DIR holds NAME.bash for each tool, whose function is _NAME with
hyphens written _.
"""
import os
import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])(--?[A-Za-z][\w-]*)")


def help_options(tool):
    """The options of the help's option list: the words before the
    description on lines starting with a dash."""
    text = subprocess.run([tool, "--help"], capture_output=True, text=True, timeout=10, check=True).stdout
    words = set()
    for line in text.splitlines():
        if re.match(r"\s+-", line):
            words.update(OPTION.findall(re.split(r"\s{2,}", line.strip(), maxsplit=1)[0]))
    return words


def completed(script, name, words):
    function = "_" + name.replace("-", "_")
    r = subprocess.run(["bash", "-c", f'. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); {function}; '
                        'printf "%s\\n" "${COMPREPLY[@]}"', "_", script, name, *words],
                       capture_output=True, text=True, timeout=10, check=True)
    return set(r.stdout.split())


def main():
    share, tools = sys.argv[1], [t for t in sys.argv[2:] if t]  # an empty one: a tool not built
    failed = False
    for tool in tools:
        name = os.path.basename(tool)
        listed = help_options(tool)
        offered = completed(os.path.join(share, name + ".bash"), name, ["-"])
        missing = {w for w in listed if w.startswith("--")} - offered
        unknown = offered - listed
        if not listed or missing or unknown:
            failed = True
            print(f"{name}: completion lacks {sorted(missing)}, offers unknown {sorted(unknown)} "
                  f"(--help lists {sorted(listed)})")
        else:
            print(f"{name}: {len(offered)} options agree")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
