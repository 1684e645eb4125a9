#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The library needs the C library only, has its SONAME, and is hardened: full RELRO, no executable stack."""
import argparse
import re
import subprocess
import sys


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--readelf', default='readelf')
    parser.add_argument('--soname', required=True)
    parser.add_argument('library')
    args = parser.parse_args()

    def readelf(*options):
        command = [args.readelf, '--wide', *options, args.library]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    dynamic, segments = readelf('--dynamic'), readelf('--segments')
    # The loader itself is named too where the architecture's stack protector lives in it.
    needed = [name for name in re.findall(r'\(NEEDED\).*\[(.*)\]', dynamic) if not name.startswith('ld-linux')]
    stack = re.search(r'GNU_STACK\s.*\s([RWE]+)\s+0x', segments)
    faults = []
    if needed != ['libc.so.6']:
        faults.append(f'needs {needed} instead of libc.so.6 alone')
    if re.findall(r'\(SONAME\).*\[(.*)\]', dynamic) != [args.soname]:
        faults.append(f'the SONAME is not {args.soname}')
    if 'BIND_NOW' not in dynamic and not re.search(r'\(FLAGS_1\).*\bNOW\b', dynamic):
        faults.append('symbols are bound lazily (no BIND_NOW)')
    if 'GNU_RELRO' not in segments:
        faults.append('no RELRO segment')
    if stack is None or 'E' in stack.group(1):
        faults.append('the stack is executable')
    if '(TEXTREL)' in dynamic or re.search(r'\bTEXTREL\b', dynamic):
        faults.append('has text relocations')
    if re.search(r'\((RPATH|RUNPATH)\)', dynamic):
        faults.append('carries a search path')
    if '(SYMBOLIC)' in dynamic or re.search(r'\bSYMBOLIC\b', dynamic):
        faults.append('binds its own symbols first: a host could not replace the platform calls')
    for fault in faults:
        print(f'{args.library}: {fault}')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main())
