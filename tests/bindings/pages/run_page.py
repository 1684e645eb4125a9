#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""run_page.py [--write] PAGE LANGUAGE COMMAND...: run the programs of a page and compare what they print with the page.

With --write what they print is put into the page.

A program is a fenced block of the language; the fenced block of text that follows it is what it prints. COMMAND runs a
program from the file {source}, or makes {program} of it, which is run then.
"""
import difflib
import pathlib
import re
import subprocess
import sys
import tempfile

SUFFIXES = {'c': '.c', 'cpp': '.cpp', 'python': '.py'}


def programs(text, language):
    """(line, source, block of what it prints) of each program."""
    blocks = list(re.finditer(r'^```(\w*)\n(.*?)^```$', text, flags=re.DOTALL | re.MULTILINE))
    for at, block in enumerate(blocks):
        if block.group(1) != language:
            continue
        line = text.count('\n', 0, block.start()) + 1
        if at + 1 == len(blocks) or blocks[at + 1].group(1) != 'text':
            sys.exit(f'line {line}: no block of text says what this program prints')
        yield line, block.group(2), blocks[at + 1]


def output_of(source, language, command):
    with tempfile.TemporaryDirectory() as folder:
        names = {'source': pathlib.Path(folder) / f'page{SUFFIXES[language]}', 'program': pathlib.Path(folder) / 'page'}
        names['source'].write_text(source, encoding='utf-8')
        said = subprocess.run([word.format(**names) for word in command], capture_output=True, text=True, check=False)
        if said.returncode == 0 and '{program}' in ' '.join(command):
            said = subprocess.run([names['program']], capture_output=True, text=True, check=False)
        if said.returncode != 0:
            return f'exit {said.returncode}\n{said.stdout}{said.stderr}'
        return said.stdout


def main():
    writes = sys.argv[1:2] == ['--write']
    page, language, *command = sys.argv[2 if writes else 1:]
    text = pathlib.Path(page).read_text(encoding='utf-8')
    mended, wrong, all_programs = text, 0, list(programs(text, language))
    for line, source, block in reversed(all_programs):
        printed = output_of(source, language, command)
        if printed != block.group(2):
            wrong += 1
            mended = mended[:block.start(2)] + printed + mended[block.end(2):]
            print(f'{page}:{line}: the program prints something else')
            differences = difflib.unified_diff(block.group(2).splitlines(True), printed.splitlines(True), 'page', 'printed')
            print(''.join(differences))
    print(f'{page}: {len(all_programs)} programs, {wrong} wrong')
    if writes:
        pathlib.Path(page).write_text(mended, encoding='utf-8')
    sys.exit(1 if wrong or not all_programs else 0)


if __name__ == '__main__':
    main()
