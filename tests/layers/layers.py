#!/usr/bin/env python3
"""The library's layers against the order README.md's Layout table gives.

    layers.py [--dot] SOURCE_DIR [OBJECT...]

The first table under "## Layout" lists the library's layers bottom up. A
file of one layer may include, and call, only its own layer and those
before it (and the public header include/te_mor.h). Checked three ways:
  - every #include "..." of every file under a layer directory;
  - every mention of a public function (TE_*), comments left out, against
    the layer whose object defines it: header code calls too, and the
    public header declares them all, so includes alone cannot show it;
  - every undefined symbol of every object, against the layers of the
    objects that define it.
Prints the layer graph (who includes or calls whom) when all is well; with
--dot as a Graphviz picture (`dot -Tsvg`): every arrow points down.
"""
import os
import re
import subprocess
import sys

PUBLIC = "include"


def layers_from_readme(root):
    text = open(os.path.join(root, "README.md"), encoding="utf-8").read()
    section = text.split("\n## Layout", 1)[1]
    rows, started = [], False
    for line in section.splitlines():
        if line.startswith("|"):
            started = True
            m = re.match(r"\|\s*`([\w/]+)/`\s*\|", line)
            if m:
                rows.append(m.group(1))
        elif started:
            break
    if not rows:
        sys.exit("README.md: no layer table under '## Layout'")
    return rows


def strip_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    return re.sub(r"//[^\n]*", " ", text)


def layer_files(root, layers):
    for layer in layers:
        for dirpath, _, names in os.walk(os.path.join(root, layer)):
            for name in sorted(names):
                if name.endswith((".h", ".cpp", ".c")):
                    path = os.path.join(dirpath, name)
                    yield layer, os.path.relpath(path, root), path


def object_layer(obj, layers):
    # CMake names an object after its source: .../NAME.dir/config/global.cpp.o
    m = re.search(r"\.dir/(.+)\.o(bj)?$", obj.replace(os.sep, "/"))
    first = m.group(1).split("/")[0] if m else None
    return first if first in layers else None


def symbols(obj):
    out = subprocess.run(["nm", "--defined-only", obj], capture_output=True, text=True,
                         check=True).stdout
    defined = {l.split()[-1] for l in out.splitlines() if len(l.split()) == 3}
    out = subprocess.run(["nm", "--undefined-only", obj], capture_output=True, text=True,
                         check=True).stdout
    undefined = {l.split()[-1] for l in out.splitlines() if l.split()}
    return defined, undefined


def main():
    args = sys.argv[1:]
    dot = "--dot" in args
    if dot:
        args.remove("--dot")
    root, objects = args[0], args[1:]
    layers = layers_from_readme(root)
    rank = {layer: i for i, layer in enumerate(layers)}
    errors, edges = [], {}

    def use(layer, target, what, where):
        if target == layer:
            return
        edges.setdefault((layer, target), set()).add(what)
        if rank[target] > rank[layer]:
            errors.append(f"{where}: {what} is in {target}/, above {layer}/")

    # Where each symbol is defined, from the objects.
    definers, undefined = {}, []
    for obj in objects:
        layer = object_layer(obj, rank)
        if layer is None:
            errors.append(f"{obj}: an object of no layer in README's Layout table")
            continue
        d, u = symbols(obj)
        for s in d:
            definers.setdefault(s, set()).add(layer)
        undefined.append((layer, obj, u))

    for layer, rel, path in layer_files(root, layers):
        text = open(path, encoding="utf-8").read()
        for m in re.finditer(r'^\s*#\s*include\s*"([^"]+)"', text, re.M):
            first = m.group(1).split("/")[0]
            if first == PUBLIC:
                continue
            if first not in rank:
                errors.append(f"{rel}: includes {m.group(1)}, which belongs to no layer")
                continue
            use(layer, first, m.group(1), rel)
        for name in sorted(set(re.findall(r"\bTE_\w+\b", strip_comments(text)))):
            where = definers.get(name)
            if where and layer not in where:
                use(layer, min(where, key=rank.get), name + "()", rel)

    for layer, obj, names in undefined:
        for s in sorted(names):
            where = definers.get(s)
            if where and layer not in where:
                use(layer, min(where, key=rank.get), s, os.path.basename(obj))

    if objects and not any(s.startswith("TE_") for s in definers):
        errors.append("no public function found in the objects given")
    for e in errors:
        print("error:", e)
    if errors:
        return 1
    if dot:
        print("digraph layers {")
        for (a, b), what in sorted(edges.items()):
            print(f'  "{a}/" -> "{b}/" [label="{len(what)}"];')
        print("}")
        return 0
    print("layers, bottom up:", " < ".join(l + "/" for l in layers))
    for (a, b), what in sorted(edges.items(), key=lambda e: (rank[e[0][0]], rank[e[0][1]])):
        print(f"  {a}/ -> {b}/  ({len(what)}: {', '.join(sorted(what)[:4])}"
              f"{', ...' if len(what) > 4 else ''})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
