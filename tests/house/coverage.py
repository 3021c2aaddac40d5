#!/usr/bin/env python3
"""Tells what the lines of the library are that no test has run, file by file, and the whole.

  coverage.py ROOT BUILD [FILE...]    FILE is a part of a name below src/, such as "posix/"

BUILD was compiled with --coverage by g++, and its tests have run. What a process has run that ended
by a signal or _exit is not counted.
"""

import json
import subprocess
import sys
from collections import Counter, defaultdict
from pathlib import Path


def counts(source, build):
    """How often the lines of each file below `source` have run, summed up over all programs."""
    notes = sorted(build.glob("**/*.gcno"))
    if not notes:
        sys.exit(f"{build}: was not compiled with --coverage by g++")
    command = ["gcov", "--json-format", "--stdout", *(str(note.with_suffix(".gcda"))
                                                      for note in notes)]
    result = subprocess.run(command, cwd=build, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            check=True)
    files = defaultdict(Counter)
    for document in result.stdout.splitlines():
        for file in json.loads(document)["files"]:
            path = (build / file["file"]).resolve()
            if path.is_relative_to(source):
                for line in file["lines"]:
                    files[path.relative_to(source)][line["line_number"]] += line["count"]
    return files


def ranges(numbers):
    """1 2 3 7 as "1-3 7". Lines without code in between, which have no count, part them."""
    found = []
    for number in numbers:
        if found and found[-1][1] == number - 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    return " ".join(str(a) if a == b else f"{a}-{b}" for a, b in found)


def main(root, build, *wanted):
    total = missed = 0
    for path, lines in sorted(counts(Path(root).resolve() / "src", Path(build).resolve()).items()):
        if wanted and not any(part in str(path) for part in wanted):
            continue
        holes = sorted(number for number, count in lines.items() if count == 0)
        total += len(lines)
        missed += len(holes)
        print(f"{100 - 100 * len(holes) / len(lines):6.1f}%  {str(path):34} {ranges(holes)}".rstrip())
    if total == 0:
        sys.exit("nothing to count")
    print(f"{100 - 100 * missed / total:6.1f}%  of {total} lines, all but {missed}")


if __name__ == "__main__":
    main(*sys.argv[1:])
