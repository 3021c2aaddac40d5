#!/usr/bin/env python3
"""Sends orders down the road: good ones, damaged ones, and bytes that are none.

road_test.py SERVER CLIENT ORDERFILE
"""

import atexit
import base64
import hashlib
import re
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

SERVER, CLIENT, ORDER = sys.argv[1], sys.argv[2], Path(sys.argv[3])
STAMP = (ORDER.parent / "stamp.png").read_bytes()
WORK = Path(tempfile.mkdtemp(prefix="road"))
PATH = str(WORK / "socket")
LOG = WORK / "log"
atexit.register(shutil.rmtree, WORK)


def check(condition, what):
    if not condition:
        sys.exit(f"road_test: {what}\n--- server\n{LOG.read_text()[-3000:]}")


def start():
    with LOG.open("w") as log:
        server = subprocess.Popen([SERVER, PATH], stdout=log, stderr=log)
    atexit.register(server.kill)  # harmless if it has ended
    end = time.monotonic() + 30
    while "ready at" not in LOG.read_text():
        check(server.poll() is None and time.monotonic() < end, "the server did not get ready")
        time.sleep(0.01)
    return server


def client(*options, order=ORDER, path=PATH):
    return subprocess.run([CLIENT, *map(str, options), path, order], timeout=60, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def send(data):
    peer = socket.socket(socket.AF_UNIX)
    peer.settimeout(60)
    peer.connect(PATH)
    peer.sendall(data)
    return peer


def frames(body):
    """The top-level parameters, taken apart by hand: where each begins and ends."""
    places, at = {}, 0
    while at < len(body):
        number, length = struct.unpack_from(">II", body, at)
        places[number] = (at, at + length)
        at += length
    return places


def exchange(message):
    """The answer's (accepted, text, digest)."""
    with send(struct.pack(">I", len(message)) + message) as peer, peer.makefile("rb") as reader:
        answer = reader.read()[4 + 20:]
    check(answer, f"no answer to {message.hex()}")
    payload = {number: answer[at + 8:end] for number, (at, end) in frames(answer).items()}
    text = payload[130][4:4 + struct.unpack_from(">I", payload[130])[0]].decode()
    return payload[110][3] == 1, text, payload[140][8:]


def stream(body):
    """The message with another body."""
    return MESSAGE[:12] + struct.pack(">I", 20 + len(body)) + MESSAGE[16:20] + body


def drip(peer):
    """Sends byte by byte for as long as the other end takes it."""
    try:
        while True:
            peer.sendall(b"x")
            time.sleep(0.1)
    except OSError:
        pass


def as_server(reply):
    """What a client sends to a server that replies with the bytes, and the client's end."""
    path, result = str(WORK / "other"), []
    with socket.socket(socket.AF_UNIX) as listener:
        listener.settimeout(60)
        listener.bind(path)
        listener.listen()
        run = threading.Thread(target=lambda: result.append(client(path=path)))
        run.start()
        with listener.accept()[0] as peer, peer.makefile("rb") as reader:
            message = reader.read(struct.unpack(">I", reader.read(4))[0])
            peer.sendall(reply)
        run.join()
    Path(path).unlink()
    return message, result[0]


server = start()

# A good order, and what both ends tell of it.
run = client("--dump")
DIGEST = hashlib.md5(STAMP).digest()
for fact in ("due date    2024-07-31\n", "flags       urgent, notify-starter\n",
             f"attachment  stamp.png, {len(STAMP)} bytes\n", "accepted    yes\n",
             "work item   1\n", f"digest      {DIGEST.hex().upper()}\n"):
    check(run.returncode == 0 and fact in run.stdout, f"{fact!r} is missing in\n{run.stdout}")
    check(fact in LOG.read_text(), f"{fact!r} is missing in the server's output")
for row in (r" 20  00 00 00 0A 00 00 00 AC  ........  frame 10, process: 172 bytes",
            r"\d+  00 00 00 1F 00 00 00 0C  ........    frame 31, priority: 12 bytes",
            r"\d+  00 00 00 04  +\.{4}"):
    check(re.search(f"^ +{row}$", run.stdout, re.M), f"{row!r} is missing in\n{run.stdout}")

# Replies of a server that can't be trusted; they bring the client's message as well.
for reply, told in ((b"\0\0\0\4abcd", "ExcTruncated"), (b"\0\0\0\11abc", "closed the connection"),
                    (b"\377\0\0\0", "too long")):
    MESSAGE, run = as_server(reply)
    check(run.returncode == 1 and told in run.stdout, f"{told!r} is missing in\n{run.stdout}")
check(exchange(MESSAGE) == (True, "the order is taken", DIGEST), "the message is not the order")
BODY = MESSAGE[20:]

# Damage at every byte. What passes for an order is one with other values.
for offset in range(len(MESSAGE)):
    for mask in (0x01, 0x80, 0xFF):
        damaged = bytearray(MESSAGE)
        damaged[offset] ^= mask
        accepted, text, digest = exchange(bytes(damaged))
        check(accepted or text, f"no reason for refusing {offset} ^ {mask}")
stamp = MESSAGE.index(STAMP)
for offset, told in ((4, "damaged: ZynStream::ExcKindError"), (12, "damaged: ZynStream::ExcTruncated"),
                     (24, "damaged: ZynStream::ExcContentError at offset = 28"),
                     (28, "damaged: ZynStream::ExcParmMismatch at offset = 28"),
                     (23, "parameter 10 (process) is missing"),
                     (stamp, "did not arrive as it was sent")):
    run = client("--damage", offset)
    check(run.returncode == 1 and told in run.stdout, f"{told!r} is missing in\n{run.stdout}")
    check(offset == stamp or f"refused: {told}" in LOG.read_text(), f"the server is silent: {told}")

# Handles of another type, damaged, and of an instance of another process.
handles = dict(re.findall("^(process|instance) handle *= (.*)$", ORDER.read_text(), re.M))
foreign = b"P" + bytes(range(32)) + b"P"
for option, handle, told in (
        ("--process", handles["instance"], "not a handle of this kind: ZynExtException, MsgID=805"),
        ("--instance", handles["process"], "not a handle of this kind: ZynExtException, MsgID=805"),
        ("--process", "Z" + handles["process"][1:], "not a handle of this kind"),
        ("--instance", handles["instance"][4:], "not a handle of this kind"),
        ("--instance", "", "not a handle of this kind"),
        ("--instance", base64.b64encode(foreign).decode(), "the instance is none of this process")):
    run = client(option, handle)
    check(run.returncode == 1 and told in run.stdout, f"{told!r} is missing in\n{run.stdout}")
    check(f"refused: {told}" in LOG.read_text(), f"the server is silent: {told}")

# Cuts, down to nothing. Without padding behind the last value nothing is lost.
padding = -len(STAMP) % 4
for cut in range(1, len(MESSAGE) + 1):
    check(exchange(MESSAGE[:-cut])[:2] == (False, "damaged: ZynStream::ExcTruncated"), f"cut {cut}")
    if cut < len(BODY):
        check(exchange(stream(BODY[:-cut]))[0] is False, f"body cut by {cut}")
run = client("--cut", 10)
check(run.returncode == 1 and "ZynStream::ExcTruncated" in run.stdout, run.stdout)

# Messages of other programs.
starter, starter_end = frames(BODY)[20]
flags = frames(BODY)[40][0]
empty = struct.pack(">II", 999, 8)
for body, told in (
        (BODY[:starter] + empty + BODY[starter:] + empty * 100000, "the order is taken"),
        (BODY + BODY[starter:starter_end], "parameter 20 (starter) comes twice"),
        (BODY[:starter] + BODY[starter_end:], "parameter 20 (starter) is missing"),
        (BODY[:flags + 8] + b"\xff" * 4 + BODY[flags + 12:], "4294967295 flags are more than 32"),
        (BODY + struct.pack(">II", 999, 0xFFFFFFFF), "ExcContentError at offset"),
        (struct.pack(">II", 10, 0x7FFFFFFF) * 100000, "ExcContentError at offset = 28"),
        (b"", "is missing")):
    check(told in exchange(stream(body))[1], f"{told!r} expected for {body[:200].hex()}")
check(exchange(MESSAGE.replace(b"MILLER", b"\x1b[31mR"))[0], "a starter is only a name")
check(r"\x1B[31mR" in LOG.read_text() and "\x1b" not in LOG.read_text(), "a control character")

# Peers that send no whole message. Some of them stay, and others are served all the same.
for data in (b"", b"\xff" * 100, b"\x7f\xff\xff\xff", b"\0\0\0\x64half"):
    send(data).close()
with send(b"") as deaf:
    deaf.shutdown(socket.SHUT_RD)
    deaf.sendall(struct.pack(">I", len(MESSAGE)) + MESSAGE)
waiting = [send(b""), send(b"\0\xff\xff\xffhalf")]
dripping = threading.Thread(target=drip, args=waiting[1:], daemon=True)
dripping.start()
run = client()
check(run.returncode == 0 and "accepted    yes" in run.stdout, run.stdout)
check("client lost: send: Broken pipe" in LOG.read_text(), "a client that does not listen")
check(waiting[0].recv(1) == b"", "an answer to nothing")
dripping.join()

# Order files with faults.
text = ORDER.read_text()
faulty = WORK / "order.txt"
shutil.copy(ORDER.parent / "stamp.png", WORK)
line = text[:text.index("priority")].count("\n") + 1
last = text.count("\n")
for old, new, told in (("priority ", "prio ", f'{line}: "prio" is not a key'),
                       ("= 4\n", "= 4x\n", f'{line}: "4x" is not a number'),
                       ("= 4\n", "= 10\n", f"{line}: priority 10 is not from 1 to 9"),
                       ("= 4\n", "=\n", f'{line}: "priority" has no value'),
                       ("= 4\n", "\n", f'{line}: this is not "key = value"'),
                       ("07-31", "06-31", f'{line + 1}: due date "2024-06-31" is not a day'),
                       ("1284.5", "inf", f"{line + 2}: the amount is not a finite number"),
                       ("stamp.png", "none.png", f"{last}: .*none.png: No such file"),
                       ("starter ", "# ", f'{last}: the file ends without a line for "starter"')):
    check(old in text, f"{old!r} is not in the order")
    faulty.write_text(text.replace(old, new, 1))
    run = client(order=faulty)
    check(run.returncode == 1 and re.search(f"order.txt:{told}", run.stdout), f"{told}: {run.stdout}")

# The optional members are optional, and absent ones arrive as such.
faulty.write_text(re.sub(r"^(due|flags|attachment) .*\n", "", text, flags=re.M))
run = client(order=faulty)
check(run.returncode == 0 and "digest      none" in run.stdout, run.stdout)

# One server at a place; its end; the place of one that was killed.
second = subprocess.run([SERVER, PATH], timeout=60, text=True, stderr=subprocess.PIPE)
check(second.returncode == 1 and "in use" in second.stderr, second.stderr)
server.kill()
server.wait()
check(Path(PATH).exists(), "a killed server has removed its socket")
for number in (signal.SIGTERM, signal.SIGINT):
    server = start()
    check(client().returncode == 0, "a new server does not serve")
    server.send_signal(number)
    check(server.wait(60) == 0 and not Path(PATH).exists(), f"no clean end by {number}")
