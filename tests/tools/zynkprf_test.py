#!/usr/bin/env python3
"""Administers stores: values, configurations, the text form, and what goes wrong.

zynkprf_test.py PROGRAM FOLDER    FOLDER has the program's README.md and completion.bash
"""

import atexit
import os
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import textwrap
from pathlib import Path

PROGRAM, FOLDER = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
WORK = Path(tempfile.mkdtemp(prefix="zynkprf"))
atexit.register(shutil.rmtree, WORK)
HEAD = "# Written by zynkprf export, read by zynkprf import.\n"


def check(condition, what):
    if not condition:
        sys.exit(f"zynkprf_test: {what}")


class Stores:
    """A machine's and a user's store, which are not there yet."""
    count = 0

    def __init__(self, **settings):
        Stores.count += 1
        self.folder = WORK / str(Stores.count)
        self.env = {k: v for k, v in os.environ.items() if not k.startswith("ZYN_")}
        self.env |= {"LC_ALL": "en_US.UTF-8", "ZYN_STORE_MACHINE": f"{self.folder}/m/m.db",
                     "ZYN_STORE_USER": f"{self.folder}/u/u.db", **settings}

    def run(self, *words, input="", **more):
        if isinstance(input, str):
            input = input.encode()
        return subprocess.run([PROGRAM, *words], input=input, capture_output=True, timeout=120,
                              cwd=WORK, env={**self.env, **more})

    def expect(self, words, output="", status=0, told="", input="", **more):
        """`words` is a list or a text; `told` is a part of standard error, "" is none at all."""
        words = words.split() if isinstance(words, str) else words
        got = self.run(*words, input=input, **more)
        output = output if isinstance(output, bytes) else output.encode()
        errors = got.stderr.decode(errors="replace")
        check((got.stdout, got.returncode) == (output, status),
              f"{words}\n--- expected {status}\n{output}\n--- got {got.returncode}\n{got.stdout}\n"
              f"{errors}")
        check(not re.search(r"[\0-\x09\x0B-\x1F\x7F]", errors), f"{words}: told {errors!r}")
        check(told in errors and bool(told) == bool(errors), f"{words}: told {errors}")


def scrambled(password):
    """By a road of its own."""
    key = b"Qarvelidon"
    return bytes(((b + 2 * (i - 16) & 255 ^ 0x5D) + key[i % len(key)]) & 255
                 for i, b in enumerate(password)).hex().upper()


# A store from nothing. Looking at one that is not there makes none.
stores = Stores()
NONE = "there is no default configuration"
for words, status, told in (("list", 1, NONE), ("get A", 1, NONE), ("set A b", 1, NONE),
                            ("set --config=A A b", 1, "no configuration A"),
                            ("erase --general A", 1, "no value A"), ("use A", 1, "no configuration"),
                            ("remove A", 1, "no configuration A"), ("configs", 0, ""),
                            ("export A", 1, "no configuration A"), ("list --general", 0, ""),
                            ("init", 2, "tell the name of the first one")):
    stores.expect(words, status=status, told=told)
    check(not stores.folder.exists(), f"{words} made a store")
stores.expect("export", HEAD)
stores.expect("init fmt --vrm=3.2.0")
stores.expect("list --installation", 'VRM = "3.2.0"\nLanguage = "enu"\n')
stores.expect("init --language=deu --service-level=7 --components=ab")
stores.expect(["init", "--vrm=", "two"])
stores.expect("list --installation", 'VRM = ""\nLanguage = "deu"\nServiceLevel = "7"\n'
                                     'InstalledComponents = "ab"\n')
stores.expect("configs", "* FMT\n  TWO\n")
stores.expect("use two")
stores.expect("get --general defaultconfigurationid", "TWO\n")

# Values, of the current configuration and of others.
stores.expect(["set", "Text", "a \"b\" \\ \n\tü"])
stores.expect(["list"], 'Text = "a \\"b\\" \\\\ \\n\\tü"\n')
stores.expect(["list"], 'Text = "a \\"b\\" \\\\ \\n\\t\\xC3\\xBC"\n', LC_ALL="C")
stores.expect("get text", 'a "b" \\ \n\tü\n')
stores.expect("set --config=fmt Text there")
stores.expect("get text", "there\n", ZYN_DEFAULT_CONFIGURATION="fmt")
stores.expect("get text", status=1, told="no configuration not", ZYN_DEFAULT_CONFIGURATION="not")
stores.expect("get text", status=1, told="names no configuration", ZYN_DEFAULT_CONFIGURATION="")
for number in ("-2147483648", "-1", "0", "2147483647"):
    stores.expect(["set", "--number", "Text", number])
    stores.expect("get Text", number + "\n")
stores.expect(["set", "--list", "List", "--x", "", "z"])
stores.expect("get List", "--x\n\nz\n")
stores.expect("set --list Empty")
stores.expect("set --user Mine -1")
stores.expect("list", 'Text = number 2147483647\nList = list "--x" "" "z"\nEmpty = list\n')
stores.expect("list --user", 'Mine = "-1"\n')
stores.expect("list --user --config=fmt")
stores.expect("configs --user", "* TWO\n")
stores.expect("erase Text None List", status=1, told="no value None")
stores.expect("erase Text EMPTY")
stores.expect("list", 'List = list "--x" "" "z"\n')

# Configurations.
stores.expect("create FMT", status=2, told="there already")
stores.expect("create ABCdef12")
for name in ("", "ninechars", "a-b", "a b", "ü", "a\\b"):
    for command in ("create", "init"):
        stores.expect([command, name], status=2, told="1 to 8 letters and digits")
stores.expect("remove two", told="no default configuration any more")
stores.expect("configs", "  FMT\n  ABCDEF12\n")
stores.expect("list --user --config=TWO", 'Mine = "-1"\n')
stores.expect("remove --user two")
stores.expect("list --user --config=TWO", status=1, told="no configuration TWO")
stores.expect("init") # the default one is chosen by none
stores.expect("list", status=1, told=NONE)
stores.expect("import", input='[config "odd one" deep]\n[config "low"]\na = "1"\n')
stores.expect("configs", '  FMT\n  ABCDEF12\n  "odd one"\n  low\n')
stores.expect("use low", status=2, told="LOW does not stand in capitals")
stores.expect(["remove", "odd one"])
stores.expect("remove LOW")
stores.expect("use fmt")

# Passwords.
KEPT = "kept secret"
for words in (["set", "DBPassword", KEPT], ["set", "DBPassword"]):
    stores.run("erase", "DBPassword")
    got = stores.run(*words, input=f"{KEPT}\n{KEPT}\n")
    check(got.returncode == 0 and KEPT not in got.stdout.decode(), got)
    stores.expect("get DBPassword", status=1, told="--show-passwords shows it")
    stores.expect("get DBPassword --show-passwords", KEPT + "\n")
for typed in ("one\ntwo\n", "\n\n", "", "one\n"):
    got = stores.run("set", "DBPassword", input=typed)
    check(got.returncode == 1 and b"password" in got.stderr, got)
stores.expect(["set", "yourPASSWORDs", ""])
stores.expect("import", input='[config FMT]\nPassword1 = scrambled "xyz"\nPassword2 = type 7 "x"')
stores.expect("get --show-passwords Password1", status=1, told="in the form of passwords")
for option, lines in (("", ["********"] * 4),
                      ("--show-passwords", [f'"{KEPT}"', '""', 'scrambled "xyz"', 'type 7 "x"'])):
    stores.expect("list " + option, 'Text = "there"\n' + "".join(
        f"{name} = {line}\n"
        for name, line in zip(("DBPassword", "yourPASSWORDs", "Password1", "Password2"), lines)))
stores.expect("export FMT", HEAD + '\n[config FMT]\nText = "there"\n'
              f'DBPassword = scrambled "{scrambled(KEPT.encode())}"\nyourPASSWORDs = scrambled ""\n'
              'Password1 = scrambled "xyz"\nPassword2 = type 7 "x"\n')

# The example of the README. All but what it shows in another way comes back as it stands there.
readme = (FOLDER / "README.md").read_text(encoding="utf-8")
EXAMPLE = textwrap.dedent(readme[readme.index("    # What is behind"):readme.index("A section is")])
EXPORT = HEAD + re.sub(" *# .*", "", EXAMPLE).rstrip() + "\n"
for shown, exported in ((r"K\xC3\xB6ln", "Köln"), ('"in-box"', "in-box")):
    EXPORT = EXPORT.replace(shown, exported)
stores = Stores()
stores.expect("import", input=EXAMPLE.replace("\n", "\r\n"))
stores.expect("export", EXPORT.replace('"kept secret"', f'scrambled "{scrambled(b"kept secret")}"'))
stores.expect("export --show-passwords", EXPORT.replace('scrambled "6B7F778C"', '"gate"'))
check(scrambled(b"gate") == "6B7F778C", "another form of passwords")
check(os.stat(stores.env["ZYN_STORE_USER"]).st_mode & 0o777 == 0o600, "others read the user's store")



def quoted(text):
    """In the locale "C"."""
    known = {'"': r"\"", "\\": r"\\", "\n": r"\n", "\t": r"\t"}
    return '"' + "".join(known.get(c) or (c if " " <= c <= "~" else f"\\x{ord(c):02X}")
                         for c in text) + '"'


# All of it exactly, in whatever locale, and in the order of its creation.
RANDOM = random.Random(3)
EVERY = "".join(map(chr, range(256)))
NOISE = "".join(map(chr, RANDOM.randbytes(20000)))
VALUES = ['""', quoted(EVERY), quoted(NOISE), "number -2147483648", "number 2147483647", "number 0",
          "list", 'list ""', 'list "" "" "a" ""', f"list {quoted(EVERY[1:])}", 'type 0 ""',
          'type 4294967295 "x"', 'type 4 "abc"', 'type 4 ""', 'type 7 ""', r'type 7 "a\x00"',
          'type 7 "a"', 'type 7 "a\\x00b\\x00"']
NAMES = ["z", "a.b_c-1", "Case", '""', r'"\"\\"', r'"a b"', r'"\x00\x1B"', r'"\n"', '"="', '"#"',
         '"["', '" "', r'"\xE4\\"', r'"\x83\\"', r'"\x81"', "x", "y", "w"]
KEYS = ["installation", "installation below", "general", "config Z", "config Z b", "config Z a b c",
        'config "low"', 'config "a b" x', "config DEEP " + " ".join(f"k{n}" for n in range(511)),
        "config NONE", "user", "user Z", r'user Z "\xFF\n"', r'user A "\x95\x5C"']
WHOLE = HEAD
for number, key in enumerate(KEYS):
    values = VALUES[number:] + VALUES[:number]
    WHOLE += f"\n[{key}]\n"
    if key != "config NONE":
        WHOLE += "".join(f"{name} = {value}\n" for name, value in zip(NAMES, values))
    if number % 4 == 0:
        WHOLE += "".join(f"{name} = {value}\n" for name, value in (
            ("DBPassword", f'scrambled "{scrambled(EVERY.encode("latin-1"))}"'),
            ("oddPassword", 'scrambled "aB"'), (r'"\x83password"', 'scrambled "aB"'),
            ("nopassword", r'scrambled "\x00"')))
text, options = WHOLE.encode(), ["export"]
for locale in ("C", "en_US.UTF-8", "ja_JP.SJIS", "de_DE.ISO-8859-1", "zh_CN.GBK", "C"):
    stores = Stores(LC_ALL=locale)
    stores.expect("import", input=text)
    stores.expect("export", WHOLE, LC_ALL="C")
    stores.expect("get --general z", NOISE.encode("latin-1") + b"\n")
    stores.expect("get --config=DEEP Case", status=1, told="no value Case")
    options = ["export", "--show-passwords"] if locale == "de_DE.ISO-8859-1" else ["export"]
    text = stores.run(*options).stdout
for name, form, shown in (("a", r'type 4 "\xFB\xFF\xFF\xFF"', "number -5"),
                          ("b", r'type 7 "a\x00\x00b\x00\x00"', 'list "a" "" "b"'),
                          ("c", r'type 7 "\x00"', "list"), ("d", 'type 1 "x"', '"x"'),
                          ("e", 'scrambled"x"#', '"x"'), ("f", r'"\xe4"', r'"\xE4"')):
    stores.expect("import", input=f"[user B]\n{name}={form}")
    stores.expect("get --user --config=b " + name, {"a": "-5\n", "b": "a\n\nb\n", "c": ""}.get(
        name, b"\xe4\n" if name == "f" else "x\n"))
    check(f"{name} = {shown}" in stores.run("list", "--user", "--config=B").stdout.decode(), name)

# Wrong lines: all are told, and nothing is imported.
WRONG = (("[", "kind of a section is missing"), ("[what]", "what is none of installation"),
         ("[config]", "the configuration is missing"), ("[config ninechars]", "ninechars is no name"),
         ("[config a-b]", "a-b is no name"), ("[general A]", "only configurations below"),
         ("[user A] x", 'what is "x"?'), ("[user A", "name of a key is missing"),
         ('[user ""]', "is empty"), (r'[user A "b\\c"]', "no backslash"),
         (f"[installation{' x' * 513}]", "more than 512 levels"), ("= 1", "a name is missing"),
         ("a", '"=" is missing'), ("a = ", "the value is missing"), ("a = b", "b is none of"),
         ('a = "b', "no closing quote"), ('a = "b" "c"', "what is"), (r'a = "\q"', "a backslash is"),
         (r'a = "\x4"', "two hexadecimal"), (r'a = "\x4g"', "two hexadecimal"), ('a = "\\', "backslash"),
         ("a = number 2147483648", "is no number"), ("a = number 1x", "is no number"),
         ('a = type -1 "x"', "-1 is no number"), ("a = type 3", "text in quotes is missing"),
         ("DBPassword = Secret7", "a password is"), ('DBPassword = "Sec" "Secret7"', "a password is"),
         ("DBPassword = number Secret7", "a password is"), ("xPassword = number 7", "a password is"),
         ('xPassword = list "Secret7"', "a password is"), ('[user B]xPassword="Secret7"', 'is "xPassword"?'),
         (r'a = list "\x00"', r"holds no \x00"), ("a = list b", "what is"))
stores = Stores()
for size, more in ((20, ""), (len(WRONG), f"and {len(WRONG) - 20} more")):
    got = stores.run("import", input='[user A]\nx = "1"\n' + "".join(
        f"{line}\n\n" for line, told in WRONG[:size]))
    errors = got.stderr.decode().splitlines()
    check(got.returncode == 2 and errors[-1] == "zynkprf: -: nothing has been imported", got)
    check(all(f"zynkprf: -:{2 * n + 3}: " in error and told in error
              for n, (error, (_, told)) in enumerate(zip(errors[:20], WRONG))), errors)
    check(more in errors[-2] and "Secret" not in str(errors), errors)
for line, told in WRONG[20:]:
    stores.expect("import", status=2, told=told, input="[general]\n" + line)
stores.expect("import", status=2, told=":2: there is no section", input='#\na = "1"')
for line, told in ((r'"\xC3\x84" = "2"', r'5: "Ä" is there already as "ä", in line 3; in this locale b'),
                   ('B = "2"', "B is there already as b, in line 4;"),
                   ('b = "2"', "b is there already, in line 4\n"),
                   ("[config fmt]", "is there already, in line 2\n"), ('[config "Fmt" x]', "Fmt is there already as FMT, in line 2;")):
    stores.expect("import", status=2, told=told, input=f'\n[config fmt]\n"ä" = "1"\nb = list\n{line}')
check(not stores.folder.exists(), "wrong lines made a store")
stores.expect("import", input='\ufeff[config A]\r\n[config A "ä"]\r\n\r\n[config A "Ä" x]\r\n', LC_ALL="C")

# Stores that fail; a part of an import is not in one of them either.
(WORK / "noise").write_bytes(b"This is no store. " * 1000)
for user, told in ((WORK / "noise", "the store is damaged"), ("/dev/null/x", "Not a directory"),
                   (WORK, "Is a directory")):
    for words in ("set --user --config=FMT A b", "import", "set --user --config=FMT DBPassword x"):
        stores = Stores(ZYN_STORE_USER=str(user))
        stores.run("init", "FMT")
        before = stores.run("export", "FMT", ZYN_STORE_USER=str(WORK / "none")).stdout
        stores.expect(words, status=2, told=told, input='[config FMT]\na = "1"\n[user FMT]\nb = "2"')
        stores.expect("export FMT", before, ZYN_STORE_USER=str(WORK / "none"))

# Wrong calls, and outputs that fail.
stores = Stores()
stores.run("init", "FMT")
for words, told in (("", "a command is missing"), ("what", "no command what"), ("get", "one NAME"),
                    ("get A B", "one NAME"), ("set", "a NAME"), ("set A", "one VALUE"),
                    ("set A b c", "one VALUE"), ("set --number A 1x", "is no number"),
                    ("set --number A 2147483648", "is no number"), ("set --number A", "one VALUE"),
                    ("set --number --list A 1", "--number and --list"), ("use", "one CFG"),
                    ("set --number Password 1", "is a password"), ("list --number", "--number does"),
                    ("create A --user", "--user does not go with create"), ("erase", "a NAME"),
                    ("list --general --config=A", "is enough"), ("list --user --general", "belongs"),
                    ("list --config=", "--config is empty"), ("import a b", "one FILE"),
                    ("init A --language=en", "three letters"),
                    ("init A --language=12d", "three letters"), ("\x1b]0;x\a", r"\x1B]0;x\x07"),
                    ("import \x1b[31m", r"\x1B[31m"), ("set \x1b[m", "one VALUE"), ("--\x1b[m", r"--\x1B[m"),
                    ("list --config", "--config needs a value"), ("list --user=1", "no value"), ("list --what", "unrecognized"),
                    ("import /none/x", "No such file")):
    stores.expect(words, status=2, told=told)
stores.expect(["set", "a b", "c"], status=2, told="no blank")
check(b"--show-passwords" in stores.run("--help").stdout, "--help")
check(re.fullmatch(rb"zynkprf \d+\.\d+\.\d+\n", stores.run("-V").stdout), "--version")
stores.expect("export", status=2, told="the user's store: Is a directory (code 20", ZYN_STORE_USER="/")
got = subprocess.run(["prlimit", "--fsize=32768", PROGRAM, "import"], capture_output=True, env=stores.env,
                     input=b"[config FMT]\nlong = \"" + b"x" * 99999 + b'"')
check(got.returncode == 2 and b"nothing has been imported: " in got.stderr, got)
ours, theirs = os.pipe()
os.close(ours)
with open("/dev/full", "wb") as full:
    for output, told in ((full, b"No space"), (theirs, b"Broken pipe")):
        for words in (["export"], ["list", "--general"], ["-h"]):
            got = subprocess.run([PROGRAM, *words], stdout=output, stderr=subprocess.PIPE,
                                 env=stores.env)
            check(got.returncode == 2 and told in got.stderr, f"{words} {got}")

# Completion, as the shell takes the words apart.
stores.run("create", "TEST")
stores.expect("import", input='[config FMT]\nTrace = "1"\nTime = "2"\n"Tr x" = "3"\n'
                              '[config TEST]\nTest = "4"\n[user FMT]\nTmine = "5"')
for words, wanted in ((["ex"], "export"), (["c"], "configs create"), (["get", "T"], "Trace Time"),
                      (["get", "--config", "=", "TEST", "T"], "Test"), (["use", ""], "FMT TEST"),
                      (["get", "--user", "T"], "Tmine"), (["erase", "Time", "Tr"], "Trace"),
                      (["--config", "=", "T"], "TEST"), (["list", "--config="], "--config=FMT --config=TEST"),
                      (["list", "--config", "="], "FMT TEST"), (["set", "Trace", "T"], ""),
                      (["set", "--l"], "--list"), (["create", "F"], ""),
                      (["--language", "=", "deu", "in"], "init"), (["init", "--language", "="], ""),
                      (["remove", "--user", ""], "FMT"), (["import", "/dev/nul"], "/dev/null")):
    script = ('. "$1"/completion.bash; shift; COMP_WORDS=(zynkprf "$@"); COMP_CWORD=$#; _zynkprf;'
              ' echo "${COMPREPLY[*]}"')
    got = subprocess.run(["bash", "-c", script, "bash", FOLDER, *words], capture_output=True, text=True,
                         env={**stores.env, "PATH": f"{PROGRAM.parent}:{os.environ['PATH']}"})
    check((got.stdout, got.stderr) == (wanted + "\n", ""), f"{words}: {got}")

# Keys deeper than the text form has them, and rows that another tool has written.
stores.expect("create DEEP")
with sqlite3.connect(stores.env["ZYN_STORE_MACHINE"]) as base:
    key, = base.execute("SELECT id FROM keys WHERE name='DEEP' OR name=x'44454550'").fetchone()
    for _ in range(3000):
        key = base.execute("INSERT INTO keys(parent, name, folded) VALUES(?, x'6B', x'4B')", (key,)).lastrowid
stores.expect("export DEEP", status=2, told="more than 512 levels")
stores.expect("remove DEEP")
stores.expect("set --config=FMT Odd 1")
with sqlite3.connect(stores.env["ZYN_STORE_MACHINE"]) as base:
    base.execute("UPDATE key_values SET folded=x'00' WHERE name=x'4F6464'")
for words in ("list --config=FMT", "export"):
    stores.expect(words, HEAD * 0, status=2, told="the machine's store is damaged: Odd is listed")
