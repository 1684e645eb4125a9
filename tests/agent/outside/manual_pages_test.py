#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""manual_pages_test.py V6COMPD V6COMPCTL: the manual pages name what the programs' help names, with the same defaults."""
from __future__ import annotations

import re
import shutil
import subprocess
import unittest
from pathlib import Path

import agent_process
from agent_process import PATIENCE, programs

PAGES = Path(__file__).resolve().parents[3] / "agent" / "man"


def help_of(program: str, *words: str) -> str:
    return subprocess.run([programs[program], *words, "--help"], capture_output=True, text=True, timeout=PATIENCE,
                          check=True).stdout


def page_of(name: str) -> str:
    return (PAGES / name).read_text(encoding="utf-8").replace("\\-", "-")


class ManualPages(unittest.TestCase):
    def test_options_are_those_of_the_help(self) -> None:
        for program, page in (("v6compd", "v6compd.8"), ("v6compctl", "v6compctl.1")):
            with self.subTest(program=program):
                named = set(re.findall(r"^ +(?:-\w,)?(--[\w-]+)", help_of(program), flags=re.MULTILINE))
                options = page_of(page).split(".SH OPTIONS")[1].split(".SH ")[0]
                heads = re.findall(r"^\.TP\n(.*)$", options, flags=re.MULTILINE)
                told = {option for head in heads for option in re.findall(r"--[\w-]+", head)}
                self.assertGreater(len(named), 3)
                self.assertEqual(told, named)

    def test_defaults_are_those_of_the_help(self) -> None:
        defaults = re.findall(r"^ +(--[\w-]+) (?:TEXT|UINT[^=]*)=(\S+)", help_of("v6compd"), flags=re.MULTILINE)
        self.assertGreater(len(defaults), 8)
        page = page_of("v6compd.8")
        for option, default in defaults:
            with self.subTest(option=option):
                entry = page.split(f'.BI {option} "')[1].split("\n.TP")[0]
                self.assertIn(f"({default})", entry)

    def test_commands_are_those_of_the_help(self) -> None:
        named = set(re.findall(r"^  ([a-z]+)  ", help_of("v6compctl").split("Subcommands:")[1], flags=re.MULTILINE))
        told = set(re.findall(r"^\.TP\n\.B ([a-z]+)$", page_of("v6compctl.1").split(".SH OPTIONS")[0], flags=re.MULTILINE))
        self.assertEqual(told, named)

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is missing: scripts/setup test installs it")
    def test_pages_are_well_formed(self) -> None:
        for page in PAGES.iterdir():
            lint = subprocess.run(["mandoc", "-Tlint", "-W", "warning", page], capture_output=True, text=True, check=False)
            self.assertEqual((lint.returncode, lint.stdout), (0, ""))


if __name__ == "__main__":
    agent_process.main()
