#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Count the instructions of fixed workloads under callgrind, and compare them with what is recorded.

  instruction_guard.py check  --program P --table T --build TEXT [--recorded FILE]
  instruction_guard.py record --program P --table T --build TEXT [--recorded FILE]

Counts do not depend on the load of the machine, but they do on the compiler and its flags (--build): against a record
of another build there is nothing to compare.
Exit status: 0 no workload takes more than 5 % above its record; 1 one does; 77 cannot tell here (no valgrind, another
compiler); 4 something failed.
"""
import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

ALLOWED_PERCENT = 5.0
CANNOT_TELL = 77
FAILED = 4
WORKLOADS = {
    "full": "full compression, per prefix",
    "updates": "single addition or deletion on the table, safe updates on",
    "room_updates": "the same in room mode",
    "lookups": "lookup, half of prefixes, half of addresses",
}
# The C library picks string functions by the processor it finds; these picks exist everywhere.
TUNABLES = "glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-ERMS,-FSRM,-EVEX"


def count(program, table, workload, directory):
    """Instructions and items of one workload."""
    out = pathlib.Path(directory) / (workload + ".out")
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=" + str(out), "--collect-atstart=no",
               "--toggle-collect=v6comp_measured", program, table, workload]
    run = subprocess.run(command, capture_output=True, text=True, env=dict(os.environ, GLIBC_TUNABLES=TUNABLES),
                         check=False)
    if run.returncode != 0:
        sys.stderr.write(run.stderr)
        sys.exit(FAILED)
    for line in out.read_text().splitlines():
        if line.startswith(("summary:", "totals:")):
            instructions = int(line.split()[1])
            if instructions > 0:
                return instructions, int(run.stdout.split()[0])
    sys.stderr.write("callgrind counted nothing for %s\n" % workload)
    sys.exit(FAILED)


def count_all(arguments):
    counts = {}
    with tempfile.TemporaryDirectory() as directory:
        for workload, meaning in WORKLOADS.items():
            instructions, items = count(arguments.program, arguments.table, workload, directory)
            counts[workload] = {"what": meaning, "items": items, "instructions": instructions,
                                "instructions_per_item": round(instructions / items, 1)}
    return counts


def record(arguments):
    content = {"table": os.path.basename(arguments.table), "build": arguments.build,
               "workloads": count_all(arguments)}
    pathlib.Path(arguments.recorded).write_text(json.dumps(content, indent=2) + "\n")
    print("recorded in", arguments.recorded)
    return 0


def compare(recorded, counted):
    worst = 0
    for workload, entry in recorded.items():
        now = counted[workload]
        if now["items"] != entry["items"]:
            print("%s: %d items, recorded %d: the workload itself has changed, record it again"
                  % (workload, now["items"], entry["items"]))
            worst = 1
            continue
        change = 100.0 * (now["instructions"] / entry["instructions"] - 1)
        verdict = "ok"
        if change > ALLOWED_PERCENT:
            verdict = "MORE THAN +%g %%" % ALLOWED_PERCENT
            worst = 1
        elif change < -ALLOWED_PERCENT:
            verdict = "ok, faster: bench/record-instructions keeps it so"
        print("%-8s %12.1f instructions each, recorded %12.1f: %+6.2f %%  %s"
              % (workload, now["instructions_per_item"], entry["instructions_per_item"], change, verdict))
    return worst


def check(arguments):
    recorded = json.loads(pathlib.Path(arguments.recorded).read_text())
    if recorded["build"] != arguments.build:
        print("skipped: recorded with\n  %s\nthis build is\n  %s" % (recorded["build"], arguments.build))
        return CANNOT_TELL
    return compare(recorded["workloads"], count_all(arguments))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("command", choices=["check", "record"])
    parser.add_argument("--program", required=True)
    parser.add_argument("--table", required=True)
    parser.add_argument("--build", required=True, help="compiler, version and flags, as text")
    parser.add_argument("--recorded", default=str(pathlib.Path(__file__).with_name("instructions.json")))
    arguments = parser.parse_args()
    if shutil.which("valgrind") is None:
        print("skipped: valgrind is not installed (Debian: apt-get install valgrind)")
        return CANNOT_TELL
    return record(arguments) if arguments.command == "record" else check(arguments)


if __name__ == "__main__":
    sys.exit(main())
