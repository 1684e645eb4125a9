#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_terminal.py V6COMP SOURCE CHECK: what the tool does on a terminal and nowhere else, and what it does as it goes.

CHECK is one of rows, tables (TERMINAL_RECORD=1 keeps what comes), help, progress, questions, batches."""
import fcntl
import os
import pathlib
import pty
import re
import select
import struct
import subprocess
import sys
import tempfile
import termios
import time

tool, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
office = source / "examples/tables/office_5.txt"
table = source / "examples/tables/bgp_2401_5270.txt"
n_batches = 150
patience = 60  # seconds


def environment(**more):
    kept = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "COLUMNS", "TERM")}
    return {**kept, "TERM": "xterm", "LC_ALL": "C", **more}


def on_terminal(*arguments, columns=120, streams=("stdout",), **more):
    """What comes out of these streams on a terminal; the others are pipes. A list of pieces with the stream."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
    attributes = termios.tcgetattr(theirs)
    attributes[1] &= ~termios.OPOST
    termios.tcsetattr(theirs, termios.TCSANOW, attributes)
    where = {name: theirs if name in streams else subprocess.PIPE for name in ("stdout", "stderr")}
    with subprocess.Popen([tool, *arguments], stdin=subprocess.DEVNULL, env=environment(**more), **where) as process:
        os.close(theirs)
        seen = b""
        try:
            while piece := os.read(ours, 65536):
                seen += piece
        except OSError:
            pass  # the other end is closed
        rest = b"".join(pipe.read() for pipe in (process.stdout, process.stderr) if pipe)
    os.close(ours)
    return seen.decode(), rest.decode()


def piped(*arguments, **more):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL,
                          env=environment(**more), check=False)


def check_rows():
    seen, _ = on_terminal("list", "--fields", "prefix,weight", office)
    heading, *rows = seen.splitlines()
    assert heading == "\x1b[1mprefix               weight\x1b[0m", repr(heading)
    assert rows[-1] == "2001:db8:ffff::1/128      1", rows
    assert {len(line) for line in rows} == {len("prefix               weight")}, rows
    assert "\x1b" not in "".join(rows)
    for off in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        plain, _ = on_terminal("list", "--fields", "prefix,weight", office, **off)
        assert plain == seen.replace("\x1b[1m", "").replace("\x1b[0m", ""), (off, plain)
    assert piped("list", "--fields", "prefix,weight", office).stdout.splitlines()[0].startswith("2001:")
    for form in ("json", "ndjson", "csv"):
        assert on_terminal("list", "-f", form, office)[0] == piped("list", "-f", form, office).stdout, form
    with tempfile.TemporaryDirectory() as scratch:
        on_terminal("list", office, "-o", f"{scratch}/rows")
        assert pathlib.Path(scratch, "rows").read_text() == piped("list", office).stdout


def check_tables():
    """Whole tables, as they were once looked at and found good: NAME.txt beside this file."""
    history = [source / "examples/histories" / f"dc_wikimedia.{part}.txt" for part in ("base", "updates")]
    rules = source / "examples/rules/office.csv"
    for name, arguments in {
        "compress": ["compress", office],
        "acl": ["acl", rules],
        "explain": ["explain", "--fields", "depth,prefix,own_bits,need_bits,dummy", office, "2001:db8:1:1::/64"],
        "update": ["update", "--fields", "batch,adds,deletes,changed,result,requests,table_prefixes,moved", *history],
    }.items():
        seen, _ = on_terminal(*arguments, NO_COLOR="1")
        kept = pathlib.Path(__file__).parent / f"{name}.txt"
        if os.environ.get("TERMINAL_RECORD"):
            kept.write_text(seen)
        assert seen == kept.read_text(), (name, seen)


def check_help():
    def widest(text):
        return max(len(line) for line in text.splitlines())

    assert widest(piped("update", "--help").stdout) <= 80
    wide, narrow = on_terminal("update", "--help", columns=109)[0], on_terminal("update", "--help", columns=60)[0]
    assert 80 < widest(wide) <= 109 and len(wide.splitlines()) < len(narrow.splitlines()), (widest(wide), widest(narrow))
    assert widest(on_terminal("update", "--help", columns=300)[0]) <= 110
    assert on_terminal("update", "--help", columns=60, COLUMNS="109")[0] == wide


def long_work(scratch):
    """Batches that come and go on a table of some size, each with a proof that takes a while."""
    history = pathlib.Path(scratch, "history")
    history.write_text("".join(f"{'-' if i % 2 else '+'}2001:db8::/32\n---\n" for i in range(n_batches)))
    return ["update", "--verify", "every", table, history]


def check_progress():
    with tempfile.TemporaryDirectory() as scratch:
        check_bar(long_work(scratch))


def check_bar(work):
    seen, rows = on_terminal(*work, streams=("stderr",))
    bars = re.findall(rf"\r\x1b\[Kv6comp: updating (\[=*>? *\] )?( *\d+)%, ( *\d+) of {n_batches}, \d+/s(?:, \d+:\d\d left)?", seen)
    assert len(bars) > 1, seen
    done = [int(bar[2]) for bar in bars]
    assert done == sorted(done) and done[-1] > done[0], done
    assert seen.endswith("\r\x1b[K"), repr(seen[-40:])
    assert "updating" not in rows and len(rows.splitlines()) == n_batches + 2, rows
    assert on_terminal("-q", *work, streams=("stderr",))[0] == ""
    assert on_terminal(*work, "-q", streams=("stderr",))[0] == ""
    assert piped(*work).stderr == ""
    # On one terminal the bar makes way for the rows.
    both, _ = on_terminal(*work, streams=("stdout", "stderr"))
    shown = re.sub(r"\r\x1b\[Kv6comp: [^\r]*", "", both).replace("\r\x1b[K", "")
    shown = shown.replace("\x1b[1m", "").replace("\x1b[0m", "")

    def timeless(text):  # a terminal has numbers to the right
        return [re.sub(r" +\d+ +yes", " yes", line).split() for line in text.splitlines()]

    assert timeless(shown) == timeless(rows), shown


def read_line(stream, process):
    line = b""
    deadline = time.monotonic() + patience
    while not line.endswith(b"\n"):
        assert time.monotonic() < deadline and process.poll() is None, line
        if select.select([stream], [], [], 1)[0]:
            line += os.read(stream.fileno(), 1)
    return line.decode()


def check_questions():
    """The pipe stays open: every answer comes before the next question is asked."""
    questions = [("2001:db8:1::/48", True), ("no question", False), ("2001:db8:2:3::77", True), ("2001:db9::1", False)]
    for form in ("text", "ndjson", "csv"):
        with subprocess.Popen([tool, "lookup", office, "-f", form], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=environment()) as process:
            if form == "csv":
                process.stdin.write(b"::1\n")
                process.stdin.flush()
                assert read_line(process.stdout, process).startswith("query,"), form
                read_line(process.stdout, process)
            for question, found in questions:
                process.stdin.write(question.encode() + b"\n")
                process.stdin.flush()
                answer = read_line(process.stdout, process)
                assert question in answer and ("0x00" in answer) == found, answer
            process.stdin.close()
            assert process.stdout.read() == b""
            assert b"no question: not an IPv6 address" in process.stderr.read()
        assert process.returncode == 2, process.returncode


def check_batches():
    """A batch is printed before the history is done, and the rest of it later."""
    with tempfile.TemporaryDirectory() as scratch, subprocess.Popen(
            [tool, *long_work(scratch), "-f", "ndjson"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
            env=environment()) as process:
        assert '"batch": 1,' in read_line(process.stdout, process)
        assert process.poll() is None
        assert select.select([process.stdout], [], [], 0)[0] == [] or b'"batch": 73,' not in os.read(
            process.stdout.fileno(), 1 << 20), "the first row came with the last"
        while os.read(process.stdout.fileno(), 1 << 20):
            pass
    assert process.returncode == 0


{"rows": check_rows, "tables": check_tables, "help": check_help, "progress": check_progress, "questions": check_questions,
 "batches": check_batches}[sys.argv[3]]()
