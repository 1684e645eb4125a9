#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""run_page.py [--write] SOURCE PREFIX PAGE: run what a page shows with what is installed below PREFIX, and compare.
run_page.py --count AT_MOST SOURCE PAGE...: count the blocks of all pages; at most so many may be marked "not run".

  console          each "$ command" is run by bash in the page's own folder, where examples/ is; what it prints is compared
  c, cpp, python   a program: compiled, run, and what it prints compared with the block of text that follows
  json             is read
  text             what a program prints; or a drawing
  others           files, or marked: page_blocks.py has the marks

With --write what is printed is put into the page.
"""
from __future__ import annotations

import difflib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import page_blocks

STRICT = ['-Wall', '-Wextra', '-Wconversion', '-Wshadow', '-Wpedantic', '-Werror']
COMPILERS = {'c': ([['gcc'], ['clang']], ['-std=c11', *STRICT], 'page.c'),
             'cpp': ([['g++'], ['clang++']], ['-std=c++20', '-Wold-style-cast', '-fno-exceptions', '-fno-rtti', *STRICT],
                     'page.cpp')}


class Page:
    def __init__(self, source: pathlib.Path, prefix: pathlib.Path, path: pathlib.Path, folder: pathlib.Path):
        self.source, self.path, self.folder = source, path, folder
        self.text, self.blocks = page_blocks.blocks_of(path)
        self.mended: list[tuple[page_blocks.Block, str]] = []
        self.faults = 0
        libraries = prefix / 'lib'
        self.environment = {
            'PATH': f'{prefix / "bin"}:/usr/bin:/bin', 'HOME': str(folder), 'LC_ALL': 'C.UTF-8', 'TERM': 'dumb',
            'LD_LIBRARY_PATH': str(libraries), 'PKG_CONFIG_PATH': str(libraries / 'pkgconfig'), 'CMAKE_PREFIX_PATH': str(prefix),
            'PYTHONPATH': str(libraries / 'python3' / 'dist-packages'), 'PYTHONDONTWRITEBYTECODE': '1'}
        (folder / 'examples').symlink_to(source / 'examples')

    def run(self, command: list[str]) -> tuple[int, str]:
        """Exit status and everything printed, as a terminal shows it."""
        said = subprocess.run(command, cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=300)
        return said.returncode, said.stdout

    def fault(self, block: page_blocks.Block, why: str) -> None:
        self.faults += 1
        print(f'{block.where}: {why}')

    def compare(self, block: page_blocks.Block, expected: str, printed: str, what: str) -> None:
        if page_blocks.agrees(expected, printed, block.says.get('varies', [])):
            return
        self.fault(block, f'{what} prints something else')
        print(''.join(difflib.unified_diff(expected.splitlines(True), printed.splitlines(True), 'page', 'printed')))

    # ---- one function a kind of block

    def console(self, block: page_blocks.Block) -> None:
        faults, now = self.faults, ''
        for command, expected, gap in page_blocks.commands_of(block):
            _, printed = self.run(['bash', '-o', 'pipefail', '-c', command])
            before = self.faults
            self.compare(block, expected, printed, f'"{command.strip()}"')
            now += f'$ {command}{printed if self.faults != before else expected}{gap}'
        if self.faults != faults:
            self.mended.append((block, now))

    def program(self, block: page_blocks.Block, answer: page_blocks.Block | None) -> None:
        if block.language == 'python':
            (self.folder / 'page.py').write_text(block.text, encoding='utf-8')
            outputs = [self.run(['/usr/bin/python3', 'page.py'])]
        else:
            outputs = list(filter(None, [self.compiled(block, compiler) for compiler in self.compilers(block)]))
        if block.said('compiled only') is not None:
            return
        if answer is None or answer.language != 'text':
            self.fault(block, 'no block of text says what this program prints')
            return
        for status, printed in outputs:
            before = self.faults
            self.compare(answer, answer.text, printed if status == 0 else f'{printed}exit {status}\n', 'the program')
            if self.faults != before and (answer, printed) not in self.mended:
                self.mended.append((answer, printed))

    def compilers(self, block: page_blocks.Block) -> list[list[str]]:
        return [compiler for compiler in COMPILERS[block.language][0] if shutil.which(compiler[0], path='/usr/bin')]

    def compiled(self, block: page_blocks.Block, compiler: list[str]) -> tuple[int, str] | None:
        """What the program does; nothing when it is only compiled, or cannot be."""
        _, flags, name = COMPILERS[block.language]
        (self.folder / name).write_text(block.text, encoding='utf-8')
        _, found = self.run(['pkg-config', '--cflags', '--libs', 'zel_v6comp'])
        status, printed = self.run([*compiler, *flags, name, '-o', 'page', *found.split()])
        if status != 0:
            self.fault(block, f'{compiler[0]} does not take the program\n{printed}')
        return self.run(['./page']) if status == 0 and block.said('compiled only') is None else None

    def json(self, block: page_blocks.Block) -> None:
        try:
            json.loads(block.text)
        except json.JSONDecodeError as error:
            self.fault(block, str(error))

    def stands_in(self, block: page_blocks.Block, name: str) -> None:
        lines = iter([line.strip() for line in (self.source / name).read_text(encoding='utf-8').splitlines()])
        for line in filter(None, map(str.strip, block.text.splitlines())):
            if line not in lines:  # goes on where the last line was found
                self.fault(block, f'{name} has no line "{line}", or has it elsewhere')
                return

    def file(self, block: page_blocks.Block, name: str) -> None:
        (self.folder / name).write_text(block.text, encoding='utf-8')
        later = self.blocks[self.blocks.index(block) + 1:]
        if not any(name in other.text for other in later if other.language == 'console'):
            self.fault(block, f'no command of the page uses {name}')

    def check(self, block: page_blocks.Block, following: page_blocks.Block | None) -> None:
        file, place = block.said('file'), block.said('stands in')
        if file is not None:
            self.file(block, file)
        elif place is not None:
            self.stands_in(block, place)
        elif block.said('not run') is not None:
            pass
        elif block.language == 'console':
            self.console(block)
        elif block.language in ('c', 'cpp', 'python'):
            self.program(block, following)
        elif block.language == 'json':
            self.json(block)
        elif block.language != 'text':
            self.fault(block, f'a block of "{block.language}" is a file, stands in one, or says why it is not run')
        elif '\n$ ' in f'\n{block.text}':
            self.fault(block, 'commands stand in a block of console')

    def write(self) -> None:
        for block, text in sorted(self.mended, key=lambda pair: -pair[0].begin):
            self.text = self.text[:block.begin] + text + self.text[block.end:]
        self.path.write_text(self.text, encoding='utf-8')


def count(at_most: int, pages: list[pathlib.Path]) -> int:
    kinds: dict[str, int] = {}
    not_run = []
    for page in pages:
        for block in page_blocks.blocks_of(page)[1]:
            why = block.said('not run')
            kind = next((what for what in ('not run', 'compiled only', 'file', 'stands in') if what in block.says), block.language)
            kinds[kind] = kinds.get(kind, 0) + 1
            if why is not None:
                not_run.append(f'  {block.where}: {why}')
    print(', '.join(f'{kinds[kind]} {kind}' for kind in sorted(kinds)), *not_run, sep='\n')
    if len(not_run) > at_most or 'console' not in kinds:
        print(f'{len(not_run)} blocks are not run, and {at_most} may be')
        return 1
    return 0


def main() -> int:
    words = sys.argv[1:]
    if words[0] == '--count':
        return count(int(words[1]), [pathlib.Path(word) for word in words[2:]])
    writes = words[0] == '--write'
    source, prefix, path = (pathlib.Path(word).resolve() for word in (words[1:] if writes else words))
    with tempfile.TemporaryDirectory() as folder:
        page = Page(source, prefix, path, pathlib.Path(folder))
        for block, following in zip(page.blocks, [*page.blocks[1:], None]):
            page.check(block, following)
        if writes:
            page.write()
    print(f'{path.name}: {len(page.blocks)} blocks, {page.faults} faults')
    return 1 if page.faults else 0


if __name__ == '__main__':
    os.environ.setdefault('LC_ALL', 'C.UTF-8')
    sys.exit(main())
