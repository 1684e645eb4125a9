#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""generate_cdef.py [--check]: v6comp/_cdef.py, the C declarations that the package speaks, from zel_v6comp_table.h.

With --check nothing is written, and a difference is an error.
"""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
HEADER = HERE.parent.parent / 'table/zel_v6comp_table.h'
TARGET = HERE / 'v6comp/_cdef.py'

HEAD = '''# SPDX-License-Identifier: Apache-2.0
"""The C interface. Made by generate_cdef.py from zel_v6comp_table.h; do not edit."""

CDEF = """
'''


def declarations(header: str) -> str:
    """What stands between TM_API_BEGIN and TM_API_END, without comments, macros and export marks."""
    text = re.sub(r'/\*.*?\*/|//[^\n]*', '', header, flags=re.DOTALL)
    text = re.sub(r'\\\n', ' ', text)
    text = re.sub(r'^#.*$', '', text, flags=re.MULTILINE)
    inside = re.search(r'^TM_API_BEGIN$(.*)^TM_API_END$', text, flags=re.DOTALL | re.MULTILINE)
    if inside is None:
        sys.exit(f'{HEADER}: no TM_API_BEGIN and TM_API_END')
    text = re.sub(r'\bTM_API\b\s*', '', inside.group(1))
    lines = (line.rstrip() for line in text.splitlines())
    return re.sub(r'\n {6,}', ' ', '\n'.join(line for line in lines if line)) + '\n'


def main() -> None:
    if sys.argv[1:] not in ([], ['--check']):
        sys.exit(__doc__)
    wanted = HEAD + declarations(HEADER.read_text(encoding='utf-8')) + '"""\n'
    if sys.argv[1:] == []:
        TARGET.write_text(wanted, encoding='utf-8')
    elif TARGET.read_text(encoding='utf-8') != wanted:
        sys.exit(f'{TARGET} differs from {HEADER}: run {pathlib.Path(__file__).name}')


if __name__ == '__main__':
    main()
