#!/usr/bin/env python3
"""Checks that no file is left out of the build: a source that nobody compiles breaks nothing, and a
test that nobody compiles fails never.

  lists.py ROOT DECLARED    DECLARED holds the paths that the build's lists name, one a line
"""

import sys
from pathlib import Path

# A project of its own, built by its test.
APART = Path("tests/package")


def main(root, declared):
    root = Path(root)
    named = {Path(line) for line in Path(declared).read_text(encoding="utf-8").splitlines()}
    there = [path for kind in ("src/**/*.h", "src/**/*.inl", "src/**/*.cpp", "tests/**/*.cpp",
                          "fuzz/**/*.cpp")
             for path in root.glob(kind) if APART not in path.relative_to(root).parents]
    if not there:
        return [f"{root}: nothing to check"]
    return [f"{path}: in no CMakeLists.txt" for path in sorted(there) if path not in named]


if __name__ == "__main__":
    COMPLAINTS = main(*sys.argv[1:])
    print("\n".join(COMPLAINTS))
    sys.exit(1 if COMPLAINTS else 0)
