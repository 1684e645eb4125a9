#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_surface.py V6COMP SHARE SOURCE CHECK: do the parser, the help, the man pages and the completions agree?

CHECK is one of names, values, man, header."""
import pathlib
import re
import subprocess
import sys
import tempfile

import shells

tool, share, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])


def run(*arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False)


def help_of(command):
    return run(*command, "--help").stdout


def commands():
    listed = re.search(r"^Commands:\n(.*?)\n\n", help_of([]), re.S | re.M).group(1)
    return re.findall(r"^  (\w+)", listed, re.M)


def options_in_help(command):
    return {name for line in re.findall(r"^ {2,6}(-[^ ].*)$", help_of(command), re.M)
            for name in re.findall(r"(?:^|, )(--?[A-Za-z][\w-]*)", line)}


def man_text(page):
    return subprocess.run(["man", "--no-hyphenation", "-l", page], capture_output=True, text=True, check=True,
                          env={"MANWIDTH": "100", "LC_ALL": "C.UTF-8", "PATH": "/usr/bin:/bin"}).stdout


def options_in_man(command):
    page = man_text(share / "man/man1" / ("-".join(["v6comp", *command]) + ".1"))
    section = re.search(r"^OPTIONS\n(.*?)^[A-Z]", page, re.S | re.M).group(1)
    return {name for line in re.findall(r"^ {7}(-.*)$", section, re.M)
            for name in re.findall(r"(?:^|, )(--?[A-Za-z][\w-]*)", line)}


def is_known_to_the_parser(command, name):
    """Asked without its value and without what else the command wants: any complaint but that it is unknown."""
    answer = run(*command, name)
    return f"no option {name}" not in answer.stderr


def offered(ask, command, beginning):
    return {word for word in ask(" ".join(["v6comp", *command, beginning])) if word.startswith("-")}


def check_names():
    with tempfile.TemporaryDirectory() as scratch:
        zsh = shells.Zsh(share, scratch)
        asked = {"bash with its package": lambda line: shells.bash(share, line, True),
                 "bash alone": lambda line: shells.bash(share, line, False),
                 "fish": lambda line: shells.fish(share, line)}
        for command in [[], *([name] for name in commands())]:
            names = options_in_help(command)
            assert {"-q", "--quiet", "-h", "--help", "-V", "--version"} <= names, (command, names)
            assert options_in_man(command) == names, (command, options_in_man(command) ^ names)
            for shell, ask in asked.items():
                found = offered(ask, command, "-") | offered(ask, command, "--")
                assert found == names, (shell, command, found ^ names)
            found = offered(zsh, command, "--")
            long_names = {name for name in names if name.startswith("--")}
            assert found == long_names, ("zsh", command, found ^ long_names)
            assert not is_known_to_the_parser(command, "--nothing-of-that-name")
            for name in names:
                assert is_known_to_the_parser(command, name), (command, name)
        for ask in [*asked.values(), zsh]:
            assert set(ask("v6comp ")) >= set(commands()), ask("v6comp ")
        pages = {page.name for page in (share / "man/man1").iterdir()}
        assert pages == {"v6comp.1", *(f"v6comp-{name}.1" for name in commands())}, pages


def check_values():
    with tempfile.TemporaryDirectory() as scratch:
        zsh = shells.Zsh(share, scratch)
        for ask in (lambda line: shells.bash(share, line, True), lambda line: shells.bash(share, line, False),
                    lambda line: shells.fish(share, line), zsh):
            words = lambda line: {re.sub(r"^.*[=,]", "", word) for word in ask(line)}
            assert words("v6comp compress --format ") == {"text", "json", "ndjson", "csv"}, ask("v6comp compress --format ")
            assert words("v6comp compress --format nd") == {"ndjson"}
            assert words("v6comp compress --format=js") == {"json"}, ask("v6comp compress --format=js")
            assert words("v6comp compress -f cs") == {"csv"}
            assert words("v6comp help comp") == {"compress"}
            assert words("v6comp comp") == {"compress"}
            assert words("v6comp list --fields w") == {"weight"}, ask("v6comp list --fields w")
            assert "prefix" in words("v6comp list --fields weight,pre"), ask("v6comp list --fields weight,pre")
            assert words("v6comp verify --seed ") == set(), ask("v6comp verify --seed ")
            files = {word.rstrip("/") for word in ask(f"v6comp compress {source}/READ")}
            assert any(word.endswith("README.md") for word in files), files


def check_man():
    pages = sorted((share / "man").glob("man*/*"))
    assert len(pages) > 10, pages
    for page in pages:
        lint = subprocess.run(["mandoc", "-Tlint", "-W", "warning", page], capture_output=True, text=True, check=False)
        assert lint.returncode == 0 and lint.stdout == "", lint.stdout
        groff = subprocess.run(["man", "--warnings", "-l", page], capture_output=True, text=True, check=True,
                               env={"LC_ALL": "C.UTF-8", "MANWIDTH": "100", "PATH": "/usr/bin:/bin"})
        assert groff.stderr == "", groff.stderr
        for other, section in re.findall(r"([a-z][a-z0-9_-]+)\((\d)\)", groff.stdout[groff.stdout.index("SEE ALSO"):]):
            if other not in page.name:
                assert (share / f"man/man{section}/{other}.{section}").exists(), (page.name, other)


def check_header():
    """The page of the tables names what their header declares, with the same arguments."""
    header = (source / "table/zel_v6comp_table.h").read_text()
    page = " ".join(man_text(share / "man/man3/zel_v6comp_table.3").split())
    declared = [" ".join(text.split()) for text in re.findall(r"^TM_API (.*?;)", header, re.S | re.M)]
    assert len(declared) > 10, declared
    described = page[page.index("DESCRIPTION"):]
    for declaration in declared:
        assert declaration in page, declaration
        name = re.search(r"(zel_v6comp_table_\w+)\(", declaration).group(1)
        assert f"{name}()" in described, name
    for status in re.findall(r"(ZEL_V6COMP_TABLE_E_\w+) =", header):
        assert status in page, status


{"names": check_names, "values": check_values, "man": check_man, "header": check_header}[sys.argv[4]]()
