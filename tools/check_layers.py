#!/usr/bin/env python3
"""Checks the include graph of src/ against the engine's layers.

Each folder of src/ is a layer; a file may include files of its own layer and of the layers below it, never
of a layer above. A header and its source form one unit (src/board/movegen.h and .cpp are "board/movegen"),
and no two units may depend on each other, directly or through others: a loop means neither can be read,
tested or replaced alone.

Usage: tools/check_layers.py [--graph]   (exit status 1 on an upward include or a loop)
"""
import re
import sys
from pathlib import Path

# Bottom first. main.cpp sits above everything.
LAYERS = ["platform", "settings", "board", "eval", "tablebases", "search", "book", "frontend", "main"]

# Includes that another branch is about to change: (unit, included unit) -> why. They are left out of the
# check and printed as a note; remove an entry once its include is gone.
PENDING = {}

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include\s+"([^"]+)"', re.MULTILINE)


def layer_of(unit):
    return unit.split("/")[0] if "/" in unit else "main"


def unit_of(path, src):
    rel = path.relative_to(src).with_suffix("")
    return rel.as_posix()


def read_graph(src, pending_seen):
    edges = {}
    lines = {}
    for path in sorted(list(src.rglob("*.h")) + list(src.rglob("*.cpp"))):
        unit = unit_of(path, src)
        edges.setdefault(unit, set())
        for match in INCLUDE.finditer(path.read_text()):
            target = Path(match.group(1)).with_suffix("").as_posix()
            if (unit, target) in PENDING:
                pending_seen.setdefault(unit, set()).add(target)
            if target == unit or (unit, target) in PENDING:
                continue
            edges[unit].add(target)
            line = path.read_text().count("\n", 0, match.start()) + 1
            lines.setdefault((unit, target), f"{path.relative_to(src.parent)}:{line}")
    return edges, lines


def loops(edges):
    """Strongly connected components of more than one unit (Tarjan)."""
    index, low, stack, on_stack, found = {}, {}, [], set(), []
    counter = [0]

    def visit(v):
        index[v] = low[v] = counter[0]
        counter[0] += 1
        stack.append(v)
        on_stack.add(v)
        for w in edges.get(v, ()):
            if w not in index:
                visit(w)
                low[v] = min(low[v], low[w])
            elif w in on_stack:
                low[v] = min(low[v], index[w])
        if low[v] == index[v]:
            component = []
            while True:
                w = stack.pop()
                on_stack.discard(w)
                component.append(w)
                if w == v:
                    break
            if len(component) > 1:
                found.append(sorted(component))

    for v in sorted(edges):
        if v not in index:
            visit(v)
    return found


def main():
    src = Path(__file__).resolve().parent.parent / "src"
    pending_seen = {}
    edges, lines = read_graph(src, pending_seen)
    problems = []
    for unit, targets in sorted(edges.items()):
        for target in sorted(targets):
            if target not in edges:
                problems.append(f"{lines[(unit, target)]}: includes {target}, which is not in src/")
                continue
            here, there = layer_of(unit), layer_of(target)
            for name in (here, there):
                if name not in LAYERS:
                    problems.append(f"{lines[(unit, target)]}: folder '{name}' is in no layer")
            if here in LAYERS and there in LAYERS and LAYERS.index(there) > LAYERS.index(here):
                problems.append(f"{lines[(unit, target)]}: {unit} ({here}) includes {target} ({there}), "
                                f"a layer above it")
    for component in loops(edges):
        problems.append("units that depend on each other: " + ", ".join(component))
    for (unit, target), why in sorted(PENDING.items()):
        if target in pending_seen.get(unit, ()):
            print(f"note: {unit} includes {target}, left out of the check: {why}")
        else:
            print(f"note: {unit} no longer includes {target}: its PENDING entry can go")
    if "--graph" in sys.argv[1:]:
        for unit, targets in sorted(edges.items()):
            print(f"{unit}: {' '.join(sorted(targets))}")
    for problem in problems:
        print(problem)
    if problems:
        print(f"check_layers: {len(problems)} problem(s); the order, bottom first: {' < '.join(LAYERS)}")
        return 1
    print(f"check_layers: no upward include and no loop ({len(edges)} units; {' < '.join(LAYERS)})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
