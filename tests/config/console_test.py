#!/usr/bin/env python3
"""Types passwords at a terminal and into pipes, and looks at what the terminal shows and how it is
left.

console_test.py PROBE
"""

import fcntl
import os
import pty
import select
import signal
import subprocess
import sys
import tempfile
import termios
import time
from pathlib import Path

PROBE = sys.argv[1]
PROMPT = b"Password: "
SECONDS = 60
ENVIRONMENT = {k: v for k, v in os.environ.items() if not k.startswith("ZYN_")}


def check(condition, what):
    if not condition:
        sys.exit(f"console_test: {what}")


def read(fd, n, behind):
    check(select.select([fd], [], [], SECONDS)[0], f"waited too long behind {behind}")
    return os.read(fd, n)


def read_line(fd):
    text = b""
    while not text.endswith(b"\n"):
        text += read(fd, 1, text) or b" is all\n"
    return text.decode()[:-1]


class Terminal:
    """A terminal with the program in its foreground, and a shell that cares for it as shells do."""

    def __init__(self, *commands, **settings):
        self.master, self.slave = pty.openpty()
        self.before = termios.tcgetattr(self.slave)
        self.reports, report = os.pipe()
        self.told, tell = os.pipe()
        orders, self.order = os.pipe()
        self.shell = os.fork()
        if self.shell == 0:
            os.close(self.master)
            os.setsid()
            fcntl.ioctl(self.slave, termios.TIOCSCTTY, 0)
            signal.signal(signal.SIGHUP, signal.SIG_IGN)
            signal.signal(signal.SIGTTOU, signal.SIG_IGN)
            child = os.fork()
            if child == 0:
                os.setpgid(0, 0)
                os.tcsetpgrp(self.slave, os.getpgrp())
                for number in "HUP", "TTOU", "PIPE", "XFSZ":  # two are Python's
                    signal.signal(getattr(signal, "SIG" + number), signal.SIG_DFL)
                for fd, to in (self.slave, 0), (self.slave, 1), (tell, 2):
                    os.dup2(fd, to)
                os.execve(PROBE, [PROBE, *commands], ENVIRONMENT | settings)
            os.write(report, b"%d\n" % child)
            while True:
                os.write(report, b"%d\n" % os.waitpid(child, os.WUNTRACED)[1])
                foreground = os.read(orders, 1) == b"f"
                os.tcsetpgrp(self.slave, child if foreground else os.getpgrp())
                os.killpg(child, signal.SIGCONT)
        self.program = int(read_line(self.reports))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.kill(self.shell, signal.SIGKILL)
        os.waitpid(self.shell, 0)

    def shows(self, expected):
        text = b""
        while len(text) < len(expected) or select.select([self.master], [], [], 0)[0]:
            text += read(self.master, 1000, f"{text} of {expected}")
        check(text == expected, f"shows {text}, not {expected}")

    def types(self, text, expected):
        os.write(self.master, text)
        self.shows(expected)

    def gets_quiet(self):
        end = time.monotonic() + SECONDS
        while termios.tcgetattr(self.slave)[3] & termios.ECHO:
            check(time.monotonic() < end, "the terminal echoes")
            time.sleep(0.002)

    def tells(self, *lines):
        for line in lines:
            told = read_line(self.told)
            check(told == line, f"tells {told}, not {line}")

    def comes_to(self, expected, what):
        status = int(read_line(self.reports)) & ~0x80
        check(status == expected, f"{what} comes to {status:#x}, not {expected:#x}")
        check(termios.tcgetattr(self.slave) == self.before, f"{what} leaves the terminal changed")


def got(text):
    return "got " + text.hex().upper()


# What is typed, what the terminal shows (a line feed as two bytes), what the program gets.
for typed, shown, password in [
        (b"secret\r", b"******\r\r\n", b"secret"),
        (b"secret\n", b"******\r\n\r\n", b"secret"),
        (b"\x08\x7fa\x08\x08b\x7fcd\r", b"*\b \b*\b \b**\r\r\n", b"cd"),
        (b"x" * 31 + b"yz1234567\x08w\r", b"*" * 32 + b"\b \b*\r\r\n", b"x" * 31 + b"w"),
        (b"\0;za\0\0\0b\r", b"**\r\r\n", b"ab"),
        (b"a\0\rxb\0\0\n", b"**\r\n\r\n", b"ab"),
        (b"\x01\x04\x0f\x16\x17\xff\r", b"******\r\r\n", b"\x01\x04\x0f\x16\x17\xff")]:
    with Terminal("ask") as terminal:
        terminal.shows(PROMPT)
        terminal.gets_quiet()
        terminal.types(typed, shown)
        terminal.tells(got(password))
        terminal.comes_to(0, typed)

# Signals, also to a thread that doesn't read: ends; a stop, from which it comes back at once or by
# way of the background; a stop that it doesn't see, with other settings behind it.
for command in "ask", "thread":
    for number in ("INT QUIT TERM HUP ALRM PIPE USR1 USR2 PROF VTALRM XCPU XFSZ IO PWR STKFLT "
                   "TTIN TTOU").split():
        with Terminal(command) as terminal:
            terminal.shows(PROMPT)
            terminal.types(b"se", b"**")
            key = {"INT": b"\x03", "QUIT": b"\x1c"}.get(number)
            stops = number in ("TTIN", "TTOU")
            number = getattr(signal, "SIG" + number, 16)  # SIGSTKFLT has no name here
            terminal.types(key, b"") if key else os.kill(terminal.program, number)
            terminal.comes_to(number << 8 | 0x7F if stops else number, f"{command} with {number}")
    with Terminal(command) as terminal:
        terminal.shows(PROMPT)
        for key, orders in (b"s", b"f"), (b"e", b"bf"):
            terminal.types(key, b"*")
            terminal.types(b"\x1a", b"")  # apart, for it drops what has not been read
            terminal.comes_to(signal.SIGTSTP << 8 | 0x7F, "a stop")
            for order in orders:
                os.write(terminal.order, b"%c" % order)
                if order == ord("b"):
                    terminal.comes_to(signal.SIGTTOU << 8 | 0x7F, "the background")
            terminal.gets_quiet()
        os.kill(terminal.program, signal.SIGSTOP)
        read_line(terminal.reports)
        termios.tcsetattr(terminal.slave, termios.TCSANOW, terminal.before)
        os.write(terminal.order, b"f")
        terminal.gets_quiet()
        terminal.types(b"cret\r", b"****\r\r\n")
        terminal.tells(got(b"secret"))
        terminal.comes_to(0, "the end behind stops")

# The host's own handler, and signals that it ignores, so that the background does not stop it.
with Terminal("handle", "ask", "ignore", "ask") as terminal:
    terminal.shows(PROMPT)
    terminal.types(b"se", b"**")
    terminal.types(b"\x03", b"")
    terminal.tells("handled with echo")
    terminal.gets_quiet()
    terminal.types(b"cret\r", b"****\r\r\n" + PROMPT)
    terminal.gets_quiet()
    terminal.types(b"\x03", b"")
    for stop, orders in (signal.SIGTSTP, b"b"), (signal.SIGSTOP, b"f"):
        os.kill(terminal.program, stop)
        terminal.comes_to(stop << 8 | 0x7F, "a stop")
        os.write(terminal.order, orders)
        time.sleep(0.2)  # in which it must not take what it hasn't
    terminal.gets_quiet()
    terminal.types(b"se\r", b"**\r\r\n")
    terminal.tells(got(b"secret"), got(b"se"))
    terminal.comes_to(0, "a handler")

# Other ways out. The sanitizer does not see that the stack of a cancelled thread is unwound.
with Terminal("cancel", "look", ASAN_OPTIONS="use_sigaltstack=0") as terminal:
    terminal.tells("echo")
with Terminal("exit") as terminal:
    terminal.comes_to(5 << 8, "the end by another thread")
# Nor can it look for leaks in a child, which has none of its parent's threads.
with Terminal("fork", ASAN_OPTIONS="detect_leaks=0") as terminal:
    terminal.tells("child 0 without", f"child {signal.SIGALRM:d} without")
    terminal.shows(PROMPT + PROMPT)
    terminal.types(b"se\r", b"**\r\r\n")
    terminal.tells(got(b"se"))
    terminal.comes_to(0, "forks")
for command in "raise", "ask":
    with Terminal("interfere", command) as terminal:
        terminal.shows(PROMPT)
        terminal.tells("ignores")
        terminal.types(b"\r", b"\r\r\n" + (PROMPT if command == "ask" else b""))
        terminal.tells(got(b""), "still ignores")
        if command == "ask":
            os.kill(terminal.program, signal.SIGTERM)
        terminal.comes_to(signal.SIGTERM, f"another's action and {command}")
with Terminal("close", "say", "ask") as terminal:
    terminal.gets_quiet()
    terminal.types(b"secret\r", b"")
    terminal.tells(got(b"secret"))
    terminal.comes_to(0, "no output")
with Terminal("ask", ZYN_CONSOLE_CODESET="CP65535") as terminal:
    terminal.shows(PROMPT)
    terminal.types(b"secret\r", b"******\r\r\n")
    terminal.tells("failed InvalidCodePage: No conversion from codepage KOR65535 to codepage "
                   "KOR-819 possible")
    terminal.comes_to(0, "a failed conversion")
with Terminal("ask") as terminal:
    terminal.shows(PROMPT)
    terminal.types(b"se", b"**")
    os.close(terminal.master)
    terminal.tells(got(b"se"))

# Without a terminal; from the code page of one; and into no trace.
for codeset, ccsid, typed, shown, *passwords in [
        ("IBM850", 850, b"gr\x81\x08\xe1\nrest", b"***\b \b*\n\n" + PROMPT + b"****",
         b"gr\xdf", b"rest"),
        ("SHIFT_JIS", 943, b"secret", b"******" + PROMPT, b"secret", b""),
        ("GBK", 1386, b"gr\xa8\xb9n", b"*****" + PROMPT, b"gr\xfcn", b""),
        ("ISO-8859-15", 923, b"secret\x7f", b"*******" + PROMPT, b"secret\x7f", b"")]:
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            [PROBE, "say", "ask", "ask"], input=typed, capture_output=True, timeout=SECONDS,
            env=ENVIRONMENT | {"ZYN_CONSOLE_CODESET": codeset, "ZYN_TRACE_FILE": folder + "/trace",
                               "ZYN_TRACE_CRITERIA": "99,FFFF,FFFFFFFF"})
        check((run.stdout, run.stderr.decode().split("\n")[:-1]) ==
              (b"first " + PROMPT + shown, [got(password) for password in passwords]), run)
        trace = Path(folder, "trace.log").read_bytes()
        check(b"Convert hidden string  from source code page KOR-%d " % ccsid in trace, trace)
        for secret in filter(None, passwords):
            check(secret not in trace and secret.hex().upper().encode() not in trace, trace)
