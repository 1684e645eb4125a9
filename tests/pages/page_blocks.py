# SPDX-License-Identifier: Apache-2.0
"""The fenced blocks of a page, each with what the page's hidden comments say of it.

A comment stands right before its block:

  <!-- page: file NAME -->           the block is this file: it is written where the page's commands run
  <!-- page: stands in FILE -->      the block's lines stand in this file of the project, one after the other
  <!-- page: varies REGEX -->        what matches is another at every run: times, paths
  <!-- page: compiled only: WHY -->  the program is compiled and not run
  <!-- page: not run: WHY -->        nothing of the block is run
"""
from __future__ import annotations

import dataclasses
import pathlib
import re

FENCE = re.compile(r'((?:^<!-- page: [^\n]* -->\n)*)\n?^```([^\n]*)\n(.*?)^```$', flags=re.DOTALL | re.MULTILINE)
COMMENT = re.compile(r'^<!-- page: (file|stands in|varies|compiled only:|not run:) (\S.*) -->$', flags=re.MULTILINE)


@dataclasses.dataclass
class Block:
    page: str
    line: int
    language: str
    text: str
    begin: int  # where its text is in the page
    end: int
    says: dict[str, list[str]]

    @property
    def where(self) -> str:
        return f'{self.page}:{self.line}'

    def said(self, what: str) -> str | None:
        return self.says[what][0] if what in self.says else None


def blocks_of(path: pathlib.Path) -> tuple[str, list[Block]]:
    """The page's text and its blocks in order. A comment that no block follows, or that says nothing known, is a fault."""
    text = path.read_text(encoding='utf-8')
    blocks, comments = [], 0
    for match in FENCE.finditer(text):
        says: dict[str, list[str]] = {}
        for what, value in COMMENT.findall(match.group(1)):
            says.setdefault(what.rstrip(':'), []).append(value)
            comments += 1
        line = text.count('\n', 0, match.start(2)) + 1
        blocks.append(Block(path.name, line, match.group(2), match.group(3), match.start(3), match.end(3), says))
    if comments != text.count('<!-- page:'):
        raise SystemExit(f'{path}: {text.count("<!-- page:")} comments on blocks, and {comments} of them understood')
    if 2 * len(blocks) != len(re.findall(r'^```', text, flags=re.MULTILINE)):
        raise SystemExit(f'{path}: a block is not closed')
    return text, blocks


def commands_of(block: Block) -> list[tuple[str, str, str]]:
    """(command, what the page says it prints, "" or a blank line before the next command) of a console block.

    Commands begin with "$ " and go on after a backslash."""
    commands: list[list[str]] = []
    goes_on = False
    for line in block.text.splitlines(keepends=True):
        if goes_on:
            commands[-1][0] += line
        elif line.startswith('$ '):
            if commands and f'\n{commands[-1][1]}'.endswith('\n\n'):
                commands[-1][1:] = [commands[-1][1][:-1], '\n']
            commands.append([line[2:], '', ''])
        elif not commands:
            raise SystemExit(f'{block.where}: a console block begins with a command, "$ ..."')
        else:
            commands[-1][1] += line
            continue
        goes_on = line.endswith('\\\n')
    return [(command, expected, gap) for command, expected, gap in commands]


def agrees(expected: str, printed: str, varies: list[str]) -> bool:
    """Whether what is printed is what the page says. A line of "..." there stands for any lines."""
    for pattern in varies:
        expected, printed = re.sub(pattern, '~', expected), re.sub(pattern, '~', printed)
    parts = re.split(r'^\.\.\.\n', expected, flags=re.MULTILINE)
    lines = r'(?:.*\n)*?'.join(re.escape(part) for part in parts)
    return re.fullmatch(lines, printed) is not None
