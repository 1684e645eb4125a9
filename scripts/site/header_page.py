# SPDX-License-Identifier: Apache-2.0
"""A page for a public header: what it says at its beginning, then every documented declaration with its comment.

The comments are written to be read as they stand, with drawings and aligned lists, so they are shown so: only @param becomes a
list here, and @return keeps its lines. That none is missing is Doxygen's to say (scripts/api-docs)."""
from __future__ import annotations

import dataclasses
import pathlib
import re

# What C++ sees is documented once, as C has it.
CONDITION = re.compile(r'^[ \t]*#[ \t]*(if\w*|else|elif|endif)\b(.*)$')


@dataclasses.dataclass
class Entry:
    comment: list[str]
    code: str

    @property
    def names(self) -> list[str]:
        """The functions, types and variables that the code declares, without what is inside braces."""
        flat = re.sub(r'/\*.*?\*/', '', self.code, flags=re.DOTALL)
        while re.search(r'\{[^{}]*\}', flat):
            flat = re.sub(r'\{[^{}]*\}', ' ', flat)
        flat = re.sub(r'__attribute__\s*\(\((?:[^()]|\([^()]*\))*\)\)|\b[A-Z_]+_LIKE\([^()]*\)|\b[A-Z]+_NORETURN\b', '', flat)
        names = []
        for statement in filter(str.strip, re.split(r';|^#define ', flat, flags=re.MULTILINE)):
            pointer = re.search(r'\(\s*\*\s*(\w+)\s*\)\s*\(', statement) if 'typedef' in statement else None
            found = (pointer or re.search(r'(\w+)\s*\(', statement) or
                     re.search(r'(\w+)\s*(?:\[[^\]]*\]\s*)*(?:=.*)?$', statement.strip(), flags=re.DOTALL))
            if found and found.group(1) not in names:
                names.append(found.group(1))
        return names


def one_branch(lines: list[str]) -> list[str]:
    """The lines without preprocessor conditions: of two branches the first, or the one that C has."""
    kept: list[str] = []
    open_branches: list[bool] = []
    for line in lines:
        condition = CONDITION.match(line)
        if condition and condition.group(1).startswith('if'):
            open_branches.append('__cplusplus' not in condition.group(2))
        elif condition and condition.group(1) == 'endif':
            open_branches.pop()
        elif condition:
            open_branches[-1] = not open_branches[-1] and condition.group(1) == 'else'
        elif all(open_branches):
            kept.append(line)
    return kept


def comment_lines(lines: list[str]) -> list[str]:
    """A comment's text without its marks; what it is indented by stays."""
    text = '\n'.join(lines)
    text = re.sub(r'^\s*/\*\*? ?|\s*\*/\s*$', '', text)
    return [re.sub(r'^ \*  ?(?=@|\S| )|^ \*$|^ \* ?', '', line).rstrip() for line in text.split('\n')]


def read_header(path: pathlib.Path) -> tuple[list[str], list[Entry]]:
    """(the header's first comment, its documented declarations)"""
    lines = path.read_text(encoding='utf-8').splitlines()
    lines = one_branch([line for line in lines if 'SPDX-License' not in line])
    intro: list[str] = []
    entries: list[Entry] = []
    at = 0
    while at < len(lines):
        if re.match(r'(extern )?TM_API\b', lines[at]):  # says all itself, or in a comment behind it
            code, at = declaration(lines, at)
            entries.append(Entry([], code))
            continue
        if not lines[at].lstrip().startswith('/*'):
            at += 1
            continue
        end = at
        while '*/' not in lines[end]:
            end += 1
        comment = lines[at:end + 1]
        at = end + 1
        if not intro:
            intro = comment_lines(comment)
        elif comment[0].startswith('/**'):
            code, at = declaration(lines, at)
            if code.strip():
                entries.append(Entry(comment_lines(comment), code))
    return intro, entries


def declaration(lines: list[str], at: int) -> tuple[str, int]:
    """What a comment documents: the declarations up to the next blank line or comment outside braces."""
    taken: list[str] = []
    depth = 0
    while at < len(lines):
        line = lines[at]
        if depth == 0 and taken and (not line.strip() or line.startswith('/*')):
            break
        if line.strip():
            taken.append(line)
        bare = re.sub(r'/\*.*?\*/', '', line)
        depth += bare.count('{') - bare.count('}')
        at += 1
    kept = [line for line in taken if not line.startswith(('TM_ASSERT', '#pragma'))]
    return '\n'.join(kept), at


def body_of(comment: list[str]) -> str:
    """The comment as Markdown: text, a list of parameters, what it returns."""
    text = '\n'.join(comment)
    parts = re.split(r'^(?=@)', text, flags=re.MULTILINE)
    out = [prose(parts[0])]
    for part in parts[1:]:
        word, _, rest = part.partition(' ')
        if word == '@param':
            name, _, meaning = rest.strip().partition(' ')
            out.append(f'- `{name}`: {prose(meaning)}')
        elif word == '@return':
            out.append('\n**Returns**\n\n```text\n' + undented(rest) + '\n```')
        else:
            out.append(f'\n{prose(rest)}' if word == '@note' else f'\n**{word[1:].capitalize()}**: {prose(rest)}')
    return '\n'.join(out).replace('\n- `', '\n\n- `', 1)


def prose(text: str) -> str:
    """Paragraphs as they are; a list with (1), (2) keeps its lines. Nothing in it is markup."""
    text = re.sub(r'\n[ \t]*(?=\(\d+\))', '\n\n', text.strip())
    text = re.sub(r'\n[ \t]+', '\n', text)
    text = text.replace('<', '&lt;')
    return re.sub(r'(?<![`\w])(\w*_\w+|\w+\(\))(?![`\w])', r'`\1`', re.sub(r'`([^`]*)`', r'\1', text)).replace('*', r'\*')


def undented(text: str) -> str:
    """Lines after the first lose what they are indented by together."""
    first, *others = text.rstrip().split('\n')
    indent = min((len(line) - len(line.lstrip()) for line in others if line.strip()), default=0)
    return '\n'.join([first.strip(), *(line[indent:] for line in others)])


def page_of(path: pathlib.Path) -> tuple[str, list[str]]:
    """(the page, the names that it documents)"""
    intro, entries = read_header(path)
    title, _, about = intro[0].partition(' - ')
    out = [f'# {path.name}', '', f'{about or title}'[:1].upper() + f'{about or title}'[1:], '']
    rest = '\n'.join(intro[1:]).strip('\n')
    if rest:
        out += ['```text', rest, '```', '']
    names: list[str] = []
    for entry in entries:
        names += entry.names
        out += [f'## {", ".join(entry.names)}', '', '```c', entry.code, '```', '', body_of(entry.comment), '']
    return '\n'.join(out), names
