#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_static.py NM SHARED STATIC: the static library shows the names of the shared one, weak where they are weak there, and
asks for nothing but what the C library has."""
import subprocess
import sys

COMPILER_HELPERS = {'__popcountdi2', '_GLOBAL_OFFSET_TABLE_'}  # of libgcc, which every C compiler links, and of the linker


def symbols(nm, *options):
    """name -> nm's type letter"""
    lines = subprocess.run([nm, '-g', *options], check=True, capture_output=True, text=True).stdout.splitlines()
    words = [line.split() for line in lines if line and not line.endswith(':')]
    return {word[-1].partition('@')[0]: word[-2] for word in words if word[-2] != 'A'}


def main():
    nm, shared, static = sys.argv[1:]
    wanted, found = symbols(nm, '-D', '--defined-only', shared), symbols(nm, '--defined-only', static)
    faults = [f'{name}: only in one of the two' for name in sorted(wanted.keys() ^ found.keys())]
    faults += [f'{name}: {found[name]} instead of {wanted[name]}' for name in sorted(wanted.keys() & found.keys())
               if (wanted[name] in 'WV') != (found[name] in 'WV')]
    needed = symbols(nm, '--undefined-only', static).keys() - COMPILER_HELPERS
    beyond = needed - symbols(nm, '-D', '--undefined-only', shared).keys() - found.keys()
    faults += [f'{name}: the shared library does not ask for it' for name in sorted(beyond)]
    if not wanted:
        faults.append(f'{shared} shows nothing')
    print('\n'.join(faults) or f'{len(found)} names')
    sys.exit(1 if faults else 0)


if __name__ == '__main__':
    main()
