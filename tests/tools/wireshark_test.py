#!/usr/bin/env python3
"""Has tshark look at streams: those of the example road, cut into segments in awkward ways, and
damaged ones.

wireshark_test.py DISSECTOR SERVER CLIENT ORDERFILE
"""

import atexit
import os
import random
import re
import resource
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

DISSECTOR, SERVER, CLIENT, ORDER = (str(Path(word).resolve()) for word in sys.argv[1:])
WORK = Path(tempfile.mkdtemp(prefix="zynstream"))
atexit.register(shutil.rmtree, WORK)
TSHARK = shutil.which("tshark")
PORT = 4711
ON_PORT = ["-o", f"zynstream.ports:{PORT}"]


def check(condition, what):
    if not condition:
        sys.exit(f"wireshark_test: {what}")


def equal(got, expected, what):
    check(got == expected, f"{what}:\n got {got!r:.3000}\n for {expected!r:.3000}")


check(TSHARK, "there is no tshark; scripts/setup test installs it")


def checksum(data):
    total = sum(struct.unpack(f">{len(data) // 2}H", data))
    total = (total & 0xFFFF) + (total >> 16)
    return ~(total + (total >> 16)) & 0xFFFF


class Capture:
    """A file as it is captured at the loopback interface, without the privileges that it takes."""

    MAX_SEGMENT = 65000

    def __init__(self):
        self.packets = []
        self.connections = 0

    def packet(self, client_port, is_reply, seq, ack, flags, data=b""):
        ports = (PORT, client_port) if is_reply else (client_port, PORT)
        tcp = struct.pack(">HHIIBBHHH", *ports, seq, ack, 0x50, flags, 65535, 0, 0) + data
        host = socket.inet_aton("127.0.0.1")
        pseudo = host + host + struct.pack(">HH", 6, len(tcp)) + tcp + b"\0" * (len(tcp) % 2)
        tcp = tcp[:16] + struct.pack(">H", checksum(pseudo)) + tcp[18:]
        ip = struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0) + host + host
        ip = ip[:10] + struct.pack(">H", checksum(ip)) + ip[12:]
        self.packets.append(ip + tcp)

    def connection(self, *segments):
        """Opens one and sends segments; bytes go to the server, ("reply", bytes) to the client."""
        port = 49200 + self.connections
        self.connections += 1
        seq = [1000, 0xFFFFFF00]  # the second one wraps
        self.packet(port, False, seq[0], 0, 0x02)
        self.packet(port, True, seq[1], seq[0] + 1, 0x12)
        seq = [seq[0] + 1, seq[1] + 1]
        self.packet(port, False, *seq, 0x10)
        for segment in segments:
            is_reply = isinstance(segment, tuple)
            data = segment[1] if is_reply else segment
            for at in range(0, len(data), self.MAX_SEGMENT):
                piece = data[at:at + self.MAX_SEGMENT]
                self.packet(port, is_reply, seq[is_reply], seq[not is_reply], 0x18, piece)
                seq[is_reply] = (seq[is_reply] + len(piece)) & 0xFFFFFFFF
        return self.connections - 1

    def tshark(self, *options):
        """What tshark prints of it."""
        path = WORK / "capture.pcap"
        with path.open("wb") as file:
            file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 101))  # raw IP
            for i, data in enumerate(self.packets):
                file.write(struct.pack("<IIII", i, 0, len(data), len(data)) + data)
        # Settings and plug-ins of the user stay out.
        run = subprocess.run(
            [TSHARK, "-n", "-X", f"lua_script:{DISSECTOR}", "-r", path, *options], timeout=240,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, errors="replace",
            env={**os.environ, "HOME": str(WORK), "XDG_CONFIG_HOME": str(WORK),
                 "LC_ALL": "C.UTF-8"})
        check(run.returncode == 0, f"tshark ends with {run.returncode}: {run.stderr}")
        check("Lua" not in run.stdout + run.stderr, (run.stdout + run.stderr)[-3000:])
        return run.stdout

    def fields(self, *names, options=ON_PORT):
        """For each connection and direction the values of the fields, one list for each."""
        columns = [word for name in ("tcp.stream", "tcp.dstport", *names) for word in ("-e", name)]
        out = self.tshark(*options, "-Y", "zynstream", "-T", "fields", "-E", "aggregator=|",
                          *columns)
        found = {}
        for line in out.splitlines():
            stream, port, *values = line.split("\t")
            lists = found.setdefault((int(stream), int(port) != PORT), [[] for _ in names])
            for values_of_field, value in zip(lists, values):
                values_of_field += value.split("|") if value else []
        return found


def frame(number, payload=b""):
    return struct.pack(">II", number, 8 + len(payload)) + payload


def text(data):
    return struct.pack(">I", len(data)) + data + bytes(-len(data) % 4)


def header(magic, size, ccsid):
    return bytes(4) + magic + struct.pack(">BBBBII", 3, 5, 0, 0, size, ccsid)


def plain(body, ccsid=1252):
    return header(b"ZNID", 20 + len(body), ccsid) + body


def message(body, order="<", ccsid=1252, magic=b"ZNRM"):
    work = struct.pack(order + "4siiii8si32s8s16s32s", b"WIH ", 1, 120, 546, ccsid, b"ZYN     ", 0,
                       b"PES1    IMEY0007T       S".ljust(32), b"ABC     ", bytes(16), b" " * 32)
    return work + header(magic, 140 + len(body), ccsid) + body


def prefixed(data):
    return struct.pack(">I", len(data)) + data


def pieces(data, sizes):
    """The data in pieces of these sizes, over and over again."""
    result, at = [], 0
    while at < len(data):
        for size in sizes:
            result.append(data[at:at + size])
            at += size
    return [piece for piece in result if piece]


def record(capture):
    """Sends an order through a proxy that records the segments of both ends as they come."""
    environment = {**os.environ, "LC_ALL": "de_DE.ISO-8859-15"}
    order = WORK / "order.txt"
    order.write_bytes(Path(ORDER).read_text("utf-8").encode("iso8859-15"))
    shutil.copy(Path(ORDER).parent / "stamp.png", WORK)
    server = subprocess.Popen([SERVER, "127.0.0.1:0"], env=environment, stdout=subprocess.PIPE)
    atexit.register(server.kill)
    port = int(re.fullmatch(rb"ready at 127\.0\.0\.1:(\d+)\n", server.stdout.readline())[1])
    segments = []

    def forward(source, target, is_reply):
        while data := source.recv(65536):
            segments.append(("reply", data) if is_reply else data)
            target.sendall(data)
        target.shutdown(socket.SHUT_WR)

    with socket.create_server(("127.0.0.1", 0)) as listener:
        listener.settimeout(60)
        client = subprocess.Popen([CLIENT, f"127.0.0.1:{listener.getsockname()[1]}", order],
                                  env=environment, stdout=subprocess.DEVNULL)
        atexit.register(client.kill)
        near, far = listener.accept()[0], socket.create_connection(("127.0.0.1", port))
        reply = threading.Thread(target=forward, args=(far, near, True), daemon=True)
        reply.start()
        forward(near, far, False)
        reply.join(60)
    equal(client.wait(60), 0, "the client's end")
    server.terminate()
    capture.connection(*segments)
    return (b"".join(s for s in segments if isinstance(s, bytes)),
            b"".join(s[1] for s in segments if isinstance(s, tuple)))


# The road, as it came.
WIH = [f"zynstream.wih.{name}" for name in (
    "strucid", "version", "struclength", "encoding", "ccsid", "format", "flags", "servicename",
    "servicestep", "token", "reserved")]
HEADER = [f"zynstream.{name}" for name in (
    "kind", "version", "release", "modlevel", "length", "ccsid")]
SUMMARY = ["zynstream.parm.id", "zynstream.parm.length", "zynstream.parm.offset",
           "zynstream.parm.value", "zynstream.parm.value.text", "zynstream.malformed"]
road = Capture()
request, reply = record(road)
for is_reply, size, name, step in (
        (False, len(request), "ROAD    IMEN0004PROCESS START   ", "REQUEST "),
        (True, len(reply), "ROAD    IMEN0000PROCESS START   ", "ANSWER  ")):
    values = road.fields(*WIH, *HEADER)[0, is_reply]
    equal([value[0] for value in values],
          ["WIH ", "1", "120", "546", "923", "ZYN     ", "0x00000000", name, step, "00" * 16,
           "20" * 32, "1", "3", "5", "0", str(size - 4), "923"], "headers on the road")
ids, lengths, offsets, _, texts, malformed = road.fields(*SUMMARY)[0, False]
equal(ids, "10 11 12 13 14 20 30 31 32 33 40 50".split(), "parameters of the order")
equal((offsets[0], offsets[1], malformed), ("140", "148", []), "places in the order")
equal(int(offsets[-1]) + int(lengths[-1]), len(request) - 4, "the end of the order")
for name in re.findall("^(?:process|instance|starter)[ a-z]*= (.*)$",
                       Path(ORDER).read_text("utf-8"), re.M):
    check(name in texts, f"{name!r} is not among {texts}")
check({"2024-07-31", "urgent", "notify-starter", "stamp.png"} <= set(texts), f"only {texts}")
equal(road.fields("zynstream.parm.value.double")[0, False], [["1284.5"]], "the amount")
info = road.tshark(*ON_PORT, "-Y", "zynstream", "-T", "fields", "-e", "_ws.col.Info").splitlines()
equal(info[0], f"Message, service ROAD    IMEN0004PROCESS START, step REQUEST, 5 parameters, "
      f"{len(request) - 4} bytes", "the info column")

# The same bytes in other segments show the same, and so do streams without a length word.
expected = road.fields(*SUMMARY)[0, False]
for what, data, count in (("length words", request * 3, 3), ("bare streams", request[4:] * 3, 3),
                          ("plain streams", (plain(frame(1, text(b"x" * 400))) * 3), 3)):
    cuts = Capture()
    for sizes in ((len(data),), (1,), (3,), (4, 5), (127, 1), (132, 3), (len(data) // 3, 1000),
                  (len(data) // 3 - 1, 2), (len(data) // 3 + 1,), (len(data) // 3 + 139, 7)):
        cuts.connection(*pieces(data, sizes))
    shown = cuts.fields(*SUMMARY)
    equal(len(shown), 10, f"connections of {what}")
    for (stream, _), values in shown.items():
        equal(values, shown[0, False], f"{what}, way {stream} of cutting")
    if "plain" not in what:
        equal(shown[0, False], [value * count for value in expected], what)

# The tree of a message that has everything.
NESTED = plain(frame(6, text("Größe €".encode())), 1208)
ALL = message(frame(1, frame(2, text(b"M\xfcller")) + frame(3)) + frame(4, struct.pack(">i", -7))
              + frame(5, NESTED) + frame(0, b"gone") + frame(7, struct.pack(">d", -0.5))
              + frame(8, struct.pack(">I", 0) + text(bytes(range(9)))) + frame(9, b"\0\0\0\3ab")
              # What looks like an erased frame, a text without its padding, and a nested header.
              + frame(10, struct.pack(">II", 0, 8)) + frame(11, b"\0\0\0\2abcd")
              + frame(12, b"\0\0\0\0ZNID"), ">")
tree = Capture()
tree.connection(prefixed(ALL))
lines = tree.tshark(*ON_PORT, "-V", "-O", "zynstream", "-Y", "zynstream").splitlines()
lines = lines[next(i for i, line in enumerate(lines) if line.startswith("ZynStream")):]
lines = [line for line in lines if not re.match(
    r" +(\[?Offset|Id:|Frame length|Message token|Reserved|Severity|\[(Severity|Group))", line)]
equal("\n".join(lines).strip(), f"""\
ZynStream: Message, service PES1    IMEY0007T       S, step ABC, 9 parameters, {len(ALL)} bytes
    Length word in front: {len(ALL)}
    Work information header
        Structure identifier: WIH{" "}
        Structure version: 1
        Structure length: 120
        Encoding: 546
        Code page: 1252
        Format: ZYN{" " * 5}
        Flags: 0x00000000
        Service name: PES1    IMEY0007T       S{" " * 7}
        Service step: ABC{" " * 5}
    Header
        [Kind: InternalRuntimeMessage (1)]
        Magic: ZNRM
        Version: 3
        Release: 5
        Modification level: 0
        Length: {len(ALL)}
        Code page: 1252
    Parameter 1, 36 bytes
        Parameter 2, 20 bytes
            Value: 000000064dfc6c6c65720000
            Text: Müller
        Parameter 3, 8 bytes
    Parameter 4, 12 bytes
        Value: fffffff9
        Number: -7
    Parameter 5, 52 bytes
        Nested stream, plain
            Header
                [Kind: Plain (0)]
                Magic: ZNID
                Version: 3
                Release: 5
                Modification level: 0
                Length: 44
                Code page: 1208
            Parameter 6, 24 bytes
                Value: 0000000b4772c3b6c39f6520e282ac00
                Text: Größe €
    Parameter 0, 12 bytes [erased]
        [Erased: True]
        [Expert Info (Comment/Comment): Erased frame]
            [Erased frame]
    Parameter 7, 16 bytes
        Value: bfe0000000000000
        Number: -1075838976
        Number: 0
        Or a double: -0.5
    Parameter 8, 28 bytes
        Value: 0000000000000009000102030405060708000000
        Number: 0
        Bytes: 000102030405060708
    Parameter 9, 14 bytes
        [Expert Info (Warning/Protocol): Frame length is no multiple of 4]
            [Frame length is no multiple of 4]
        Value: 000000036162
        Number: 3
        Bytes: 6162
    Parameter 10, 16 bytes
        Value: 0000000000000008
        Number: 0
        Number: 8
    Parameter 11, 16 bytes
        Value: 0000000261626364
        Number: 2
        Number: 1633837924
    Parameter 12, 16 bytes
        Value: 000000005a4e4944
        Number: 0
        Number: 1515080004""", "the tree")

# What is wrong with a stream, in the words that tell it.
good = frame(1, frame(2, text(b"ab"))) + frame(3)
cases = (
    (prefixed(plain(b"")), None),
    (prefixed(message(good)), None),
    (prefixed(message(good, ">")), None),
    (prefixed(message(good).replace(b"WIH ", b"WIG ")), 'Structure identifier is not "WIH "'),
    (prefixed(message(good)[:12] + b"\1\2\3\4" + message(good)[16:]),
     "Encoding is not 546 in either byte order"),
    (prefixed(message(good)[:8] + b"\x79" + message(good)[9:]), "Structure length is 121"),
    (prefixed(message(good, magic=b"ZNRX")), f"No stream in {140 + len(good)} bytes"),
    (prefixed(message(good)[:139]), "139 bytes are too few for a header"),
    (prefixed(message(good)[:100]), "100 bytes are too few for a header"),
    (prefixed(b"\0\0\0\0ZNID\3\5\0\0"), "12 bytes are too few for a header"),
    (prefixed(header(b"ZNID", 19, 0)), "A stream of 19 bytes is shorter than its header"),
    (prefixed(header(b"ZNID", 0, 0)), "A stream of 0 bytes is shorter than its header"),
    (prefixed(header(b"ZNID", 21, 0)), "A stream of 21 bytes, of which there are 20"),
    (prefixed(header(b"ZNID", 0xFFFFFFFF, 0)), "A stream of 4294967295 bytes, of which there are 20"),
    (header(b"ZNID", 0xFFFFFFFF, 0), "A stream of 4294967295 bytes, of which there are 20"),
    (prefixed(plain(good) + b"more"), "4 bytes behind the end of the stream"),
    (prefixed(plain(struct.pack(">II", 1, 7))), "A frame of 7 bytes is shorter than its head"),
    (prefixed(plain(good + b"\0\0\0\1")), "4 bytes are too few for the head of a frame"),
    (prefixed(plain(struct.pack(">II", 1, 9))),
     "A frame of 9 bytes does not fit into the 8 that enclose it"),
    (prefixed(plain(frame(1, header(b"ZNID", 24, 0)))), "A stream of 24 bytes, of which there are 20"),
    (prefixed(plain(frame(1, plain(struct.pack(">II", 1, 1 << 31))))),
     "A frame of 2147483648 bytes does not fit into the 8 that enclose it"),
    # What is no stream behind one that is.
    (prefixed(plain(good)) + prefixed(b"junk" * 9), "No stream in 36 bytes"),
    (prefixed(plain(good)) + b"\0\0\0\0", "No stream in 0 bytes"),
    (b"HTTP/1.1 200 OK\r\n" * 20, "No stream in 340 bytes"))
table = Capture()
for data, _ in cases:
    table.connection(data)
shown = table.fields("_ws.expert.message", "zynstream.malformed")
for i, (_, told) in enumerate(cases):
    equal(shown[i, False][0], [told] if told else [], f"case {i}")
    is_warned = re.match("Structure|Encoding|.* behind the end", told or "Structure")
    equal(shown[i, False][1], [] if is_warned else ["1"], f"case {i} is malformed")


def is_sound(data):
    """Whether all lengths of a stream of frames are right, as far as the top level goes."""
    start = 20 if data[4:8] == b"ZNID" else 140 if data[124:128] == b"ZNRM" else len(data) + 1
    at, end = start, int.from_bytes(data[start - 8:start - 4], "big")
    if not start <= end <= len(data):
        return False
    while at < end:
        length = struct.unpack(">I", data[at + 4:at + 8])[0] if at + 8 <= end else 0
        if not 8 <= length <= end - at:
            return False
        at += length
    return True


# Each byte changed, each truncation.
variants = []
for sound in (message(good + frame(4, struct.pack(">i", 4))), plain(good)):
    check(is_sound(sound), "the test's own message")
    variants += [sound[:cut] for cut in range(len(sound))]
    variants += [sound[:at] + bytes([sound[at] ^ mask]) + sound[at + 1:]
                 for at in range(len(sound)) for mask in (0x01, 0x04, 0x80, 0xFF)]
fuzz = Capture()
for data in variants:
    fuzz.connection(prefixed(plain(frame(1))) + prefixed(data))
shown = fuzz.fields("zynstream.malformed", "zynstream.prefix")
equal(len(shown), len(variants), "streams shown")
for i, data in enumerate(variants):
    equal(shown[i, False], [[] if is_sound(data) else ["1"], ["28", str(len(data))]], data.hex())

# Bytes that mean no good end soon, and never in an error of the dissector, whatever finds them.
deep = b""
for number in range(5000):
    deep = frame(1 + number % 2, deep)
streams = b""
for _ in range(2000):
    streams = plain(frame(1, streams))
hostile = Capture()
for data in (deep, frame(1) * 500000, frame(0) * 100000, frame(1, frame(1) * 200000 + b"\0"),
             bytes(1000000), frame(1, bytes(100000)), frame(1, text(b"x" * 1000000)), streams):
    hostile.connection(prefixed(message(data)))
hostile.connection(bytes(100000))
hostile.connection(prefixed(plain(b"")) * 50000)
generator = random.Random(1)
for size in range(1, 400):
    hostile.connection(generator.randbytes(size))
    hostile.connection(prefixed(plain(generator.randbytes(size))), generator.randbytes(size))
before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
out = hostile.tshark(*ON_PORT, "-V", "-O", "zynstream", "-Y", "zynstream")
check("Nested more than 24 deep" in out and "Too many frames and values" in out, "no limits told")
spent = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
check(out.count("Parameter ") < 100000 and spent < 60, f"no limits held in {spent} s")
fuzz.tshark("-V", "-O", "zynstream")

# By their first bytes streams are known without a setting, and other protocols are left alone.
for what, options, data, kinds in (
        ("a message", [], pieces(prefixed(message(good)), (20, 1)), ["1"]),
        ("a bare message", [], pieces(message(good), (139, 1)), ["1"]),
        ("a plain stream", [], pieces(prefixed(plain(good)), (12, 1)), ["0"]),
        ("a bare plain stream", [], pieces(plain(good), (8, 1)), ["0"]),
        ("bytes behind it", [], [plain(good), *pieces(plain(good), (1,))], ["0", "0"]),
        ("too small a piece", [], pieces(prefixed(plain(good)), (7,)), None),
        ("decode as", ["-d", f"tcp.port=={PORT},zynstream"], pieces(plain(good), (1,)), ["0"]),
        ("no reassembly", ["-o", "tcp.desegment_tcp_streams:FALSE", *ON_PORT],
         pieces(plain(good), (30,)), ["0"]),
        ("another protocol", [], [b"GET / HTTP/1.1\r\n\r\n", b"x" * 200], None),
        ("other bytes", [], [b"word" + plain(good)[4:]], None),
        ("zeros", [], [bytes(200)], None)):
    known = Capture()
    known.connection(*data)
    shown = known.fields("zynstream.kind", options=options)
    equal(shown, {} if kinds is None else {(0, False): [kinds]}, what)
