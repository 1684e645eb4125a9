#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""daemon_test.py V6COMPD V6COMPCTL: both programs as their users see them, the routes in a file."""
from __future__ import annotations

import os
import re
import signal
import socket
import subprocess
import threading
import urllib.error
import urllib.request
from unittest import mock

import agent_process
from agent_process import PATIENCE, Agent, AgentTest, free_port, programs, wait_for

TABLE = ["2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:2::/64", "2001:db9::/32"]
RULES = """name,source,destination,verdict
office,2001:db8:1::/48,2001:db9::/32,accept
rest,2001:db8::/32,2001:db9::/32,drop
"""
FULL_RULES = 3  # those two, and what is done otherwise


class Daemon(AgentTest):
    def setUp(self) -> None:
        super().setUp()
        self.table = self.folder / "table.txt"
        self.rules = self.folder / "rules.csv"
        self.write_table(TABLE)
        self.rules.write_text(RULES)

    def write_table(self, prefixes: list[str]) -> None:
        new = self.folder / "new"
        new.write_text("\n".join(prefixes) + "\n")
        new.rename(self.table)

    def serve(self, *options: str) -> Agent:
        agent = self.agent("--table", str(self.table), "--rules", str(self.rules), *(options or ("--metrics", "")))
        agent.start()
        wait_for("routes and rules", lambda: self.is_whole(agent))
        return agent

    @staticmethod
    def is_whole(agent: Agent) -> bool:
        status = agent.status()
        return (status["feed"], status["routes"], status["pending"], status["rules"]) == ("up", 4, 0, FULL_RULES)

    def verdict(self, agent: Agent, source: str, destination: str) -> str:
        return agent.answers("lookup", source, destination)[0]["verdict"]["action"]

    def test_status(self) -> None:
        agent = self.serve()
        done = agent.ask("status")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout, r"(?m)^state +good$")
        self.assertRegex(done.stdout, r"(?m)^switch.in_step +true$")
        status = agent.status()
        self.assertEqual(status["set_aside"], 0)
        self.assertEqual(status["tables"]["destination"]["prefixes"], 5)  # ::/0 of the last rule too
        self.assertEqual(status["journal"]["batches"], status["counters"]["batches"])

    def test_says_to_the_service_manager_how_it_is(self) -> None:
        address = str(self.folder / "notify")
        said: list[str] = []
        manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(manager.close)
        manager.bind(address)

        def listen() -> None:  # all the time: the agent waits for a manager that does not take its words
            while said[-1:] != ["STOPPING=1"]:
                said.extend(manager.recv(4096).decode().splitlines())

        listener = threading.Thread(target=listen, daemon=True)
        listener.start()
        with mock.patch.dict(os.environ, NOTIFY_SOCKET=address, WATCHDOG_USEC="30000"):
            agent = self.serve()
        wait_for("status", lambda: f"STATUS=good; feed up, 4 routes, {FULL_RULES} rules" in said)
        before = said.count("WATCHDOG=1")
        # At rest by the watchdog alone: what else there is to do would take longer than anybody waits here.
        wait_for("signs of life", lambda: said.count("WATCHDOG=1") >= before + 100)
        self.assertEqual(agent.stop(), 0)
        listener.join(PATIENCE)
        self.assertEqual((said.count("READY=1"), said[-1]), (1, "STOPPING=1"))

    def test_rows(self) -> None:
        agent = self.serve()
        self.assertEqual(agent.routes(), {prefix: 1 for prefix in TABLE})
        keys = {}
        for row in agent.answers("rows"):
            keys[row["table"], row["prefix"]] = row["key"]
        in_trace = re.findall(r"put (source|destination) (\S+) key (0x\w+)", (self.folder / "trace").read_text())
        self.assertEqual({(table, prefix): key for table, prefix, key in in_trace}, keys)
        done = agent.ask("rows")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(len(done.stdout.splitlines()), len(keys))
        self.assertRegex(done.stdout, r"(?m)^destination +2001:db9::/32 .* port 1$")

    def test_lookup(self) -> None:
        agent = self.serve()
        answer = agent.answers("lookup", "2001:db8:1:2::3")[0]
        self.assertEqual(answer["destination"]["prefix"], "2001:db8:1:2::/64")
        self.assertEqual(answer["source"]["prefix"], "2001:db8:1::/48")
        self.assertNotIn("verdict", answer)
        self.assertEqual(self.verdict(agent, "2001:db8:1::1", "2001:db9::1"), "permit")
        self.assertEqual(self.verdict(agent, "2001:db8:2::1", "2001:db9::1"), "deny")
        done = agent.ask("lookup", "10.0.0.1")
        self.assertEqual((done.returncode, done.stderr), (1, "v6compctl: 10.0.0.1: not an IPv6 address\n"))

    def test_fit(self) -> None:
        agent = self.serve()
        self.assertEqual(agent.ask("fit").returncode, 0)
        answer = agent.answers("fit")[0]
        self.assertTrue(answer["fits"])
        self.assertEqual(answer["source"]["bits_left"] + answer["source"]["bits_needed"], 64)
        self.assertGreater(answer["fullest_pool_percent"], 0)

    def test_compact(self) -> None:
        agent = self.serve()
        self.assertEqual(agent.ask("compact").returncode, 0)
        wait_for("a compaction", lambda: agent.status()["counters"]["compactions"] == 1)
        self.assertEqual(agent.routes(), {prefix: 1 for prefix in TABLE})

    def test_reconcile(self) -> None:
        agent = self.serve()
        before = agent.status()["counters"]["reconciliations"]
        trace = self.folder / "trace"
        with open(trace, "a") as other:
            other.write("remove source 2001:db8:1::/48\ndone 1\n")
        self.assertEqual(agent.ask("reconcile").returncode, 0)
        wait_for("a reconciliation", lambda: agent.status()["counters"]["reconciliations"] == before + 1)
        self.assertEqual(agent.status()["counters"]["foreign_entries"], 1)
        self.assertRegex(trace.read_text().splitlines()[-2], "^put source 2001:db8:1::/48 key ")

    def test_a_table_that_is_replaced(self) -> None:
        agent = self.serve()
        self.write_table([*TABLE[1:], "2001:dba::/32"])
        wait_for("the new table", lambda: set(agent.routes()) == {*TABLE[1:], "2001:dba::/32"})
        self.write_table([TABLE[0], "no prefix"])
        wait_for("the fault", lambda: agent.status()["feed"] == "down")
        self.assertIn("table.txt:2: ", agent.log())
        self.assertEqual(set(agent.routes()), {*TABLE[1:], "2001:dba::/32"})

    def test_reload(self) -> None:
        agent = self.serve()
        self.rules.write_text(RULES.replace("accept", "drop"))
        self.assertEqual(self.verdict(agent, "2001:db8:1::1", "2001:db9::1"), "permit")  # not asked yet
        self.assertEqual(agent.ask("reload").returncode, 0)
        wait_for("the new rules", lambda: self.verdict(agent, "2001:db8:1::1", "2001:db9::1") == "deny")

    def test_broken_rules_change_nothing(self) -> None:
        agent = self.serve()
        before = agent.answers("rows")
        self.rules.write_text(RULES + "broken,2001:db8::/129,any,accept\n")
        done = agent.ask("reload")
        self.assertEqual(done.returncode, 1)
        self.assertIn("the old ones stay in force", done.stderr)
        self.assertRegex(done.stderr, r"rules\.csv:4: .")
        self.assertEqual(agent.answers("rows"), before)
        self.assertEqual(self.verdict(agent, "2001:db8:1::1", "2001:db9::1"), "permit")
        self.assertEqual(agent.status()["counters"]["policy_refusals"], 1)
        self.assertEqual(agent.stop(), 0)  # also after a restart
        agent.start()
        self.assertEqual(self.verdict(agent, "2001:db8:1::1", "2001:db9::1"), "permit")

    def test_sighup_reads_the_rules_again(self) -> None:
        agent = self.serve()
        self.rules.write_text(RULES.replace("accept", "drop"))
        agent.process.send_signal(signal.SIGHUP)
        wait_for("the new rules", lambda: self.verdict(agent, "2001:db8:1::1", "2001:db9::1") == "deny")
        self.assertIsNone(agent.process.poll())

    def test_a_stop_and_a_start_write_nothing(self) -> None:
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = self.serve()
            before = agent.answers("rows")
            trace = (self.folder / "trace").read_bytes()
            self.assertEqual(agent.stop(number), 0)
            self.assertIn("asked to stop", agent.log())
            self.assertFalse((self.folder / "control").exists())
            self.assertEqual(agent.ask("status").returncode, 3)
            agent = self.serve()
            self.assertEqual(agent.answers("rows"), before)
            self.assertEqual((self.folder / "trace").read_bytes(), trace)
            self.assertEqual(agent.stop(), 0)

    def test_a_second_agent_on_one_journal_is_refused(self) -> None:
        first = self.serve()
        before = first.answers("rows")
        done = subprocess.run([programs["v6compd"], *first.options], capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 3)
        self.assertRegex(done.stderr, "journal.*locked")
        self.assertEqual(first.answers("rows"), before)  # its socket is still there
        self.assertEqual(first.stop(), 0)

    def test_a_file_in_the_place_of_the_socket_is_kept(self) -> None:
        (self.folder / "control").write_text("mine")
        agent = self.agent("--table", str(self.table), "--metrics", "")
        done = subprocess.run([programs["v6compd"], *agent.options], capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 3)
        self.assertRegex(done.stderr, "control: .*in use")
        self.assertEqual((self.folder / "control").read_text(), "mine")

    def test_metrics_and_health(self) -> None:
        port = free_port()
        base = f"http://127.0.0.1:{port}"
        agent = self.serve("--metrics", f"127.0.0.1:{port}")

        def read(path: str) -> tuple[int, str]:
            try:
                with urllib.request.urlopen(base + path, timeout=PATIENCE) as answer:
                    return answer.status, answer.read().decode()
            except urllib.error.HTTPError as error:
                return error.code, error.read().decode()

        wait_for("figures", lambda: '\nv6comp_prefixes{table="destination"} 5\n' in read("/metrics")[1])
        text = read("/metrics")[1]
        self.assertIn("\nv6comp_routes 4\n", text)
        self.assertIn('\nv6comp_feed{state="up"} 1\n', text)
        self.assertIn(f"\nv6comp_rules {FULL_RULES}\n", text)
        wait_for("health", lambda: read("/healthz") == (200, "good\n"))
        self.assertEqual(read("/nothing")[0], 404)
        self.rules.write_text("")
        self.assertEqual(agent.ask("reload").returncode, 1)
        wait_for("a refusal in the figures", lambda: "\nv6comp_policy_refusals_total 1\n" in read("/metrics")[1])

    def test_requests_that_make_no_sense(self) -> None:
        agent = self.serve()
        for request in (b"\n", b"[]\n", b"{\n", b'{"command": 5}\n', b'{"command": "fly"}\n', b"\xff\xfe\n",
                        b'{"command": "\xc3\x28"}\n', b'{"command": "lookup", "address": []}\n'):
            with socket.socket(socket.AF_UNIX) as asking:
                asking.connect(agent.control)
                asking.settimeout(PATIENCE)
                asking.sendall(request)
                self.assertIn(b'"error"', asking.recv(1 << 16), request)
        with socket.socket(socket.AF_UNIX) as asking:
            asking.connect(agent.control)
            asking.settimeout(PATIENCE)
            try:
                for _ in range(64):
                    asking.sendall(b"x" * 4096)
                self.assertEqual(asking.recv(1), b"")
            except (BrokenPipeError, ConnectionResetError):
                pass
        self.assertEqual(agent.ask("status").returncode, 0)

    def test_clients_that_say_nothing_keep_nobody_away(self) -> None:
        agent = self.serve()
        silent = []
        for _ in range(40):
            one = socket.socket(socket.AF_UNIX)
            self.addCleanup(one.close)
            one.connect(agent.control)  # waits its turn, as v6compctl does
            one.settimeout(PATIENCE)
            silent.append(one)
        self.assertEqual(agent.ask("status").returncode, 0)
        self.assertEqual(silent[0].recv(1), b"")  # let go

    def test_help_speaks_in_words(self) -> None:
        said = subprocess.run([programs["v6compd"], "--help"], capture_output=True, text=True, timeout=PATIENCE).stdout
        self.assertIn("--log-level TEXT=info", said)
        self.assertNotIn("->", said)
        self.assertNotIn("{", said)

    def test_usage(self) -> None:
        table = ["--table", str(self.table)]
        for program, words, status in (
            ("v6compd", [], 2),
            ("v6compd", [*table], 2),
            ("v6compd", [*table, "--kernel", "--trace", "-"], 2),
            ("v6compd", [*table, "--trace", "-", "--port", "lo"], 2),
            ("v6compd", [*table, "--trace", "-", "--port", "no-such-link=3"], 2),
            ("v6compd", [*table, "--trace", "-", "--rules-format", "prose"], 2),
            ("v6compd", [*table, "--trace", "-", "--journal", "/nowhere/journal", "--metrics", ""], 3),
            ("v6compd", [*table, "--trace", "-", "--log-level", "loud"], 2),
            ("v6compd", ["--help"], 0),
            ("v6compctl", [], 2),
            ("v6compctl", ["fly"], 2),
            ("v6compctl", ["lookup"], 2),
            ("v6compctl", ["--control", str(self.folder / "nobody"), "status"], 3),
            ("v6compctl", ["--version"], 0),
        ):
            with self.subTest(program=program, words=words):
                done = subprocess.run([programs[program], *words], capture_output=True, text=True, timeout=PATIENCE)
                self.assertEqual(done.returncode, status, done.stderr)
                self.assertNotEqual(done.stdout if status == 0 else done.stderr, "")


if __name__ == "__main__":
    agent_process.main()
