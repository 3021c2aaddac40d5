#!/usr/bin/env python3
"""Shows traces: good, damaged and hostile ones, and ones that are still written to.

zyntrcfmt_test.py PROGRAM
"""

import atexit
import os
import pty
import random
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

PROGRAM = sys.argv[1]
WORK = Path(tempfile.mkdtemp(prefix="zyntrcfmt"))
atexit.register(shutil.rmtree, WORK)


def check(condition, what):
    if not condition:
        sys.exit(f"zyntrcfmt_test: {what}")


def line(text, filtered="(09,Fl,Kr), ", at="14:03:22.517", day="2004-05-10", source="zynkchk",
         number=5970, process="zynserv", pid=1204, tid=88, function="F()"):
    return (f"{day}, {at}, {source:>12}({number:>5}) {filtered}{process:>8}({pid:>4}-{tid:>4}), "
            f"{function}, {text}\n").encode()


def area(*lines, size=0, kind=1):
    data = struct.pack(">7I", 28, 0xFFFFFFFF, 2, 0x10000, 7, 1204, 28)
    for text in lines:
        length = struct.pack(">I", len(text) + 12)
        data += length + struct.pack(">I", kind) + text + length
    return data.ljust(size, b"\0")


def run(data, *options, **more):
    return subprocess.run([PROGRAM, *map(str, options)], input=data, capture_output=True,
                          timeout=120, **more)


def expect(data, options, output, status=0, told=""):
    got = run(data, *options)
    check((got.stdout, got.returncode) == (output, status),
          f"{options} on {data[:2000]!r}\n--- expected {status}\n{output!r}\n--- got "
          f"{got.returncode}\n{got.stdout!r}\n{got.stderr!r}")
    errors = got.stderr.decode()
    if told is not None:  # whatever it is
        check(told in errors if told else not errors, f"{options}: {told!r} expected in {errors!r}")


# The example that the format is told with.
EXAMPLE = (b"2004-05-10, 14:03:22.517,      zynkchk( 5970) (09,Fl,Kr),  zynserv(1204-  88), "
           b"ZynSyntaxChecker::IsValidWinEnvironment,  >entry\n")
check(EXAMPLE == line(" >entry", function="ZynSyntaxChecker::IsValidWinEnvironment"), "the example")

ERROR = line("THROW_INT, x\nwith a second line\n\n  and a fourth", "(00,Er,St), ", "14:03:22.518")
GENERAL = line("Code setting:", "(01,Gn,Kr), ", "14:04:00.000", process="my(1-2), prog")
WIDE = line("", "(05,??,??), ", "00:00:00.000", "2004-05-11", source="a( 1) (12345).cpp",
            number=123456, process="zynserver99", pid=4194304, tid=12345678)
SHORT = line("(09,Fl,Kr), a short one", "", "15:00:00.001", tid=89)
DASHES = b"-------------------"
REPORT = (DASHES + b" Assertion occurred.  --------------------------------\n"
          b"    *** Pre-condition failed in zynkstr.inl(88): !IsNull()\n" +
          DASHES + b" Extended trace buffers follow --------------------------------\n")
FAULT = (DASHES + b" Exception occurred--------------------------------\n"
         b"Process/Thread: zynserv ( 1204 / 88 ) on 2004-05-10\n\nCall stack:\n (n/a)\n" +
         DASHES + b" End of Exception --------------------------------\n")
ORPHAN = b"the end of a line\n"
# Nearly heads. They belong to the line before.
NEARLY = b"".join([EXAMPLE[1:], EXAMPLE.replace(b"( 5970)", b"(5970)"),
                   EXAMPLE.replace(b"( 5970)", b"( 12345)"), EXAMPLE.replace(b"-  88)", b"-88)"),
                   EXAMPLE.replace(b"     zynkchk", b"zynkchk"),
                   EXAMPLE.replace(b",  zynserv", b", zynserv"),
                   EXAMPLE.replace(b"22.517", b"22,517"), EXAMPLE.replace(b"5970", b"59x0"),
                   EXAMPLE.replace(b"(09,Fl,Kr), ", b"(9,Fl,Kr), ").replace(b"(1204", b"1204"),
                   EXAMPLE[:EXAMPLE.index(b"-  88")] + b"\n",
                   b" " + DASHES + b" Assertion occurred.\n"])
ALL = ORPHAN + EXAMPLE + ERROR + GENERAL + WIDE + REPORT + SHORT + FAULT
LEFT_OUT = "don't show level, category and component: 1 lines"

for options, output, *more in (
        ([], ALL),
        (["-"], ALL),
        (["--level=1"], ERROR + GENERAL + REPORT + FAULT, 0, LEFT_OUT),
        (["--level", "5-9"], EXAMPLE + WIDE, 0, LEFT_OUT),
        (["-l0-0"], ERROR + REPORT + FAULT, 0, LEFT_OUT),
        (["-l2-4"], b"", 1, LEFT_OUT),
        (["--category=Er"], ERROR + REPORT + FAULT, 0, LEFT_OUT),
        (["-c", "Gn,??"], GENERAL + WIDE, 0, LEFT_OUT),
        (["-c", "Gn", "-c", "Fl", "-C", "Kr"], EXAMPLE + GENERAL, 0, LEFT_OUT),
        (["--component", "St"], ERROR, 0, LEFT_OUT),
        (["--process=my(1-2), prog"], GENERAL),
        (["-p", 4194304, "-p", "zynserv"], EXAMPLE + ERROR + WIDE + SHORT),
        (["--thread=88", "-t12345678"], EXAMPLE + ERROR + GENERAL + WIDE),
        (["--text", "second"], ERROR),
        (["-e", "fourth", "--text", "Code"], ERROR + GENERAL),
        (["-e", "09,Fl"], SHORT),
        (["-e", "Win"], EXAMPLE),
        (["-e", "!IsNull"], REPORT),
        (["-e", "end of"], ORPHAN),
        (["-e", "*** Pre", "-c", "Er"], REPORT, 0, LEFT_OUT),
        (["--since=2004-05-11"], WIDE + REPORT),
        (["--until", "2004-05-10"], EXAMPLE + ERROR + GENERAL + SHORT + FAULT),
        (["--since", "2004-05-10T14:03:22.518", "--until", "2004-05-10 14:59"], ERROR + GENERAL),
        (["--since", "2004-05-10, 14:04:00"], GENERAL + WIDE + REPORT + SHORT + FAULT),
        (["--since", "14:03", "--until", "14:03"], EXAMPLE + ERROR),
        (["--until", "14:03:22.517"], EXAMPLE + WIDE + REPORT)):
    expect(ALL, options, output, *more)
expect(ALL, ["--color=always", "-c", "Er", "-e", "THROW"],
       b"".join(b"\x1b[31m" + part + b"\x1b[0m\n" for part in ERROR.split(b"\n")[:-1]),
       0, LEFT_OUT)
expect(EXAMPLE + NEARLY + ERROR, ["-cFl"], EXAMPLE + NEARLY)
expect(NEARLY + ERROR, ["-cFl"], b"", 1)
expect(ORPHAN + ORPHAN + ALL, ["-e", "end of a"], 3 * ORPHAN)
expect(b"", [], b"", 1)
expect(REPORT + EXAMPLE, ["--since=14:03"], EXAMPLE)  # a report in front of all times
expect(ALL.replace(b"\n", b"\r\n")[:-2], [], ALL)

for options, told in ((["-cEr,er"], "--category=er: the codes are Fl, Er, SC, Ms, Ct, Pf, Gn, Sq"),
                      (["-CKr,"], "--component=: the codes are Kr, FM, Mg"), (["-l5-3"], "--level"),
                      (["-l100"], "0 to 99"), (["-l"], "requires an argument"),
                      (["-l-1"], "--level"), (["-lx"], "--level=x"),
                      (["-t1x"], "a number is needed"), (["--since=2004-05-1"], "a time like"),
                      (["--until=14:0"], "a time like"), (["--until=2004-05-10x14:00"], "a time"),
                      (["--color=red"], "none of auto"), (["--what"], "unrecognized"),
                      (["-f"], "--follow needs"), (["-fs", "x"], "--summary comes"),
                      ([WORK], "Is a directory"), ([WORK / "none"], "none: No such file")):
    expect(ALL, options, b"", 2, told)
(WORK / "log").write_bytes(ALL)
expect(b"", [WORK / "none", WORK / "log"], ALL, 2, "none: No such file")
expect(GENERAL, [WORK / "log", "-", WORK / "log"], ALL + GENERAL + ALL)
check(b"--since" in run(b"", "--help").stdout, "--help")
check(re.fullmatch(rb"zyntrcfmt \d+\.\d+\.\d+\n", run(b"", "-V").stdout), "--version")


# Functions: one is left with those that it entered, another thread has its own, and what is left
# was not seen to be entered.
def flow(*steps):
    return b"".join(line(text, f"({level},{code},Kr), ", function=name, tid=tid)
                    for name, text, tid, level, code in steps)


STEPS = flow(("A()", " >entry", 88, "09", "Fl"), ("B", " >entry", 88, "09", "Fl"),
             ("C", " >entry", 89, "09", "Fl"), ("B", "inside", 88, "05", "Gn"),
             ("A()", " <exit", 88, "09", "Fl"), ("A()", " <exit", 88, "09", "Fl"),
             ("D", "ACCESS_VIOLATION Exception occurred >entry", 88, "00", "Fl"),
             ("E", " >entry", 88, "05", "Gn"))
expect(STEPS, ["--indent"], STEPS.replace(b" B,  >", b"   B,  >").replace(b" B, in", b"     B, in")
       .replace(b" E, ", b"   E, "))
expect(STEPS, ["-i", "-c", "Gn"], flow(("    B", "inside", 88, "05", "Gn"),
                                       ("  E", " >entry", 88, "05", "Gn")))
summary = run(STEPS + ALL, "--summary").stdout.decode()
for row in (" +13  lines", " +1  of them without level", " +11  continuation lines", " +2  reports",
            " +0  unparsed lines", " +4  entries without exit", " +1  exits without entry",
            "from 2004-05-10, 14:03:22.517\nto   2004-05-11, 00:00:00.000\nlevel\n +2  00\n +1  01",
            "category\n +1  \\?\\?\n +1  Er\n +7  Fl", "component\n +1  \\?\\?\n +10  Kr\n +1  St",
            r" +2  zynserv\(1204-89\)", r" +1  my\(1-2\), prog\(1204-88\)",
            r"still in, zynserv\(1204-88\)\n  D\n  ZynSyntaxChecker::IsValidWinEnvironment",
            r"still in, zynserv\(1204-89\)\n  C"):
    check(re.search(f"^{row}$", summary, re.M), f"{row!r} is missing in\n{summary}")
left = run(GENERAL + flow(("A", " >entry", 1, "09", "Fl"), ("A", " <exit", 1, "09", "Fl")),
           "-s").stdout
check(b"from 2004-05-10, 14:03:22.517\nto   2004-05-10, 14:04:00.000\n" in left, left)
check(b"still in" not in left, left)
expect(ALL, ["-s", "-l2-4"], run(b"", "-s").stdout, 1, LEFT_OUT)

# Areas: whole ones, behind each other, padded, cut, and between lines of text.
A, B, C = area(EXAMPLE, ERROR), area(GENERAL, size=600), area(WIDE, SHORT, kind=2)
AREAS, LINES = A + B + C, EXAMPLE + ERROR + GENERAL + WIDE + SHORT
for data, output, *more in (
        (AREAS, LINES),
        (b"\0" * 9 + AREAS + b"\0" * 99, LINES),
        (area(), b"", 1),
        (ALL + AREAS + REPORT + SHORT + B + b"\0" * 9 + EXAMPLE,
         ALL + LINES + REPORT + SHORT + GENERAL + EXAMPLE),
        (A + ORPHAN + FAULT, EXAMPLE + ERROR + FAULT, 0, "skipped 18 damaged"),
        (ALL[:-9] + A, ALL[:-9] + b"\n" + EXAMPLE + ERROR),
        (ALL[:-9] + b"\0" * 4096 + FAULT, ALL[:-9] + b"\n" + FAULT),
        (area(EXAMPLE[:-1]), EXAMPLE),
        (A + b"rubbish" + AREAS, EXAMPLE + ERROR + LINES, 0, f"7 damaged bytes at offset {len(A)}"),
        (A + b"rubbish\n" + SHORT + ALL, EXAMPLE + ERROR + SHORT + ALL, 0, "skipped 8 damaged"),
        (A[:-1], EXAMPLE, 0, f"{len(ERROR) + 11} damaged bytes at offset {len(EXAMPLE) + 40}"),
        (B[:27], b"", 1, "skipped 27 damaged bytes at offset 0"),
        (A.replace(struct.pack(">I", len(EXAMPLE) + 12), b"\xff" * 4) + B, GENERAL, 0,
         f"skipped {len(A) - 28} damaged bytes at offset 28")):
    expect(data, [], output, *more)
# A record is one entry, whatever its lines look like.
for option in ("-cFl", "-pzynserv", "-t88", "--since=14:03:22.517"):
    expect(area(EXAMPLE + GENERAL, ORPHAN + EXAMPLE), [option], EXAMPLE + GENERAL)


def damaged(offset):
    """The areas with one byte damaged, and what is left of them: what a walk finds before it."""
    data, output, start = bytearray(AREAS), b"", 0
    data[offset] ^= (0x80, 0xFF, 0x04)[offset % 3]
    for size, texts in ((len(A), [EXAMPLE, ERROR]), (len(B), [GENERAL]), (len(C), [WIDE, SHORT])):
        at = start + 28
        for text in texts if not start <= offset < start + 8 else []:
            end = at + 8 + len(text)
            if at <= offset < at + 8 or end <= offset < end + 4:
                break
            text = bytes(data[at + 8:end])
            output += text if text.endswith(b"\n") else text + b"\n"
            at = end + 4
        start += size
    return data, output


for offset in range(len(AREAS)):
    DAMAGED, LEFT = damaged(offset)
    expect(DAMAGED, [], LEFT, 0, None)


# Bytes of any kind, in pieces of any size.
def in_pieces(data, draw, sizes=(1, 2, 7, 30, 300)):
    ours, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    with subprocess.Popen([PROGRAM], stdin=theirs, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as program:
        theirs.close()
        with ours:
            while data:
                size = draw.choice(sizes)
                ours.send(data[:size])
                data = data[size:]
        return (*program.communicate(timeout=120), program.returncode)


PARTS = [ORPHAN, EXAMPLE, ERROR, REPORT, A, B, C, A[:4], A[:8], A[:28], A[28:36], A[:-40],
         EXAMPLE[:40], b"\0", b"\0\0\0", b"\0" * 8, b"\n", b"\r\n", b"\xff" * 4, b"\0\0\0\x1c",
         b"-" * 19]
for seed in range(60):
    draw = random.Random(seed)
    data = b"".join(draw.choice(PARTS) for _ in range(draw.randrange(1, 12)))
    whole = run(data)
    got = in_pieces(data, draw)
    check(got == (whole.stdout, whole.stderr, whole.returncode) and whole.returncode in (0, 1),
          f"seed {seed}: {data!r}\n--- whole {whole}\n--- in pieces {got}")
    noise = draw.randbytes(3000).replace(b"\0\0", b"\0")
    expect(noise + b"\n", [], (noise + b"\n").replace(b"\r\n", b"\n"))

# An area that begins where a long line is cut.
LONG = EXAMPLE[:-1].ljust((17 << 16) - 4, b"x")
check(in_pieces(LONG + A, random, [1 << 16]) == (LONG + b"\n" + EXAMPLE + ERROR, b"", 0),
      "a long line in front of an area")


# A line without end, and a text, padding, a record and damage without end: nothing is lost, and
# little is held.
def peak(data):
    """What the program has held at most, in KiB, once it has read nearly all of the data."""
    with subprocess.Popen([PROGRAM], stdin=subprocess.PIPE, stdout=(WORK / "out").open("wb"),
                          stderr=subprocess.DEVNULL) as program:
        program.stdin.write(data)
        program.stdin.flush()
        status = Path(f"/proc/{program.pid}/status").read_text()
    return int(re.search(r"VmHWM:\s*(\d+) kB", status)[1])


SIZE, LEAST = 48 << 20, peak(ALL)
HUGE = EXAMPLE[:-1] + b"x" * SIZE + b"\n"
MANY = EXAMPLE + b"a further line\n" * (SIZE // 15)
for data in (HUGE, MANY, b"\0" * SIZE + A, area(EXAMPLE) + b"\1" * SIZE, ALL * (SIZE // len(ALL)),
             area() + struct.pack(">2I", 0x7FFFFFFF, 1) + b"x" * SIZE, A * (SIZE // len(A))):
    most = peak(data) - LEAST
    check(most < 20 << 10, f"{most} KiB for {data[:200]!r}")
    check(not data.startswith(EXAMPLE[:20]) or (WORK / "out").read_bytes() == data, "what is lost?")
expect(HUGE + ERROR, ["-cEr"], ERROR)
(WORK / "huge").write_bytes(MANY)

# A reader that goes, and a full device.
with subprocess.Popen([PROGRAM, WORK / "huge"], stdout=subprocess.PIPE,
                      stderr=subprocess.PIPE, restore_signals=False) as program:
    program.stdout.read(10)
    program.stdout.close()
    check((program.wait(60), program.stderr.read()) == (-signal.SIGPIPE, b""), "a broken pipe")
with open("/dev/full", "wb") as full:
    got = subprocess.run([PROGRAM, WORK / "log"], stdout=full, stderr=subprocess.PIPE, timeout=60)
    check(got.returncode == 2 and b"standard output: No space" in got.stderr, str(got))


# What has come through a pipe is shown before its end.
with subprocess.Popen([PROGRAM], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as program:
    program.stdin.write(EXAMPLE)
    program.stdin.flush()
    check(select.select([program.stdout], [], [], 30)[0], "a pipe is silent")
    check(program.communicate(GENERAL)[0] == EXAMPLE + GENERAL, "a pipe")


# On a terminal, what could play with it is escaped.
def on_terminal(data, *options, **variables):
    ours, theirs = pty.openpty()
    with subprocess.Popen([PROGRAM, *options], stdin=subprocess.PIPE, stdout=theirs,
                          env={**os.environ, "TERM": "xterm", **variables}) as program:
        program.stdin.write(data)
        program.stdin.close()
        os.close(theirs)
        output = b""
        try:
            while part := os.read(ours, 4096):
                output += part
        except OSError:  # the end of a terminal
            os.close(ours)
    return output.replace(b"\r\n", b"\n")


EVIL = line("\x1b]0;x\x07\x7f\t\u00e4\x9b", "(00,Er,Kr), ", tid=1) + b"\xff\r.\n"
SHOWN = EVIL.replace(b"\x1b", b"\\x1B").replace(b"\x07", b"\\x07").replace(b"\x7f", b"\\x7F")
SHOWN = SHOWN.replace(b"\xc2\x9b", b"\\xC2\\x9B").replace(b"\xff\r", b"\\xFF\\x0D")
RED = b"".join(b"\x1b[31m" + part + b"\x1b[0m\n" for part in SHOWN.split(b"\n")[:-1])
RED_IN_C = RED.replace("\u00e4".encode(), b"\\xC3\\xA4")
UTF8 = {"LC_ALL": "en_US.UTF-8"}
for options, variables, output in (
        ([], UTF8, RED), (["--color=never"], UTF8, SHOWN), ([], {**UTF8, "NO_COLOR": "1"}, SHOWN),
        ([], {**UTF8, "TERM": "dumb"}, SHOWN),
        (["--color=always"], {"NO_COLOR": "1"}, RED_IN_C)):
    got = on_terminal(EVIL, *options, **variables)
    check(got == output, f"{options} {variables}: {got!r}\n--- {output!r}")
expect(EVIL, [], EVIL)
expect(EVIL, ["--color=always"], RED_IN_C)
check(b"a\\x1Bb(1204-88)" in on_terminal(line("", process="a\x1bb"), "-s"), "a summary's names")


# Files that are still written to.
class Follower:
    def __init__(self, path, *options):
        self.path, self.output = path, b""
        self.program = subprocess.Popen([PROGRAM, "--follow", *options, path],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        atexit.register(self.program.kill)
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        while part := self.program.stdout.read1():
            self.output += part

    def append(self, data, output):
        """Writes, and waits until the output goes on with what is expected."""
        with self.path.open("ab") as file:
            file.write(data)
        self.wait(output)

    def wait(self, output):
        end = time.monotonic() + 60
        while self.output != output and time.monotonic() < end and self.program.poll() is None:
            time.sleep(0.01)
        check(self.output == output, f"{self.path}: {self.output!r}\n--- {output!r}")
        self.output = b""

    def rotate(self, data):
        with self.path.open("ab") as file:
            file.write(data)
        self.path.replace(f"{self.path}.bak")

    def stop(self, told):
        self.program.terminate()
        errors = self.program.stderr.read()
        check(told.encode() in errors if told else not errors, errors)


first = Follower(WORK / "first")
time.sleep(0.3)
first.append(EXAMPLE, EXAMPLE)
first.append(ERROR[:-20], ERROR[:ERROR.rindex(b"\n", 0, -20) + 1])
time.sleep(0.3)
first.append(ERROR[-20:], ERROR[ERROR.rindex(b"\n", 0, -20) + 1:])
first.rotate(GENERAL)
time.sleep(0.3)
first.append(WIDE, GENERAL + WIDE)
first.rotate(b"the last words")
first.append(SHORT, b"the last words\n" + SHORT)
os.kill(first.program.pid, signal.SIGSTOP)
first.rotate(EXAMPLE)
first.rotate(GENERAL)
first.append(WIDE, b"")
os.kill(first.program.pid, signal.SIGCONT)
first.wait(EXAMPLE + GENERAL + WIDE)
os.kill(first.program.pid, signal.SIGSTOP)
first.rotate(EXAMPLE)
first.rotate(GENERAL)
os.kill(first.program.pid, signal.SIGCONT)
first.wait(EXAMPLE + GENERAL)
first.append(WIDE, WIDE)
first.path.unlink()  # which is no rotation
first.append(WIDE, WIDE)
first.path.write_bytes(b"less\n")
first.wait(b"less\n")
first.append(A[:100], b"")
first.append(A[100:] + ERROR, EXAMPLE + ERROR * 2)
first.stop("waiting until it appears")

# A line that is left out so far may go on with what is looked for.
second = Follower(WORK / "second", "--text=needle", "--level=5")
second.append(ERROR + GENERAL, b"")
time.sleep(0.3)
second.append(b"needle\n", GENERAL + b"needle\n")
second.append(b"more\n" + EXAMPLE + b"needle\n" + ORPHAN + GENERAL, b"more\n")
os.kill(second.program.pid, signal.SIGSTOP)
second.rotate(b"needle\n")
second.rotate(b"no needle\n")
second.append(line("needle"), b"")
os.kill(second.program.pid, signal.SIGCONT)
second.wait(GENERAL + b"needle\n")
second.stop("rotated more than once")
both = Follower(WORK / "second", WORK / "log")
both.wait(ALL + line("needle"))
both.stop("")
