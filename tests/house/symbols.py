#!/usr/bin/env python3
"""Checks that the shared library exports its own names and no others.

  symbols.py NM LIBRARY
"""

import re
import subprocess
import sys

# Public names outside the Zyn... and zynk... families.
FLAT = {"DefaultStreamCcsid", "_trcfile", "isSwitchChar", "spaces"}
OWN = re.compile(r"\b(Zyn|zynk)\w+")
# An entity of the C++ runtime may have one of our types as argument; its mangled name tells whose
# it is.
RUNTIME = re.compile(r"_Z(GV|T[A-Z])?Z?N?K?(S[absdiot]|9__gnu_cxx|10__cxxabiv1)")


def names(nm, library, *options):
    listing = subprocess.run([nm, "-D", "--defined-only", "--format=posix", *options, library],
                             check=True, capture_output=True, text=True).stdout
    # The name is what stands before the kind, the value and the size.
    return [re.sub(r" [A-Za-z] [0-9a-f]+( [0-9a-f]+)?\s*$", "", line)
            for line in listing.splitlines()]


def is_own(mangled, name):
    if RUNTIME.match(mangled):
        return False
    return name.split("(")[0] in FLAT or OWN.search(name) is not None


def main(nm, library):
    mangled, plain = names(nm, library), names(nm, library, "--demangle")
    if not mangled or len(mangled) != len(plain):
        return [f"{library}: {len(mangled)} names, {len(plain)} of them demangled"]
    return [f"exported, but not the library's own: {name} ({symbol})"
            for symbol, name in zip(mangled, plain) if not is_own(symbol, name)]


if __name__ == "__main__":
    COMPLAINTS = main(*sys.argv[1:])
    print("\n".join(COMPLAINTS))
    sys.exit(1 if COMPLAINTS else 0)
