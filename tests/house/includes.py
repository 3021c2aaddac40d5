#!/usr/bin/env python3
"""Checks what the headers and sources under a folder include.

  - Headers include each other by plain name and without circles.
  - Outside a platform's folder nothing is compiled by condition, and only the headers of the
    language and of ICU are included: what the logic needs of a platform is an operation declared in
    os/zynkplat.h.
"""

import re
import sys
from pathlib import Path

PLATFORM_FOLDERS = {"posix"}
# The headers of C++ alone have neither folder nor extension. Those of C are the language's as well.
LANGUAGE = re.compile(
    r"\w+|unicode/\w+\.h|(assert|complex|ctype|errno|fenv|float|inttypes|iso646|limits|locale|math"
    r"|setjmp|signal|stdalign|stdarg|stdatomic|stdbool|stddef|stdint|stdio|stdlib|string|tgmath"
    r"|time|uchar|wchar|wctype)\.h"
)
DIRECTIVE = re.compile(r'\s*#\s*(\w+)\s*(.*?)\s*(//.*)?$')
# A header that C programs may include asks which language it is read in; that is no platform.
CONDITION_ALLOWED = ("ifdef", "__cplusplus")


def read(path, by_name, complaints):
    """The headers of this tree that `path` includes."""
    includes = []
    logic = path.parent.name not in PLATFORM_FOLDERS
    once = False
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        found = DIRECTIVE.match(line)
        if not found:
            continue
        word, rest = found.group(1), found.group(2)
        where = f"{path}:{number}"
        once = once or (word, rest) == ("pragma", "once")
        if logic and word.startswith(("if", "elif")) and (word, rest) != CONDITION_ALLOWED:
            complaints.append(f"{where}: compiled by condition: {line.strip()}")
        if word != "include":
            continue
        name = rest[1:-1]
        if rest.startswith('"'):
            if name in by_name:
                includes.append(name)
            else:
                complaints.append(f"{where}: no header of this tree: {rest}")
        elif logic and not LANGUAGE.fullmatch(name):
            complaints.append(f"{where}: a header of the platform: {rest}")
    if path.suffix == ".h" and not once:
        complaints.append(f"{path}: no #pragma once")
    return includes


def circles(graph):
    """Each circle once, as the list of names along it."""
    done, found = set(), []

    def walk(name, road):
        if name in road:
            found.append(road[road.index(name):] + [name])
        elif name not in done:
            for other in graph[name]:
                walk(other, road + [name])
            done.add(name)

    for name in graph:
        walk(name, [])
    return found


def main(root):
    files = sorted(p for p in Path(root).rglob("*") if p.suffix in {".h", ".inl", ".def", ".cpp"})
    if not files:
        return [f"{root}: nothing to check"]
    complaints, by_name, graph = [], {}, {}
    for path in files:
        if path.suffix != ".cpp" and by_name.setdefault(path.name, path) != path:
            complaints.append(f"{path}: {by_name[path.name]} has the same name")
    for path in files:
        includes = read(path, by_name, complaints)
        if path.suffix != ".cpp":
            graph[path.name] = includes
    complaints += ["headers in a circle: " + " -> ".join(circle) for circle in circles(graph)]
    return complaints


if __name__ == "__main__":
    COMPLAINTS = main(sys.argv[1])
    print("\n".join(COMPLAINTS))
    sys.exit(1 if COMPLAINTS else 0)
