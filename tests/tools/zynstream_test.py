#!/usr/bin/env python3
"""Shows and checks streams: good, damaged and hostile ones.

zynstream_test.py PROGRAM
"""

import atexit
import os
import pty
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAM = sys.argv[1]
WORK = Path(tempfile.mkdtemp(prefix="zynstream"))
atexit.register(shutil.rmtree, WORK)
UTF8 = {**os.environ, "LC_ALL": "en_US.UTF-8"}


def check(condition, what):
    if not condition:
        sys.exit(f"zynstream_test: {what}")


def words(*numbers):
    return struct.pack(f">{len(numbers)}I", *numbers)


def opaque(data):
    return words(len(data)) + data + bytes(-len(data) % 4)


def parameter(number, *content):
    data = b"".join(content)
    return words(number, 8 + len(data)) + data


def plain(*content, ccsid=1252):
    data = b"".join(content)
    return words(0) + b"ZNID\3\5\0\0" + words(20 + len(data), ccsid) + data


def message(*content, order="<"):
    data = b"".join(content)
    return (b"WIH " + struct.pack(f"{order}4I", 1, 120, 546, 1252) + b"ZYN     " + words(0)
            + b"PES1    IMEY0007T       S".ljust(32) + b"STEP".ljust(8) + bytes(16) + b" " * 32
            + words(0) + b"ZNRM\3\5\1\0" + words(140 + len(data), 1252) + data)


def run(data, *options, env=None):
    return subprocess.run([PROGRAM, *map(str, options)], input=data, capture_output=True,
                          timeout=120, env=env)


def expect(data, options, output, status=0, told=()):
    """`told` is what standard error tells, line by line, without its beginning."""
    got = run(data, *options, env=UTF8)
    errors = [line.removeprefix("zynstream: ").removeprefix("-: ")
              for line in got.stderr.decode().splitlines()]
    check((got.stdout.decode(), got.returncode) == (output, status),
          f"{options} on {data[:300]!r}\n--- expected {status}\n{output}\n"
          f"--- got {got.returncode}\n{got.stdout.decode()}\n{errors}")
    check(errors == list(told), f"{options} on {data[:300]!r}: told {errors}")


HEADER = """\
       0  plain stream, {0} bytes
       4    magic       "ZNID"
       8    version     3.5.0
      12    length      {0}
      16    code page   1252
"""

# Everything that a message may hold.
NESTED = plain(parameter(6, opaque(b"\x84\x94")), ccsid=850)
MESSAGE = message(parameter(1, parameter(2, opaque(b"ab")), parameter(3)),
                  parameter(7, words(7, 0xFFFFFFFF, 65535, 65536), opaque(b"K\xf6\"\\\x1b[0m\t.")),
                  parameter(0, words(9)), parameter(9, words(0), NESTED),
                  parameter(10, opaque(bytes(range(40)))), parameter(3, words(3)))
TREE = """\
       0  message, 336 bytes
       0    work header
       0      identifier  "WIH"
       4      version     1
       8      length      120
      12      encoding    546
      16      code page   1252
      20      format      "ZYN"
      28      flags       0
      32      service     "PES1    IMEY0007T       S"
      64      step        "STEP"
      72      token       00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
      88      reserved    ""
     124    magic       "ZNRM"
     128    version     3.5.1
     132    length      336
     136    code page   1252
     140    parameter 1, 32 bytes
     148      parameter 2, 16 bytes
     156        "ab"
     164      parameter 3, 8 bytes
     172    parameter 7, 40 bytes
     180      7
     184      -1 0xFFFFFFFF
     188      65535
     192      65536 0x00010000
     196      "Kö\\"\\\\\\x1B[0m\\x09."
     212    erased, 12 bytes
     220      4 bytes: 00 00 00 09
     224    parameter 9, 48 bytes
     232      0
     236      plain stream, 36 bytes
     240        magic       "ZNID"
     244        version     3.5.0
     248        length      36
     252        code page   850
     256        parameter 6, 16 bytes
     264          "äö"
     272    parameter 10, 52 bytes
     280      40 bytes: {} ...
     324    parameter 3, 12 bytes
     332      3
""".format(" ".join(f"{byte:02X}" for byte in range(32)))
SMALL = plain(parameter(1, parameter(2, opaque(b"ab"))), parameter(5, words(7)), parameter(0))
SMALL_TREE = HEADER.format(64) + """\
      20    parameter 1, 24 bytes
      28      parameter 2, 16 bytes
      36        "ab"
      44    parameter 5, 12 bytes
      52      7
      56    erased, 8 bytes
"""
BEHIND = "      64  4 bytes behind the end of the stream\n"
TWICE = plain(parameter(4, opaque(b"x" * 18)), parameter(0, words(1)), parameter(4), parameter(4))
HEX = f"""\
      20  parameter 4, 32 bytes
      28    "xxxxxxxxxxxxxxxxxx"                   | 00 00 00 12{' 78' * 12}  ....{'x' * 12}
      44                                           |{' 78' * 6} 00 00{' ' * 26}xxxxxx..
      64  parameter 4, 8 bytes
      72  parameter 4, 8 bytes
"""
FAINT, HEAD, TEXT, RED, END = "\x1b[2m", "\x1b[36m", "\x1b[32m", "\x1b[31m", "\x1b[0m"


def painted(tree):
    for look, color in ((r"plain.*|parameter.*", HEAD), ('"ab"', TEXT), ("erased.*", FAINT),
                        ("no parameter", RED)):
        tree = re.sub(f"^( *\\d+ +)({look})$", rf"\1{color}\2{END}", tree, flags=re.M)
    return re.sub(r"^( *\d+)", rf"{FAINT}\1{END}", tree, flags=re.M)


for data, options, output, *more in (
        (MESSAGE, [], TREE),
        (message(*[MESSAGE[140:]], order=">"), ["-"], TREE),
        (MESSAGE, ["--id=9"], "".join(line[:10] + line[12:] for line in
                                      TREE[TREE.index("     224"):TREE.index("     272")]
                                      .splitlines(True))),
        (SMALL, ["--color=never"], SMALL_TREE),
        (SMALL, ["--color=always"], painted(SMALL_TREE)),
        (plain(words(5, 7)), ["--color=always"], painted(HEADER.format(28) + """\
      20    no parameter
      20      8 bytes: 00 00 00 05 00 00 00 07
"""), 1, ["offset 20: parameter 5: its length, 7, is less than its head"]),
        (SMALL, ["-i", "0x5"], "      44  parameter 5, 12 bytes\n      52    7\n"),
        (SMALL, ["-i2"], "", 1, ["has no parameter 2"]),
        (TWICE, ["-x", "--id", 4], HEX),
        (TWICE, ["--check"], "", 0, ["offset 0: note: erased parameters: 1, of 12 bytes",
                                     "offset 0: note: parameter 4 is there 3 times"]),
        # Which bytes, and how many.
        (SMALL + bytes(4), [], SMALL_TREE + BEHIND),
        (SMALL + bytes(4), ["-c"], "", 1, ["offset 0: note: erased parameters: 1, of 8 bytes",
                                           "offset 64: 4 bytes behind the end of the stream"]),
        (b"\xff" * 10 + SMALL, ["-o10", "-i5"], "      54  parameter 5, 12 bytes\n"
                                                "      62    7\n"),
        (SMALL + TWICE + SMALL, ["-a", "-i5"], """\
      44  parameter 5, 12 bytes
      52    7
     188  parameter 5, 12 bytes
     196    7
"""),
        (SMALL * 3 + b"ZNID", ["-ac"], "", 1, ["offset 0: note: erased parameters: 1, of 8 bytes",
                                               "offset 64: note: erased parameters: 1, of 8 bytes",
                                               "offset 128: note: erased parameters: 1, of 8 bytes",
                                               "offset 196: the header ends after 4 bytes of 20"]),
        # Texts.
        (plain(parameter(1, opaque(b"\x84\x94 and \x1b"))), ["-i1", "-C850"],
         '      20  parameter 1, 20 bytes\n      28    "\u00e4\u00f6 and \\x1B"\n'),
        (plain(parameter(1, opaque(b"\xc3\xa4\xc2\x9b\xff")), ccsid=1208), ["-i1"],
         '      20  parameter 1, 20 bytes\n      28    "\u00e4\\xC2\\x9B\\xFF"\n'),
        (plain(parameter(1, opaque(b"K\xf6ln")), ccsid=9), ["-i1"],
         '      20  parameter 1, 16 bytes\n      28    "K\\xF6ln"\n'),
        (plain(parameter(1, opaque(b"x" * 0x100001))), ["-i1"],
         f"      20  parameter 1, 1048592 bytes\n      28    1048577 bytes:{' 78' * 32} ...\n"),
        # Values without parameters, and what is no text for a control character or a NUL too many.
        (plain(words(7), opaque(b"ab\1\2"), words(2), b"a\0\0\0", words(2), b"abc\0", b"123"),
         ["-v"], HEADER.format(51) + """\
      20    7
      24    4
      28    1633812738 0x61620102
      32    2
      36    1627389952 0x61000000
      40    2
      44    1633837824 0x61626300
      48    3 bytes: 31 32 33
""", 1, ["offset 12: the length of the stream, 51, is no multiple of 4"]),
        # Damage.
        (SMALL[:56] + words(5, 100, 3), [], SMALL_TREE[:SMALL_TREE.index("      56")] +
         "      56    parameter 5, 100 bytes of which 8 are there\n" + BEHIND, 1,
         ["offset 56: parameter 5: its length, 100, is more than the 8 bytes up to the end"]),
        (plain(words(5, 7, 3)), [], HEADER.format(32) + """\
      20    no parameter
      20      12 bytes: 00 00 00 05 00 00 00 07 00 00 00 03
""", 1, ["offset 20: parameter 5: its length, 7, is less than its head"]),
        (plain(parameter(5), words(6)), ["-c"], "", 1,
         ["offset 28: 4 bytes are too few for the head of a parameter"]),
        (plain(parameter(5, b"x"), parameter(6, b"xyz")), ["-c"], "", 1,
         ["offset 20: parameter 5: its length, 9, is no multiple of 4",
          "offset 29: parameter 6: its length, 11, is no multiple of 4"]),
        (plain((words(1, 9) + b"x") * 28), ["-c"], "", 1,
         [f"offset {20 + 9 * n}: parameter 1: its length, 9, is no multiple of 4"
          for n in range(20)] + ["and 9 more"]),
        (SMALL.replace(words(64), words(19)), ["-c"], "", 1,
         ["offset 12: the length of the stream, 19, is less than its header",
          "offset 12: the length of the stream, 19, is no multiple of 4",
          "offset 0: note: erased parameters: 1, of 8 bytes"]),
        (MESSAGE[:130], ["-c"], "", 1, ["offset 130: the header ends after 130 bytes of 140"]),
        (MESSAGE.replace(b"ZNRM", b"ZNRX"), ["-c"], "", 1,
         ["offset 124: the magic of a message is missing"]),
        (b"", [], "       0  plain stream, cut off\n", 1,
         ["offset 0: the header ends after 0 bytes of 20"])):
    expect(data, options, output, *more)


def is_sound(data):
    """What --check has to find, by a walk of its own."""
    size = 20 if data[4:8] == b"ZNID" else 140 if data[124:128] == b"ZNRM" else 0
    if size == 0 or len(data) < size:
        return False
    length, = struct.unpack(">I", data[size - 8:size - 4])
    if length != len(data) or length < size or length % 4:
        return False
    at = size
    while at < length:
        if length - at < 8:
            return False
        step, = struct.unpack(">I", data[at + 4:at + 8])
        if step < 8 or step % 4 or step > length - at:
            return False
        at += step
    return True


# Every cut and every wrong bit, of a message only in front of and behind its service.
SHORT = message(parameter(1, parameter(2, words(3))))
DAMAGED = [SMALL[:size] for size in range(len(SMALL))] + [SHORT[:n] for n in range(119, len(SHORT))]
for whole, places in ((SMALL, range(len(SMALL))), (SHORT, [*range(4), *range(120, 140)])):
    for at in places:
        for bit in range(8):
            data = bytearray(whole)
            data[at] ^= 1 << bit
            DAMAGED.append(bytes(data))
for number, data in enumerate(DAMAGED):
    checked, shown = run(data, "--check"), run(data)
    sound = is_sound(data)
    check((checked.stdout, checked.returncode) == (b"", 0 if sound else 1), f"{data!r}: {checked}")
    # The tree bears bytes behind the end, and tells the same of everything else.
    check(shown.returncode == 0 or not sound, f"{data!r}: {shown}")
    check(shown.returncode == 1 or sound or b"behind the end" in shown.stdout, f"{data!r}: {shown}")
    check(bool(shown.stderr) == (shown.returncode == 1), f"{data!r}: {shown}")
    for form in ("--keyword", "--keyword=parameters") if number % 11 == 0 else ():
        got = run(data, form)
        check(got.returncode == shown.returncode, f"{form} on {data!r}: {got}")

# Hostile bytes: nesting without end, by parameters and by streams, and noise.
DEEP = b"".join(words(1, 8 * n) for n in range(100000, 0, -1))
STREAMS = b""
for _ in range(300):
    STREAMS = parameter(1, plain(STREAMS))
for data, depth in ((plain(DEEP), 64), (plain(STREAMS), 64), (plain(DEEP[8 * (100000 - 63):]), 0)):
    got = run(data)
    lines = got.stdout.decode().splitlines()
    check(got.returncode == 0 and not got.stderr, got)
    check([line.count("too deeply") for line in lines[-2:]] == ([1, 0] if depth else [0, 0]), lines)
    check(not depth or lines[-2].startswith(" " * 2 * depth, 10), lines[-2])
for seed in range(2):
    noise = random.Random(seed).randbytes(1 << 20)
    for data in (noise, plain(parameter(1, noise)), plain(noise)):
        for options in ([], ["-c"], ["-x"], ["-v"], ["-a"], ["--keyword"]):
            check(run(data, *options).returncode in (0, 1), f"seed {seed}, {options}")

# The forms of the library.
FORM = ["", "this=", "_pMem->_header._kind=0", "_pMem->_header._version=3",
        "_pMem->_header._release=5", "_pMem->_header._modLevel=0",
        "_pMem->_header._streamCcsid=1252", "_pMem->_header._streamLength=64", "_pMem->_closed=1",
        "_pMem->_headerPos=0", "_pMem->_startPos=20", "_pMem->_endPos=64",
        "(char*)_pMem->_dynPtr=", "_pMem->_dynPtr.Size()="]
for option, lines in (
        ("-k", [f" hex  content={SMALL[20:].hex().upper()}",
                " char content=" + "".join(f"{chr(c) if 32 <= c < 127 else '?'}."
                                           for c in SMALL[20:])]),
        ("--keyword=parameters", ["id=1 len=24", "hex =" + SMALL[28:44].hex().upper(),
                                  "char=?.?.?.?.?.?.?.?.?.?.?.?.a.b.?.?.",
                                  "id=5 len=12", "hex =00000007", "char=?.?.?.?.",
                                  "id=0 len=8 Warning: stream seems not to contain IDs and lengths"
                                  ])):
    got = run(SMALL * 2, option, "--all")
    text = re.sub(r"(this|_dynPtr|Size\(\))=.*", r"\1=", got.stdout.decode())
    check((text, got.returncode) == ("\n".join(FORM + lines + [""]) * 2, 0), text)
expect(SMALL[:60], ["-k"], "", 1,
       ["offset 12: the length of the stream, 64, is more than the 60 bytes at hand",
        "offset 56: 4 bytes are too few for the head of a parameter"])

# Wrong calls and files.
for options, told in ((["--offset=x"], "--offset=x: a number"), (["-i4294967296"], "too large"),
                      (["-C65536"], "too large"), (["-o-1"], "a number is needed"),
                      (["--color=red"], "none of auto"), (["--keyword=x"], "--keyword=x: this is"),
                      (["--check", "-k"], "one of --check"), (["-c", "-x"], "belong to the tree"),
                      (["-k", "-i1"], "belong to the tree"), (["-v", "-i1"], "--values are in no"),
                      (["a", "b"], "one FILE"), (["--what"], "unrecognized"), (["-o"], "requires"),
                      ([WORK], "Is a directory"), ([WORK / "none"], "none: No such file")):
    got = run(SMALL, *options)
    check((got.stdout, got.returncode) == (b"", 2) and told in got.stderr.decode(), f"{options} {got}")
check(b"--check" in run(b"", "--help").stdout, "--help")
check(re.fullmatch(rb"zynstream \d+\.\d+\.\d+\n", run(b"", "-V").stdout), "--version")
with open("/dev/full", "wb") as full:
    for option in ("--hex", "--keyword", "--help"):
        got = subprocess.run([PROGRAM, option], input=SMALL, stdout=full, stderr=subprocess.PIPE)
        check(got.returncode == 2 and b"standard output: " in got.stderr, f"{option} {got}")

# A place far behind in a file, and one behind the end.
with (WORK / "far").open("wb") as file:
    file.seek(3 << 30)
    file.write(SMALL)
expect(b"", ["-i5", f"--offset={3 << 30:#x}", WORK / "far"],
       "3221225516  parameter 5, 12 bytes\n3221225524    7\n")
check(run(SMALL, "-o65").returncode == 1, "an offset behind the end")

# On a terminal.
for variables, tree in (({}, painted(SMALL_TREE)), ({"NO_COLOR": "1"}, SMALL_TREE)):
    ours, theirs = pty.openpty()
    subprocess.run([PROGRAM], input=SMALL, stdout=theirs, check=True,
                   env={**UTF8, "TERM": "xterm", **variables})
    os.close(theirs)
    output = b""
    while len(output.replace(b"\r", b"")) < len(tree):
        output += os.read(ours, 4096)
    check(output.replace(b"\r", b"").decode() == tree, output)
