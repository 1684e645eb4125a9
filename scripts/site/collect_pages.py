#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""collect_pages.py SOURCE TOOL PAGES: write what the site is made of to the folder PAGES.

The pages of docs/ and the README; a page for each public header; a page for each command of the tool, as it prints its help;
and PAGES/../mkdocs.yml, which says in what order. Links that lead out of docs/ lead to a copy of the file."""
from __future__ import annotations

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import header_page

# Pages of docs/ that are not named here stand under "More".
GUIDES = {
    'Start': ['index.md', 'quick-start.md', 'concepts.md', 'glossary.md'],
    'Guides': ['operator-guide.md', 'host-guide.md', 'driver-guide.md', 'cpp.md', 'python.md', 'acl.md', 'switch.md'],
    'Topics': ['tool.md', 'updates.md', 'hardware.md', 'capacity.md', 'limits.md', 'performance.md', 'reliability.md'],
    'Inside': ['architecture.md', 'engine-interface.md', 'abi.md', 'contributing.md', 'security.md', 'changelog.md']}
ROOT_PAGES = {'README.md': 'index.md', 'CONTRIBUTING.md': 'contributing.md', 'SECURITY.md': 'security.md',
              'CHANGELOG.md': 'changelog.md'}
HEADERS = {
    'Tables': ['table'],
    'Requests and instances': ['zel_v6comp_lib'],
    'Engine': ['common/src/tcam_ipv6prefix/' + room for room in
               ('records', 'list', 'full', 'batch', 'stored', 'query', 'plan')],
    'Containers': ['common/src/tm_utils'],
    'Platform': ['platform']}


def place(target: pathlib.Path, source: pathlib.Path, pages: pathlib.Path) -> str:
    """Where a file of the project is in the site. What is outside docs/ gets a copy."""
    if str(target) in ROOT_PAGES:
        return ROOT_PAGES[str(target)]
    if target.parts[0] == 'docs':
        return str(target.relative_to('docs'))
    copy = pages / 'files' / f'{target}.txt'
    copy.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(source / target, copy)  # fails for what is not there, or is a folder
    return str(copy.relative_to(pages))


def moved(link: str, page: pathlib.Path, name: str, source: pathlib.Path, pages: pathlib.Path) -> str:
    """Where a link of a page leads in the site."""
    path, hash_mark, anchor = link.partition('#')
    if '://' in path or path.startswith('mailto:') or not path:
        return link
    target = pathlib.Path(os.path.normpath(page.parent / path)).relative_to(source)
    return os.path.relpath(place(target, source, pages), os.path.dirname(name) or '.') + hash_mark + anchor


def copy_page(page: pathlib.Path, name: str, source: pathlib.Path, pages: pathlib.Path) -> None:
    text = re.sub(r'^<!-- page: .* -->\n', '', page.read_text(encoding='utf-8'), flags=re.MULTILINE)
    blocks = re.split(r'(^```.*?^```$)', text, flags=re.DOTALL | re.MULTILINE)
    for at in range(0, len(blocks), 2):  # between the blocks of code
        blocks[at] = re.sub(r'\]\(([^()\s]+)\)', lambda found: f']({moved(found.group(1), page, name, source, pages)})', blocks[at])
    (pages / name).write_text(''.join(blocks), encoding='utf-8')


def copy_guides(source: pathlib.Path, pages: pathlib.Path) -> list[dict[str, list[str]]]:
    docs = source / 'docs'
    shutil.copytree(docs, pages, dirs_exist_ok=True, ignore=shutil.ignore_patterns('*.md', 'man', 'api'))
    for name, new_name in ROOT_PAGES.items():
        copy_page(source / name, new_name, source, pages)
    for page in docs.rglob('*.md'):
        copy_page(page, str(page.relative_to(docs)), source, pages)
    there = {str(page.relative_to(pages)) for page in pages.rglob('*.md')} - {'schemas/README.md'}
    nav = [{title: [name for name in names if name in there]} for title, names in GUIDES.items()]
    more = sorted(there - {name for names in GUIDES.values() for name in names})
    return nav + ([{'More': more}] if more else [])


def header_pages(source: pathlib.Path, pages: pathlib.Path) -> list[dict[str, list[str]]]:
    """The reference of the interface. Every exported name must be in it."""
    (pages / 'reference').mkdir()
    nav, documented = [], set()
    for title, folders in HEADERS.items():
        names = []
        for header in sorted(path for folder in folders for path in (source / folder).glob('*.h')):
            if not re.search(r'^(TM_API_BEGIN|extern "C" \{)$', header.read_text(encoding='utf-8'), flags=re.MULTILINE):
                continue  # shows nothing to hosts
            page, declared = header_page.page_of(header)
            documented.update(declared)
            names.append(f'reference/{header.stem}.md')
            (pages / names[-1]).write_text(page, encoding='utf-8')
        nav.append({title: names})
    nav.insert(1, {'C++': cxx_pages(source, pages)})
    exports = re.sub(r'#[^\n]*', '', (source / 'zel_v6comp_lib/exports.map').read_text(encoding='utf-8'))
    missing = sorted(set(re.findall(r'^\s+([a-z]\w*);', exports.split('local:')[0], flags=re.MULTILINE)) - documented)
    if missing:
        sys.exit(f'exported and not in the reference: {", ".join(missing)}')
    return nav


def cxx_pages(source: pathlib.Path, pages: pathlib.Path) -> list[str]:
    """The C++ headers as they stand: they say at each place what it is."""
    names = []
    for header in sorted((source / 'bindings/cpp').glob('*.hpp')):
        text = header.read_text(encoding='utf-8').partition('\n')[2]  # without the line of the licence
        names.append(f'reference/{header.stem}_hpp.md')
        (pages / names[-1]).write_text(f'# {header.name}\n\n```cpp\n{text}```\n', encoding='utf-8')
    return names


def tool_pages(tool: pathlib.Path, pages: pathlib.Path) -> list[str]:
    """The help of each command, as it is printed."""
    (pages / 'commands').mkdir()

    def printed(*words: str) -> str:
        environment = {'PATH': '/usr/bin:/bin', 'LC_ALL': 'C.UTF-8', 'COLUMNS': '90'}
        return subprocess.run([tool, *words], check=True, capture_output=True, text=True, env=environment).stdout

    first = printed('--help')
    commands = re.findall(r'^  ([a-z]+)  +\S', first.partition('Commands:\n')[2].partition('\n\n')[0], flags=re.MULTILINE)
    if 'compress' not in commands:
        sys.exit('the tool names no commands in its help')
    nav = []
    for name, text in [('v6comp', first), *((name, printed('help', name)) for name in commands if name != 'help')]:
        title = 'v6comp' if name == 'v6comp' else f'v6comp {name}'
        (pages / 'commands' / f'{name}.md').write_text(f'# {title}\n\n```text\n{text}```\n', encoding='utf-8')
        nav.append(f'commands/{name}.md')
    return nav


def main() -> None:
    source, tool, pages = (pathlib.Path(word).resolve() for word in sys.argv[1:])
    shutil.rmtree(pages, ignore_errors=True)
    pages.mkdir(parents=True)
    shutil.copy(pathlib.Path(__file__).parent / 'site.css', pages)
    nav = copy_guides(source, pages)
    nav.append({'Reference': [{'The tool': tool_pages(tool, pages) + ['schemas/README.md']}, *header_pages(source, pages)]})
    looks = (pathlib.Path(__file__).parent / 'mkdocs.yml').read_text(encoding='utf-8')
    (pages.parent / 'mkdocs.yml').write_text(f'{looks}docs_dir: {pages}\nnav: {json.dumps(nav)}\n', encoding='utf-8')


if __name__ == '__main__':
    main()
