#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The library, the tool and the agent as shipped are hardened: every source is compiled with every flag, and the linked
files show what the flags are for."""
import argparse
import json
import re
import shlex
import subprocess
import sys

SHIPPED = ('platform/', 'common/', 'zel_v6comp_lib/', 'table/', 'tools/', 'agent/')
FLAGS = {'-fstack-protector-strong', '-fstack-clash-protection', '-D_FORTIFY_SOURCE=3'}
BRANCHES = {'x86_64': '-fcf-protection=full', 'aarch64': '-mbranch-protection=standard'}
# First instruction of a function that may be reached by an indirect call.
LANDING = {'x86_64': r'endbr64', 'aarch64': r'bti\s+c|paciasp'}
STACK_PROBE = {'x86_64': r'\bor[bwlq]?\s+\$0x0,.*\(%[re]sp', 'aarch64': r'\bstr\s+xzr, \[sp'}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def compile_faults(path, root, processor):
    wanted = FLAGS | {BRANCHES[processor]}
    seen = 0
    for entry in json.load(open(path)):
        source = entry['file'].removeprefix(root.rstrip('/') + '/')
        given = shlex.split(entry['command'])
        if not given[given.index('-o') + 1].startswith(SHIPPED):
            continue  # a test, or a test's own copy of a source
        seen += 1
        for flag in sorted(wanted - set(given)):
            yield f'{source}: compiled without {flag}'
        last = [g for g in given if re.match(r'-[DU]_FORTIFY_SOURCE|-f(no-)?stack-protector|-fcf-protection', g)]
        for weaker in ('-U_FORTIFY_SOURCE', '-fno-stack-protector', '-fcf-protection=none'):
            if last and last[-1] == weaker:
                yield f'{source}: {weaker} comes last'
    if seen < 50:
        yield f'{path}: {seen} shipped sources only'


def link_faults(args, path, program):
    segments = run(args.readelf, '--wide', '--segments', path)
    dynamic = run(args.readelf, '--wide', '--dynamic', path)
    header = run(args.readelf, '--wide', '--file-header', path)
    if 'GNU_RELRO' not in segments:
        yield 'no RELRO segment (-z relro)'
    if 'BIND_NOW' not in dynamic and not re.search(r'\(FLAGS_1\).*\bNOW\b', dynamic):
        yield 'symbols are bound lazily (-z now)'
    stack = re.search(r'GNU_STACK\s.*\s([RWE]+)\s+0x', segments)
    if stack is None or 'E' in stack.group(1):
        yield 'the stack is executable (-z noexecstack)'
    if re.search(r'\bTEXTREL\b', dynamic):
        yield 'text relocations'
    if not re.search(r'Type:\s+DYN', header):
        yield 'not position-independent'
    if program and not re.search(r'\(FLAGS_1\).*\bPIE\b', dynamic):
        yield 'not linked as a position-independent executable (-pie)'
    if re.search(r'LOAD.*\bRWE\b', segments):
        yield 'a segment both writable and executable'


def code_faults(args, path, program):
    names = run(args.nm, '--dynamic', path)
    if '__stack_chk_fail' not in names:
        yield 'no function watches its stack frame (-fstack-protector-strong)'
    if not re.search(r' U __\w+_chk\b', names):
        yield 'no call is fortified (-D_FORTIFY_SOURCE)'
    code = run(args.objdump, '--disassemble', '--no-show-raw-insn', path)
    if not re.search(STACK_PROBE[args.processor], code):
        yield 'no large stack frame is probed page by page (-fstack-clash-protection)'
    if program:
        return
    landing = re.compile(LANDING[args.processor])
    first = dict(re.findall(r'^[0-9a-f]+ <(\w+)>:\n\s*[0-9a-f]+:\s+(.*)$', code, flags=re.M))
    exported = re.findall(r' [TW] (\w+)@', names)
    if not exported:
        yield 'exports no function'
    for name in exported:
        if not landing.match(first.get(name, '')):
            yield f'{name} begins without a mark for indirect calls ({BRANCHES[args.processor]})'


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for tool in ('nm', 'readelf', 'objdump'):
        parser.add_argument('--' + tool, default=tool)
    parser.add_argument('--processor', required=True, choices=sorted(BRANCHES))
    parser.add_argument('--commands', required=True, help='compile_commands.json')
    parser.add_argument('--root', required=True, help='folder of the sources')
    parser.add_argument('--program', action='append', default=[])
    parser.add_argument('library')
    args = parser.parse_args()

    faults = list(compile_faults(args.commands, args.root, args.processor))
    for path in [args.library, *args.program]:
        program = path != args.library
        faults += [f'{path}: {fault}' for fault in link_faults(args, path, program)]
        faults += [f'{path}: {fault}' for fault in code_faults(args, path, program)]
    print('\n'.join(faults))
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main())
