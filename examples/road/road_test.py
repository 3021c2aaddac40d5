#!/usr/bin/env python3
"""Sends orders down the road: good ones, damaged ones, and bytes that are none.

road_test.py SERVER CLIENT ORDERFILE
"""

import atexit
import base64
import hashlib
import os
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
HEADER = 140  # with the work information header
LOG = WORK / "log"
atexit.register(shutil.rmtree, WORK)


def check(condition, what):
    if not condition:
        log = LOG.read_text(errors="replace")
        sys.exit(f"road_test: {what}\n--- server\n{log[-3000:]}")


def locale(name):
    """An environment with this locale, in which the system's messages stay English."""
    return {**os.environ, "LC_ALL": name, "LANGUAGE": "C"}


def start(where=PATH, env=None):
    with LOG.open("w") as log:
        server = subprocess.Popen([SERVER, where], stdout=log, stderr=log, env=env)
    atexit.register(server.kill)  # harmless if it has ended
    end = time.monotonic() + 30
    while not LOG.read_text().startswith("ready at "):
        check(server.poll() is None and time.monotonic() < end, "the server did not get ready")
        time.sleep(0.01)
    return server


def client(*options, order=ORDER, path=PATH, env=None, encoding="utf-8"):
    return subprocess.run([CLIENT, *map(str, options), path, order], timeout=60, env=env,
                          encoding=encoding, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


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
        answer = reader.read()[4 + HEADER:]
    check(answer, f"no answer to {message.hex()}")
    payload = {number: answer[at + 8:end] for number, (at, end) in frames(answer).items()}
    text = payload[130][4:4 + struct.unpack_from(">I", payload[130])[0]].decode(errors="replace")
    return payload[110][3] == 1, text, payload[140][8:]


def stream(body):
    """The message with another body."""
    return MESSAGE[:132] + struct.pack(">I", HEADER + len(body)) + MESSAGE[136:HEADER] + body


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
check("  service     ROAD    IMEN0004PROCESS START\n  step        REQUEST\n" in LOG.read_text(),
      "the service is missing in the server's output")
for row in (r"32  52 4F 41 44 20 20 20 20  ROAD      service name",
            r"120  00 00 00 00 5A 4E 52 4D  ....ZNRM  header: a stream of \d+ bytes, code page 819",
            r"140  00 00 00 0A 00 00 00 B8  ........  frame 10, process: 184 bytes",
            r"\d+  00 00 00 1F 00 00 00 0C  ........    frame 31, priority: 12 bytes",
            r"\d+  00 00 00 04  +\.{4}"):
    check(re.search(f"^ +{row}$", run.stdout, re.M), f"{row!r} is missing in\n{run.stdout}")

# Replies of a server that can't be trusted; they bring the client's message as well.
for reply, told in ((b"\0\0\0\4abcd", "ExcTruncated"), (b"\0\0\0\11abc", "closed the connection"),
                    (b"\377\0\0\0", "too long")):
    MESSAGE, run = as_server(reply)
    check(run.returncode == 1 and told in run.stdout, f"{told!r} is missing in\n{run.stdout}")
check(exchange(MESSAGE) == (True, "the order is taken", DIGEST), "the message is not the order")
BODY = MESSAGE[HEADER:]

# Damage at every byte. What passes for an order is one with other values.
for offset in range(len(MESSAGE)):
    for mask in (0x01, 0x80, 0xFF):
        damaged = bytearray(MESSAGE)
        damaged[offset] ^= mask
        accepted, text, digest = exchange(bytes(damaged))
        check(accepted or text, f"no reason for refusing {offset} ^ {mask}")
stamp = MESSAGE.index(STAMP)
for offset, told in ((124, "damaged: ZynStream::ExcKindError"),
                     (132, "damaged: ZynStream::ExcTruncated"),
                     (138, "its texts are in code page 64563, which is not known"),
                     (144, "damaged: ZynStream::ExcContentError at offset = 148"),
                     (148, "damaged: ZynStream::ExcParmMismatch at offset = 148"),
                     (143, "parameter 10 (process) is missing"),
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
        (struct.pack(">II", 10, 0x7FFFFFFF) * 100000, "ExcContentError at offset = 148"),
        (b"", "is missing")):
    check(told in exchange(stream(body))[1], f"{told!r} expected for {body[:200].hex()}")
plain = b"\0\0\0\0ZNID\3\5\0\0" + struct.pack(">II", 20 + len(BODY), 819) + BODY
check(exchange(plain)[1] == "a stream without a work information header", "a plain stream")
check(exchange(MESSAGE.replace("MÜLLER".encode(), b"\x1b[31mRR"))[0], "a starter is only a name")
check(r"\x1B[31mRR" in LOG.read_text() and "\x1b" not in LOG.read_text(), "a control character")

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

# Client and server in different character sets. What the server's can't hold is refused, in words
# that the client can show.
INSTANCE, STARTER = "Köln 2024-0117, travel expenses in €", "MÜLLER"
check(INSTANCE in text and STARTER in text, "the order has other names")
for client_locale, client_set, page, server_locale, server_set, refused in (
        ("de_DE.UTF-8", "utf-8", 1208, "de_DE.UTF-8", "utf-8", None),
        ("de_DE.ISO-8859-15", "iso8859-15", 923, "de_DE.UTF-8", "utf-8", None),
        ("de_DE.UTF-8", "utf-8", 1208, "de_DE.ISO-8859-15", "iso8859-15", None),
        ("de_DE.UTF-8", "utf-8", 1208, "de_DE.ISO-8859-1", "iso8859-1",
         r'the text "Köln 2024-0117, travel expenses in \x1A" is not'),
        ("de_DE.ISO-8859-15", "iso8859-15", 923, "ja_JP.SJIS", "shift_jis",
         "is not one in code page 943")):
    what = f"{client_locale} to {server_locale}"
    server = start(env=locale(server_locale))
    faulty.write_bytes(text.encode(client_set))
    run = client("--dump", order=faulty, env=locale(client_locale), encoding=client_set)
    log = LOG.read_text(encoding=server_set)
    check(f"code page {page}\n" in run.stdout, f"{what}: another code page in\n{run.stdout}")
    for name in (INSTANCE, STARTER):
        check(f" {name}\n" in run.stdout, f"{what}: no {name} in\n{run.stdout}")
        check(refused or f" {name}\n" in log, f"{what}: no {name} in the server's output")
    check(run.returncode == (1 if refused else 0), f"{what}: {run.stdout}")
    check(not refused or refused in run.stdout and refused in log, f"{what}: {run.stdout}")
    server.terminate()
    server.wait(60)

# Over TCP, at a port of the system's choice; the port is free again at once.
server = start("127.0.0.1:0")
place = LOG.read_text().splitlines()[0].removeprefix("ready at ")
host, port = place.split(":")
check((host, port) != ("127.0.0.1", "0"), place)
with socket.create_connection((host, port)) as peer:  # goes with a reset
    peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
for name in (place, f"localhost:{port}"):
    run = client(path=name)
    check(run.returncode == 0 and "accepted    yes" in run.stdout, run.stdout)
second = subprocess.run([SERVER, place], timeout=60, text=True, stderr=subprocess.PIPE)
check(second.returncode == 1 and "in use" in second.stderr, second.stderr)
server.kill()
server.wait()
server = start(place)
check(client(path=place).returncode == 0, "a new server does not serve")
server.send_signal(signal.SIGTERM)
check(server.wait(60) == 0, "no clean end over TCP")
for name, told in (("0.0.0.0:0", "loopback"), ("192.168.0.1:80", "loopback"),
                   ("example.org:80", "loopback"), (":80", "loopback"),
                   ("127.0.0.1:65536", "from 0 to 65535"), ("127.0.0.1:", "from 0 to 65535"),
                   ("127.0.0.1:8x", "from 0 to 65535")):
    run = subprocess.run([SERVER, name], timeout=60, text=True, stderr=subprocess.PIPE)
    check(run.returncode == 1 and told in run.stderr, f"{name}: {run.stderr}")
