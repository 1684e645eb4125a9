#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_site.py SITE: every link of the site leads to a page and an anchor that are there, and no page loads anything from
elsewhere. Links to other sites in the text are counted and not followed."""
from __future__ import annotations

import html.parser
import pathlib
import sys
import urllib.parse

LOADS = {('script', 'src'), ('img', 'src'), ('link', 'href'), ('source', 'src'), ('iframe', 'src'), ('form', 'action')}
NO_LOAD = {'canonical', 'prev', 'next', 'alternate'}  # relations that a browser does not fetch


class Page(html.parser.HTMLParser):
    def __init__(self, path: pathlib.Path):
        super().__init__()
        self.anchors: set[str] = set()
        self.links: list[tuple[str, bool, int]] = []  # target, whether it is loaded, line
        self.feed(path.read_text(encoding='utf-8'))

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        given = {name: value or '' for name, value in attrs}
        self.anchors.update(value for name, value in given.items() if name in ('id', 'name'))
        for name in ('href', 'src', 'action'):
            if name in given:
                loaded = (tag, name) in LOADS and given.get('rel') not in NO_LOAD
                self.links.append((given[name], loaded, self.getpos()[0]))


def main() -> None:
    site = pathlib.Path(sys.argv[1]).resolve()
    pages = {path: Page(path) for path in site.rglob('*.html') if path.name != '404.html'}
    faults, inside, outside = [], 0, 0
    for path, page in pages.items():
        for link, loaded, line in page.links:
            parts = urllib.parse.urlsplit(link)
            where = f'{path.relative_to(site)}:{line}'
            if parts.scheme or parts.netloc:
                outside += 1
                if loaded and parts.scheme != 'data':
                    faults.append(f'{where}: loads {link}')
                continue
            inside += 1
            target = path if not parts.path else (path.parent / urllib.parse.unquote(parts.path)).resolve()
            if target.is_dir():
                target = target / 'index.html'
            if not target.exists():
                faults.append(f'{where}: {link} is not there')
            elif parts.fragment and target in pages and urllib.parse.unquote(parts.fragment) not in pages[target].anchors:
                faults.append(f'{where}: {link} has no such anchor')
    print('\n'.join(faults + [f'{len(pages)} pages, {inside} links, {outside} to other sites, {len(faults)} faults']))
    sys.exit(1 if faults or not pages else 0)


if __name__ == '__main__':
    main()
