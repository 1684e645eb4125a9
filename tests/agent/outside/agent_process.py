# SPDX-License-Identifier: Apache-2.0
"""A v6compd of one's own, in a folder of its own, asked by v6compctl."""
from __future__ import annotations

import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Any, Callable

SKIPPED = 77  # what ctest takes for skipped
PATIENCE = 60.0  # seconds; a busy machine is slow

programs = {"v6compd": "", "v6compctl": ""}


class Agent:
    def __init__(self, folder: Path, *options: str) -> None:
        self.folder = folder
        self.control = str(folder / "control")
        self.options = [*options, "--trace", str(folder / "trace"), "--journal", str(folder / "journal"), "--control",
                        self.control, "--gather-ms", "10"]
        self.log_file = folder / "log"
        self.process: subprocess.Popen[bytes] | None = None

    def start(self) -> None:
        with open(self.log_file, "ab") as log:
            self.process = subprocess.Popen([programs["v6compd"], *self.options], stderr=log, stdout=log)
        wait_for("v6compd answers", lambda: self.process.poll() is not None or self.ask("status").returncode != 3)
        if self.process.poll() is not None:
            raise AssertionError(f"v6compd ended with {self.process.returncode}: {self.log()}")

    def stop(self, number: int = signal.SIGTERM) -> int:
        self.process.send_signal(number)
        return self.process.wait(PATIENCE)

    def end(self) -> None:
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def log(self) -> str:
        return self.log_file.read_text()

    def ask(self, *words: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run([programs["v6compctl"], "--control", self.control, *words], capture_output=True,
                              text=True, timeout=PATIENCE)

    def answers(self, *words: str) -> list[dict[str, Any]]:
        return [json.loads(line) for line in self.ask("--json", *words).stdout.splitlines()]

    def status(self) -> dict[str, Any]:
        return self.answers("status")[0]

    def routes(self) -> dict[str, int]:
        """Prefix to port, of all routes that the switch has."""
        return {row["prefix"]: row["egress"] for row in self.answers("rows") if row.get("route")}


def free_port() -> int:
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def wait_for(what: str, holds: Callable[[], bool]) -> None:
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise AssertionError(f"{what}: not within {PATIENCE:.0f} s")
        time.sleep(0.02)


class AgentTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def agent(self, *options: str) -> Agent:
        agent = Agent(self.folder, *options)
        self.addCleanup(agent.end)
        return agent


def skip(why: str) -> None:
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def main() -> None:
    """SCRIPT V6COMPD V6COMPCTL [unittest's arguments]"""
    programs["v6compd"], programs["v6compctl"] = (os.path.abspath(path) for path in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
