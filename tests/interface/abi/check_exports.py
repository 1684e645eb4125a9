#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The names that the built library exports, the version script and the headers' declarations are the same set.

Also: the platform calls are weak and all else is strong, and every name carries the version node."""
import argparse
import re
import subprocess
import sys


# Offered by every host, but no message of the library needs it today.
NOT_CALLED = {'cerr_strerror'}


def without_comments(text):
    return re.sub(r'/\*.*?\*/|//[^\n]*', ' ', text, flags=re.S)


def map_names(path):
    """(version node, names of its global section)"""
    text = re.sub(r'#[^\n]*', '', open(path).read())
    match = re.fullmatch(r'\s*(\S+)\s*\{\s*global:(.*)local:\s*\*;\s*\};\s*', text, flags=re.S)
    if not match:
        sys.exit(f'{path}: not "NODE {{ global: names; local: *; }};"')
    names = [name.strip() for name in match.group(2).split(';') if name.strip()]
    for name in names:
        if not re.fullmatch(r'[A-Za-z_]\w*', name):
            sys.exit(f'{path}: "{name}" is not a plain name')
        if names.count(name) > 1:
            sys.exit(f'{path}: {name} stands twice')
    return match.group(1), set(names)


def library_symbols(nm, path):
    """name -> (nm's type letter, version node)"""
    lines = subprocess.run([nm, '-D', '--defined-only', path], check=True, capture_output=True, text=True).stdout
    symbols = {}
    for line in lines.splitlines():
        _, kind, name = line.split()
        name, _, node = name.partition('@@')
        if kind != 'A':  # the version node itself
            symbols[name] = (kind, node)
    return symbols


def undefined_names(nm, path):
    lines = subprocess.run([nm, '-D', '--undefined-only', path], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].partition('@')[0] for line in lines.splitlines()}


def marked_names(path):
    """Names declared with TM_API in a header."""
    text = without_comments(open(path).read())
    text = re.sub(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*', '', text, flags=re.M)
    found = re.findall(r'\bTM_API\b[^;]*?(\w+)\s*(?:\[[^\]]*\]\s*)?[(;]', text)
    if len(found) != len(re.findall(r'\bTM_API\b', text)):
        sys.exit(f'{path}: a TM_API declaration was not understood')
    return set(found)


def functions_seen(path):
    """Names of all functions that a C++ program sees in a header, whatever they are marked with."""
    text = re.sub(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*', '', without_comments(open(path).read()), flags=re.M)
    text = re.sub(r'__attribute__\s*\(\(.*?\)\)', '', text)
    text = re.sub(r'\btypedef\b[^;{]*\(\s*\*[^;]*;', '', text)  # types of functions
    return {name for name in re.findall(r'\b([a-z]\w*)\s*\([^()]*(?:\([^()]*\)[^()]*)*\)', text)
            if name not in ('sizeof', 'offsetof')}


def platform_names(path):
    """Functions declared in the platform's header: at the start of a line, in C."""
    text = re.sub(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*', '', without_comments(open(path).read()), flags=re.M)
    return set(re.findall(r'^(?:const )?(?:void|char) \*?(\w+)\(', text, flags=re.M))


def compare(what, got, want):
    for name in sorted(got - want):
        print(f'{what}: {name} is too much')
    for name in sorted(want - got):
        print(f'{what}: {name} is missing')
    return got == want


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--nm', default='nm')
    parser.add_argument('--library', required=True)
    parser.add_argument('--map', required=True)
    parser.add_argument('--platform', required=True)
    parser.add_argument('--without-platform', action='store_true', help='the library was built for a host of its own')
    parser.add_argument('headers', nargs='+')
    args = parser.parse_args()

    node, listed = map_names(args.map)
    symbols = library_symbols(args.nm, args.library)
    platform = platform_names(args.platform)
    good = True
    declared = set(platform)
    for header in args.headers:
        declared |= marked_names(header)

    expected = listed
    if args.without_platform:
        expected = listed - platform
        good = compare('left to the host', undefined_names(args.nm, args.library) & platform, platform - NOT_CALLED)
    good = compare('exported by the library, against the version script', set(symbols), expected) and good
    good = compare('declared in the headers, against the version script', declared, listed) and good
    seen = set()
    for header in args.headers:
        seen |= functions_seen(header)
    good = compare('seen in the headers, but not exported', seen - listed, set()) and good
    for name, (kind, version) in sorted(symbols.items()):
        weak = kind in 'WV'
        if weak != (name in platform):
            print(f'{name}: {"weak" if weak else "strong"} (nm says {kind})')
            good = False
        if version != node:
            print(f'{name}: version "{version}" instead of {node}')
            good = False
    print(f'{len(symbols)} exported, {len(listed)} listed, {len(declared)} declared, {len(platform)} of the platform')
    return 0 if good and len(symbols) > 0 else 1


if __name__ == '__main__':
    sys.exit(main())
