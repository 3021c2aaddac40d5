#!/usr/bin/env python3
"""Runs a program under many settings of the trace and looks at the lines it leaves.

trace_test.py PROBE [kills]
"""

import datetime
import itertools
import os
import random
import re
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PROBE = Path(sys.argv[1])
NAME = PROBE.stem
ALL = "99,FFFF,FFFFFFFF"
LINE = re.compile(
    r"(?P<time>\d{4}-\d\d-\d\d, \d\d:\d\d:\d\d\.\d{3}), (?P<file> *[^(]+)\((?P<line> *\d+)\) "
    r"(?:\((?P<level>\d\d),(?P<category>..),(?P<component>..)\), )?"
    r"(?P<process> *[^(]+)\((?P<pid> *\d+)-(?P<tid> *\d+)\), (?P<function>[^,]*), (?P<text>.*)")


def check(condition, what):
    if not condition:
        sys.exit(f"trace_test: {what}")


class Run:
    """One run of the program in a folder of its own, with its output and the files it leaves."""

    def __init__(self, *commands, before=None, expect=0, program=PROBE, **settings):
        self.folder = Path(tempfile.mkdtemp(prefix="trace"))
        if before:
            before(self.folder)
        env = {k: v for k, v in os.environ.items() if not k.startswith("ZYN_")}
        env["ZYN_STORE_MACHINE"] = str(self.folder / "none.db")
        env |= {k if k in ("TZ", "ASAN_OPTIONS") else "ZYN_" + k: v for k, v in settings.items()}
        run = subprocess.run([program, *map(str, commands)], cwd=self.folder, env=env, text=True,
                             stdout=subprocess.PIPE, timeout=250)
        check(run.returncode == expect, f"{commands} ended with {run.returncode}")
        self.output = run.stdout

    def __del__(self):
        shutil.rmtree(self.folder)

    def text(self, name="zyntrc.log"):
        file = self.folder / name
        return file.read_text() if file.exists() else None

    def lines(self, name="zyntrc.log"):
        lines = []
        for line in (self.text(name) or "").splitlines():
            match = LINE.fullmatch(line)
            check(match, f"no trace line: {line!r}")
            # What the load asks the store has lines of its own.
            if not match["function"].startswith("ZynProfile"):
                lines.append(match.groupdict())
        return lines

    def texts(self, name="zyntrc.log"):
        return [line["text"] for line in self.lines(name)]


# Processes that are killed while they write cut off their own last line at most.
if sys.argv[2:] == ["kills"]:
    folder = Path(tempfile.mkdtemp())
    env = os.environ | {"ZYN_TRACE_CRITERIA": "1,0040,00000001"}
    log = folder / "zyntrc.log"
    writer = [PROBE, "multi", "lines", "2", "100000000"]
    survivor = subprocess.Popen(writer[:3] + ["1", "100000"], cwd=folder, env=env)
    KILLS = 100
    for _ in range(KILLS):
        killed = subprocess.Popen(writer, cwd=folder, env=env | {"ZYN_TRACE_FILE": "killed"})
        other = folder / "killed.log"
        start = other.stat().st_size if other.exists() else 0
        while not other.exists() or other.stat().st_size == start:
            time.sleep(0.001)
        time.sleep(random.uniform(0, 0.002))
        killed.kill()
        killed.wait()
    check(survivor.wait() == 0 and len(log.read_text().splitlines()) == 100009, "the other's lines")
    lines = other.read_text().splitlines()
    check(sum(not LINE.fullmatch(line) for line in lines) <= KILLS and len(lines) > KILLS, "cut lines")
    shutil.rmtree(folder)
    sys.exit()

# Without settings there is no file.
run = Run("facts", "line", 1, 0x40, 1, "error", "flow", "fail")
check(run.output.startswith("1 0 0 0 0 0 zyntrc.log " + NAME + " TRACE.LOG\nevaluated 0\n"),
      run.output)
check(run.text() is None, "lines without settings")

# The banner, and a line with each of its fields.
run = Run("line", 3, 0x40, 1, "direct", r"c:\a/b\zynkstr_character.cpp", 123456,
          "Z::Z(const char *)", 105, "x", TRACE_CRITERIA=ALL)
check(run.texts()[:9] == [
    "Installation settings:", "  VRM: <null>", "  ServiceLevel: <null>", "  Language: <null>",
    "  InstalledComponents: <null>", "Code setting:", "  TVL_VERSION: v350",
    "  TVL_CSD from current library: 1", "  Platform: TVL_LINUX"], run.text())
check({(line["level"], line["category"], line["component"]) for line in run.lines()[:9]} ==
      {("01", "Gn", "Kr")}, run.text())
line, direct = run.lines()[9:]
check(line["text"] == "evaluated 1 12345670.5", line)
check((line["level"], line["category"], line["component"]) == ("03", "Gn", "Kr"), line)
check(line["file"] == "zynktrc_probe.cpp" and len(line["line"]) == 5, line)
check(line["process"] == NAME.rjust(8) and line["pid"] == line["tid"].rjust(4), line)
check(line["function"].endswith("()"), line)
check((direct["file"], direct["line"], direct["level"]) == ("zynkstr_character.cpp", "123456", "05"),
      direct)
check(direct["function"] == "Z::Z()", direct)
run = Run("direct", "f", 1, "", 5, "", "direct", "f", 2, "g" * 1000, 5, "t" * 5000,
          "direct", "zynkchk", 5970, "Plain::Name", 5, "a\nb", TRACE_CRITERIA=ALL,
          SHORT_TRACES="0")
head = r"\d{4}-\d\d-\d\d, \d\d:\d\d:\d\d\.\d{3}, "
ids = re.escape(NAME) + r"\( *\d+- *\d+\), "
check(re.search(rf"^{head}           f\(    1\) {ids}n/a\(\), \n"
                rf"{head}           f\(    2\) {ids}n/a\(\), t{{5000}}\n"
                rf"{head}     zynkchk\( 5970\) {ids}Plain::Name, a\nb\n\Z", run.text(), re.M),
      run.text())

# A name is shown below column 900.
run = Run(*[word for n in range(780, 900) for word in ("direct", "f", n, "g" * n + "(", 5, "")],
          TRACE_CRITERIA=ALL)
for line in run.text().splitlines()[-120:]:
    columns = line.index("), ", 60) + 3
    n = int(LINE.fullmatch(line)["line"])
    shown = columns + n + 2 < 900
    check(("g" * n + "()" in line) == shown and ("n/a()" in line) != shown, (columns, n))

# All gates. Levels are signed numbers at the first two, unsigned ones at an exit and a context.
for level, categories, components, on, xt in itertools.product(
        (0, 8, 9, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF), (0, 0x43), (0, 1), (0, 1), (0, 1)):
    commands = ["filter", 0, 0, 0, "externalize", "areas", "xt", xt]
    commands += ["filter", level, categories, components] + ["stop"] * (1 - on)
    commands += ["line", 9, 0x40, 1, "error", "ctx", 0, "ctx", 9, "flow", "filter", 0, 0, 0, "flush"]
    run = Run(*commands)
    data = run.folder / "areas"
    texts = re.findall("evaluated|an error|context|>entry|<exit",
                       data.read_bytes().decode("latin-1") if xt else run.text() or "")
    masks = categories and components and on
    signed = level - (1 << 32) if level >> 31 else level
    expected = ["evaluated"] * bool(masks and signed >= 9)
    expected += ["an error"] * bool(xt or (masks and signed >= 0))
    expected += ["context"] * bool(xt or masks)
    expected += ["context"] * bool(masks and level >= 9)
    expected += [">entry"] * bool(masks and signed >= 9) + ["<exit"] * bool(masks and level >= 9)
    check(texts == expected, f"{level:X} {categories} {components} {on} {xt}: {texts}")
    check(f"evaluated {int('evaluated' in expected)}\n" in run.output, "an item behind a closed gate")

# Functions and failures: both ends bear one source line, also on the way out with an exception.
run = Run("flow", "fail", TRACE_CRITERIA="9,0003,00000001")
entry, exit_, entry2, fired, thrown, exit2 = run.lines()
check([line["text"] for line in (entry, exit_, entry2, exit2)] == [" >entry", " <exit"] * 2, run.text())
check(len({line["line"] for line in (entry, exit_, entry2, exit2)}) == 1, run.text())
check(entry["function"] == "Probe::Flow" and entry["level"] == "09" and entry["category"] == "Fl",
      entry)
check((fired["text"], fired["function"], fired["file"].strip(), fired["category"]) ==
      ("Assertion fired", "zynkRequire", "zynkdbg", "Er"), fired)
check(thrown["text"].startswith("THROW_INT, ZynAssertionException, Condition=*** Pre-condition "
                                "failed in zynktrc_probe.cpp("), thrown)

# Local time, and a program with a short name.
start = datetime.datetime.now(datetime.timezone.utc)
folder = Path(tempfile.mkdtemp())
shutil.copy(PROBE, folder / "p")
run = Run("error", program=folder / "p", TZ="<+0530>-5:30", TRACE_CRITERIA="0,0002,00000001")
shutil.rmtree(folder)
line, = run.lines()
moment = datetime.datetime.strptime(line["time"] + "+0530", "%Y-%m-%d, %H:%M:%S.%f%z")
late = moment - start
check(-0.002 < late.total_seconds() < 60, late)
check(line["process"] == "       p" and line["level"] is None, line)

# A lock's failures do not go out at level 0.
run = Run("release", "filter", 0, 2, 1, "release", TRACE_CRITERIA="1,0002,00000001")
line, = run.lines()
check((line["level"], line["function"]) == ("01", "ZynMutexSemaphoreImpl::Release") and
      line["text"].startswith("THROW_INT, ZynOSException, ServiceName=ReleaseMutex"), line)

# Names of the file.
for settings, name in (
        ({}, "zyntrc.log"), ({"TRACE_FILE": "x"}, "x.log"), ({"TRACE_FILE": "x."}, "x.log"),
        ({"FLIP_FLOP_TRACES": "1"}, "zyntrc.log"), ({"SPLIT_TRACES": ""}, "zyntrc.log"),
        ({"SPLIT_TRACES": "0"}, "zyntrc." + NAME),
        ({"SPLIT_TRACES": "1", "FLIP_FLOP_TRACES": "1"}, f"zyntrc.{NAME}.")):
    run = Run("facts", TRACE_CRITERIA=ALL, **settings)
    file, = run.folder.iterdir()
    check(file.name == name or (name[-1] == "." and file.name.startswith(name)), (settings, file))
    check(f" {file.name} " in run.output and file.stat().st_mode & 0o777 == 0o600, run.output)

# Criteria; a field that fails leaves its filter as it was.
for criteria, expected in (("9,FFFF,FFFFFFFF", "9 65535 4294967295"), ("9,43,1", "9 0 0"),
                           ("abc,FFFF,FFFFFFFF", "0 65535 4294967295"), (" 5 , 0043,", "5 67 0"),
                           ("12345678901,FFFF,00000001", "0 65535 1"), ("5,,FFFFFFFF", "5 0 0"),
                           ("4294967296", "4294967295 0 0"), (",7", "7 0 0"), ("-1", "0 0 0"),
                           ("1,00g0,0000000f", "1 0 15"),
                           ("9,FF\udcff\udcc3F,FFFFFFFF", "9 0 4294967295"),
                           ("\udcc3", "0 0 0")):
    check(f"1 {expected} 0" in Run("facts", TRACE_CRITERIA=criteria).output, criteria)
run = Run("setenv", "ZYN_TRACE_CRITERIA", "", "setenv", "ZYN_TRACE_FILE", "y", "reinit", "facts",
          "error", TRACE_CRITERIA="5,0002,00000001")
check("1 5 2 1 0 0 y.log" in run.output and run.texts("y.log") == ["an error"], run.output)
run = Run("error", "setenv", "ZYN_TRACE_FILE", "y", "setenv", "ZYN_SHORT_TRACES", "", "reinit",
          "error", TRACE_CRITERIA="1,0002,00000001", SHORT_TRACES="1")
check(run.lines()[0]["level"] is None and len(run.lines()) == 1, "a short line")
check(run.lines("y.log")[0]["level"] == "00", "the settings of the second file")
for size, expected in (("1", 65536), ("999999", 4194304), ("abc", 262144), ("65", 66560),
                       ("4294967295", 4194304)):
    check(f"buffers {expected}11\n" in Run("xt", 1, TRACE_BUFFER_SIZE=size).output, size)

# Rotation: the line that carries the count past the limit is the last one of its file.
settings = {"TRACE_CRITERIA": "1,0040,00000001", "SPLIT_TRACES": "1", "FLIP_FLOP_TRACES": "1"}
run = Run("lines", 1, 12000, TRACE_FILE_SIZE="1", **settings)
backup, = run.folder.glob("*.bak")
current = run.folder / backup.stem
check(len(list(run.folder.iterdir())) == 2, "two files")
size, last = backup.stat().st_size, len(backup.read_text().splitlines()[-1]) + 1
check(size > 1048576 >= size - last, size)
after = int(run.texts(current.name)[0].split()[-1])
check(run.texts(backup.name)[-1] == f"thread 0 line {after - 1}", "a line between the files")
run = Run("lines", 1, 60000, **settings)
backup, = run.folder.glob("*.bak")
check(5242880 < backup.stat().st_size < 5243100, "the limit without a setting")
run = Run("lines", 1, 3, TRACE_FILE_SIZE="0", **settings)
file, = run.folder.iterdir()
check(file.suffix == ".bak" and run.texts(file.name) == ["thread 0 line 2"], "a limit of 0")

# A program whose name can't be told is "unknown".
folder = Path(tempfile.mkdtemp())
deep = folder.joinpath(*["d" * 200] * 6)
deep.mkdir(parents=True)
shutil.copy(PROBE, deep / "program.x")
for settings in ({"TRACE_CRITERIA": ALL}, {"SPLIT_TRACES": "1", "TRACE_CRITERIA": ALL}):
    run = Run("error", program=deep / "program.x", **settings)
    check(list(run.folder.iterdir()), "no file of a program with a long name")
shutil.rmtree(folder)

# A trace that can't be written is lost and harms nothing.
run = Run("error", TRACE_CRITERIA=ALL, TRACE_FILE="no/such/folder/x")
run = Run("error", "descriptors", before=lambda f: (f / "zyntrc.log").mkdir(), TRACE_CRITERIA=ALL)
run = Run("line", 1, 0x40, 1, "closeall", "error", "error", TRACE_CRITERIA=ALL)
check("an error" not in run.text(), "a line into a closed descriptor")
limit = resource.getrlimit(resource.RLIMIT_NOFILE)
for few in (256, limit[0]):
    resource.setrlimit(resource.RLIMIT_NOFILE, (few, limit[1]))
    run = Run("error", "takedescriptors", "own", "error", "reinit", "error", "descriptors",
              TRACE_CRITERIA="1,0002,00000001")
    check((run.folder / "own").read_text() == "the host's own" and
          run.texts() == ["an error"] * 2 and "descriptors 11" in run.output,
          "a descriptor that is another file's by now")
run = Run("closeinput", "error", "error", "error", "facts", TRACE_CRITERIA="1,0002,00000001")
check(run.texts() == ["an error"] * 2, "a descriptor of 0 counts as none")
os.mkfifo(fifo := Path(tempfile.mkdtemp()) / "fifo")
Run("lines", 1, 2000, before=lambda f: (f / "zyntrc.log").symlink_to(fifo), TRACE_CRITERIA=ALL)
shutil.rmtree(fifo.parent)
run = Run("error", "limit", 20000, "lines", 1, 1000, TRACE_CRITERIA=ALL)
check(len(run.text()) == 20000, "a limit of file sizes")
run = Run("error", "mkdir", "no", "error", "reinit", "error", TRACE_FILE="no/x",
          TRACE_CRITERIA="1,0002,00000001")
check(run.texts("no/x.log") == ["an error"], "a file that can't be opened is not tried again")

# The child of a fork writes nothing, and leaves its parent's buffers alone.
run = Run("fork", "failchild", "error", TRACE_CRITERIA="9,0003,00000001")
check("child 7" in run.output and run.texts() == ["an error"], run.text())
check("*** Pre-condition failed in zynktrc_probe.cpp" in run.output, run.output)
run = Run("xt", 1, "externalize", "areas", "error", "exitchild", "error", TRACE_CRITERIA="1,0002,00000001")
check((run.folder / "areas").read_bytes().count(b"an error") == 2 and run.text() is None, "areas")

# Threads and processes on one file: every line is whole, none is lost.
threads, count = 8, 20000
folder = Path(tempfile.mkdtemp())
env = os.environ | {"ZYN_TRACE_CRITERIA": "1,0040,00000001"}
both = [subprocess.Popen([PROBE, "multi", "lines", str(threads), str(count)], cwd=folder, env=env)
        for _ in range(2)]
check([process.wait() for process in both] == [0, 0], "two processes")
seen = {}
for line in (folder / "zyntrc.log").read_text().splitlines():
    match = LINE.fullmatch(line)
    check(match, f"a line that is not whole: {line!r}")
    if match["text"].startswith("thread"):
        _, thread, _, number = match["text"].split()
        key = match["pid"], match["tid"], thread
        check(seen.get(key, -1) == int(number) - 1, f"{key} {number} is out of order")
        seen[key] = int(number)
check(len(seen) == 2 * threads and set(seen.values()) == {count - 1}, seen)
shutil.rmtree(folder)

# Settings that change while others write, and threads that fill and switch the buffers.
run = Run("multi", "churn", 300, "lines", 1, 10, TRACE_CRITERIA="1,0040,00000001")
check(run.texts()[-1] == "thread 0 line 9", "the settings were not read anew")
run = Run("externalize", "areas", "xt", 1, "lines", 4, 5000, "flush", "facts",
          TRACE_CRITERIA="1,0040,00000001", TRACE_BUFFER_SIZE="64")
check(len(run.texts()) == 9 and (run.folder / "areas").stat().st_size > 1000000, "buffers of threads")

run = Run("multi", "turns", 30000, "xt", 1, "facts", TRACE_CRITERIA="1,0040,00000001",
          TRACE_FILE="/dev/null/x", TRACE_BUFFER_SIZE="64")
check("buffers 6553611\n1 1 64 1 1 0 " in run.output, "buffers that are switched by two threads")

# Extended trace: buffers in the place of the file; a first failure appends them, a second nothing.
run = Run("descriptors", "xt", 1, "line", 1, 0x40, 1, "fail", "facts", "fail", "descriptors",
          TRACE_CRITERIA="9,0043,00000001")
check(re.findall("descriptors (.)", run.output) == ["4", "3"], run.output)
text = run.text()
start = text.index("------------------- Assertion occurred.  --------------------------------\n    "
                   "*** Pre-condition failed in zynktrc_probe.cpp(")
frame = text.index("\n------------------- Extended trace buffers follow "
                   "--------------------------------\n")
dumped = [LINE.fullmatch(line)["text"] for line in text[frame:].splitlines()[2:]]
check(text[:start].count(" ZynTrace::ZynTrace, ") == 9 and text[start:frame].count("\n") == 1, text)
check(dumped[:2] == ["evaluated 1 12345670.5", " >entry"] and dumped[2] == "Assertion fired" and
      dumped[3].startswith("*** Pre-condition failed") and len(dumped) == 4, dumped)
check(run.output.count("*** Pre-condition failed") == 2 and "1 1 zyntrc.log" in run.output,
      run.output)

# Off again: the last area is handed over, and lines go to the file.
run = Run("externalize", "areas", "xt", 1, "error", "xt", 1, "error", "xt", 0, "error",
          "externalize", "off", "xt", 1, "stop", "error", "flush", "start", "xt", 0, "error",
          TRACE_CRITERIA="1,0002,00000001", TRACE_BUFFER_SIZE="64")
check((run.folder / "areas").read_bytes().count(b"an error\n") == 2, "areas of the first period")
check(run.texts() == ["an error"] * 2 and run.output.splitlines() ==
      ["buffers 6553611", "buffers 6553611", "buffers 000", "buffers 6553611", "switches 1",
       "buffers 000"], run.output)
# The sanitizer does not see that the stack of a cancelled thread is unwound, and would meet its own
# marks there.
run = Run("cancel", "error", TRACE_CRITERIA="1,0042,00000001", ASAN_OPTIONS="use_sigaltstack=0")
check(run.texts()[-1] == "an error", "a thread that was cancelled in a line")

# Externalised areas: header and records whose lengths agree; the last one comes at the unload.
run = Run("externalize", "none", "xt", 1, "externalize", "areas", "lines", 1, 3000, "flush",
          TRACE_CRITERIA="1,0040,00000001", TRACE_BUFFER_SIZE="64")
data, at, areas, texts = (run.folder / "areas").read_bytes(), 0, [], []
while at < len(data):
    length, kind = struct.unpack_from(">II", data, at)
    check(struct.unpack_from(">I", data, at + length - 4)[0] == length, f"record at {at}")
    if kind == 0xFFFFFFFF:
        areas.append(struct.unpack_from(">7I", data, at))
    else:
        texts.append(data[at + 8:at + length - 4].decode())
    at += length
check([area[2] for area in areas] == list(range(2, 2 + len(areas))) and
      {(area[0], area[3], area[4], area[6]) for area in areas} == {(28, 0x10000, 8, 28)}, areas)
check([LINE.fullmatch(text[:-1])["text"] for text in texts] ==
      [f"thread 0 line {i}" for i in range(3000)], "externalised lines")
check(run.texts() == run.texts()[:9] and f"switches {len(areas) - 1}\n" in run.output, run.output)
