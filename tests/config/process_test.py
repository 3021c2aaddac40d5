#!/usr/bin/env python3
"""Loads the library over stores of many kinds and looks at what the process is set to.

process_test.py PROBE
"""

import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PROBE = sys.argv[1]
FOLDER = Path(tempfile.mkdtemp(prefix="config"))
STORE = FOLDER / "store" / "machine.db"
TRACE = FOLDER / "environment.log"
NO_DEFAULT = "ZynNoDefaultConfigException"
NO_SUCH = "ZynNoSuchConfigException, ConfigID="


def check(condition, what):
    if not condition:
        sys.exit(f"process_test: {what}")


def run(*questions, **settings):
    env = {k: v for k, v in os.environ.items() if not k.startswith("ZYN_")}
    env |= {"ZYN_STORE_MACHINE": str(STORE), "ZYN_STORE_USER": str(FOLDER / "user" / "user.db")}
    env |= {"ZYN_" + name: value for name, value in settings.items()}
    return subprocess.run([PROBE, *questions], cwd=FOLDER, env=env, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)


def answers(expected, *questions, **settings):
    ended = run(*questions, **settings)
    check(ended.returncode == 0 and ended.stdout.splitlines() == expected,
          f"{questions}: {ended}, not {expected}")


# Without a store the trace starts from the environment, and nothing is created.
NOTHING = ("current", "use:A", "configs", "language", "ccsid", "level", "file")
answers([NO_DEFAULT, NO_SUCH + "A", "(null)", "enu", "819", "0", "zyntrc.log"], *NOTHING)
answers([NO_SUCH + "B", "5"], "current", "level", DEFAULT_CONFIGURATION="B",
        TRACE_CRITERIA="5,FFFF,FFFFFFFF", TRACE_FILE="environment")
check("THROW_INT, ZynNoSuchConfigException, ConfigID=B" in TRACE.read_text(), "no throw line")
check(sorted(os.listdir(FOLDER)) == ["environment.log"], os.listdir(FOLDER))
# An existing but empty name of a configuration is the fault of who gave it.
ended = run("current", DEFAULT_CONFIGURATION="")
check("Pre-condition failed in zynkprf.cpp" in ended.stdout, ended)

# With configurations, but none that is the default one.
answers(["done"] * 9, "config:one", "put:ZYN_TRACE_CRITERIA=7,FFFF,FFFFFFFF",
        "put:ZYN_TRACE_FILE=one.", "put:DefaultStreamCcsid=850", "config:two",
        "put:ZYN_TRACE_CRITERIA=3,0000,00000000", "put:DefaultStreamCcsid=0", "install",
        "put:VRM=3.2.0")
answers([NO_DEFAULT, "TWO\nONE".split()[0], "ONE", "0", "819"], "current", "configs", "level",
        "ccsid")
answers(["done", "ONE", "7", "one.log", "done", "TWO", "3", "zyntrc.log"], "use:One", "current",
        "level", "file", "use:TWO", "current", "level", "file")

# A default one. The environment wins, empty variables of the trace included.
answers(["done"] * 2, "general", "put:DefaultConfigurationID=one")
answers(["ONE", "7", "850"], "current", "level", "ccsid")
check("DefaultStreamCcsid" not in (FOLDER / "one.log").read_text() and
      "  VRM: 3.2.0" in (FOLDER / "one.log").read_text(), "banner")
answers(["TWO", "3", "819"], "current", "level", "ccsid", DEFAULT_CONFIGURATION="two")
answers(["ONE", "5", "zyntrc.log", "1208"], "current", "level", "file", "ccsid",
        TRACE_CRITERIA="5,FFFF,FFFFFFFF", TRACE_FILE="", DEFAULT_STREAM_CCSID="1208")
answers(["850"], "ccsid", DEFAULT_STREAM_CCSID="0")
answers([NO_SUCH + "NONE"] * 2, "current", "ccsid", DEFAULT_CONFIGURATION="NONE")
# It is found once, and another root is another tree.
answers(["ONE", "done", "ONE", "done", "TWO"], "current", "setenv:ZYN_DEFAULT_CONFIGURATION=two",
        "current", "use:two", "current")
answers([NO_DEFAULT, "done", "OTHER"], "current", "config:other", "configs",
        REGISTRY_ROOT="Else\\where")
answers(["ONE"], "current", REGISTRY_ROOT="")
# The load is ahead of any locale, so a root, or a configuration, is no text to it.
answers(["done", "ABC", "done", "(null)"], "config:abc", "configs", "erase:abc", "configs",
        REGISTRY_ROOT="\\Größe\\\\x\\")
answers(["done"] * 4, "config:GRÖSSE", "put:ZYN_TRACE_CRITERIA=4,0000,00000000", "general",
        "put:DefaultConfigurationID=GRÖSSE")
answers(["4", "GRÖSSE"], "level", "current")

# A store that can't be read: the trace has started, and the process ends at load with the reason.
TRACE.unlink()
STORE.write_bytes(b"no store" * 1000)
ended = run("current", TRACE_CRITERIA="5,FFFF,FFFFFFFF", TRACE_FILE="environment")
failure = r"RegOpenKeyEx(Software\KOR\Tessera Flow\3.2\Installation), ReturnCode=10026"
check(ended.returncode == -6 and failure in ended.stderr and failure in TRACE.read_text(), ended)
shutil.rmtree(FOLDER)
