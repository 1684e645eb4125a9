#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""kernel_feed_test.py V6COMPD V6COMPCTL: the kernel's routes in a network namespace of our own, and the agent on them."""
from __future__ import annotations

import json
import os
import shutil
import signal
import subprocess
import sys
import time

import agent_process
from agent_process import Agent, AgentTest, wait_for

INSIDE = "V6COMP_TEST_NAMESPACE"
PORTS = {"left": 7, "right": 8}
OTHER_PORT = 5
LEADS_NOWHERE = {"blackhole", "unreachable", "prohibit", "throw"}


def ip(*words: str) -> str:
    done = subprocess.run(["ip", "-6", *words], capture_output=True, text=True)
    if done.returncode:
        raise AssertionError(f"ip -6 {' '.join(words)}: {done.stderr.strip()}")
    return done.stdout


def ip_batch(lines: list[str]) -> None:
    done = subprocess.run(["ip", "-6", "-batch", "-"], input="\n".join(lines) + "\n", capture_output=True, text=True)
    if done.returncode:
        raise AssertionError(done.stderr[:300])


def port_of(route: dict) -> int:
    if route.get("type") in LEADS_NOWHERE:
        return 0
    hop = route["nexthops"][0] if "nexthops" in route else route
    return PORTS.get(hop.get("dev"), OTHER_PORT)


def kernel_routes(table: str = "main") -> dict[str, int]:
    """What `ip` sees: prefix to the port of its best route."""
    best: dict[str, tuple[int, int]] = {}
    for route in json.loads(ip("-json", "route", "show", "table", table) or "[]"):
        prefix = "::/0" if route["dst"] == "default" else route["dst"]
        prefix += "" if "/" in prefix else "/128"
        found = (route.get("metric", 0), port_of(route))
        best[prefix] = min(best.get(prefix, found), found, key=lambda one: one[0])
    return {prefix: port for prefix, (_, port) in best.items()}


class KernelFeed(AgentTest):
    def setUp(self) -> None:
        super().setUp()
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        self.addCleanup(ip, "route", "flush", "table", "main")
        for link in PORTS:
            ends = link, f"{link}_end"
            subprocess.run(["ip", "link", "add", link, "type", "veth", "peer", "name", ends[1]], check=True)
            self.addCleanup(subprocess.run, ["ip", "link", "del", link], stderr=subprocess.DEVNULL)
            for end in ends:
                with open(f"/proc/sys/net/ipv6/conf/{end}/addr_gen_mode", "w") as mode:
                    mode.write("1")  # no address of its own: nothing changes by itself
                subprocess.run(["ip", "link", "set", end, "up"], check=True)
        ip("addr", "add", "2001:db8:1::1/64", "dev", "left", "nodad")
        ip("addr", "add", "2001:db8:2::1/64", "dev", "right", "nodad")

    def follow(self, *options: str) -> Agent:
        ports = [word for link, port in PORTS.items() for word in ("--port", f"{link}={port}")]
        agent = self.agent("--kernel", *ports, "--other-port", str(OTHER_PORT), "--metrics", "", *options)
        agent.start()
        return agent

    def assert_follows(self, agent: Agent, table: str = "main") -> None:
        """The agent has what the kernel has, within a time."""
        wanted = kernel_routes(table)

        def state() -> tuple[str, str, int]:
            status = agent.status()
            return status["state"], status["feed"], status["routes"]

        try:
            wait_for("the kernel's routes",
                     lambda: agent.routes() == wanted and state() == ("good", "up", len(wanted)))
        except AssertionError:
            self.assertEqual(agent.routes(), wanted, agent.log())
            self.assertEqual(state(), ("good", "up", len(wanted)), agent.log())
            raise

    def test_routes_that_stand_and_routes_that_come_and_go(self) -> None:
        ip("route", "add", "2001:db8:100::/40", "dev", "left")
        ip("route", "add", "blackhole", "2001:db8:dead::/48")
        ip("route", "add", "default", "via", "2001:db8:2::2")
        agent = self.follow()
        self.assert_follows(agent)
        self.assertEqual(agent.routes()["2001:db8:100::/40"], PORTS["left"])
        self.assertEqual(agent.routes()["2001:db8:dead::/48"], 0)
        self.assertEqual(agent.routes()["::/0"], PORTS["right"])

        ip("route", "add", "2001:db8:101::/48", "via", "2001:db8:2::2")
        ip("route", "add", "unreachable", "2001:db8:102::/48")
        ip("route", "add", "2001:db8:103::1/128", "dev", "lo")
        self.assert_follows(agent)
        ip("route", "replace", "2001:db8:101::/48", "dev", "left")
        ip("route", "del", "2001:db8:102::/48")
        ip("route", "del", "default")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()["2001:db8:101::/48"], PORTS["left"])

    def test_other_tables_and_addresses_of_our_own_are_no_routes(self) -> None:
        agent = self.follow()
        ip("route", "add", "2001:db8:200::/48", "dev", "left", "table", "1000")
        ip("addr", "add", "2001:db8:3::1/64", "dev", "left", "nodad")
        ip("route", "add", "2001:db8:201::/48", "dev", "left")
        self.assert_follows(agent)
        self.assertNotIn("2001:db8:200::/48", agent.routes())
        self.assertNotIn("2001:db8:3::1/128", agent.routes())

    def test_a_table_that_was_asked_for(self) -> None:
        ip("route", "add", "2001:db8:200::/48", "dev", "left", "table", "1000")
        agent = self.follow("--kernel-table", "1000")
        ip("route", "add", "2001:db8:201::/48", "dev", "right", "table", "1000")
        self.assert_follows(agent, "1000")
        self.assertEqual(len(agent.routes()), 2)
        ip("route", "flush", "table", "1000")
        wait_for("no routes", lambda: agent.routes() == {})

    def test_the_better_of_two_routes_to_one_prefix(self) -> None:
        prefix = "2001:db8:300::/48"
        ip("route", "add", prefix, "dev", "left", "metric", "10")
        ip("route", "add", prefix, "dev", "right", "metric", "20")
        agent = self.follow()
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], PORTS["left"])
        ip("route", "del", prefix, "dev", "left", "metric", "10")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], PORTS["right"])
        ip("route", "add", "blackhole", prefix, "metric", "5")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], 0)
        ip("route", "del", prefix, "metric", "5")
        ip("route", "add", prefix, "dev", "left", "metric", "30")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], PORTS["right"])
        ip("route", "del", prefix, "metric", "20")
        ip("route", "del", prefix, "metric", "30")
        self.assert_follows(agent)
        self.assertNotIn(prefix, agent.routes())

    def test_several_next_hops_that_go_one_by_one(self) -> None:
        prefix = "2001:db8:301::/48"
        hops = ["nexthop", "via", "2001:db8:1::2"], ["nexthop", "via", "2001:db8:2::2"]
        agent = self.follow()
        ip("route", "add", prefix, *hops[0], *hops[1])
        self.assert_follows(agent)
        ip("route", "del", prefix, "via", "2001:db8:1::2")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], PORTS["right"])
        ip("route", "append", prefix, "via", "2001:db8:1::2")
        ip("route", "del", prefix, "via", "2001:db8:2::2")
        self.assert_follows(agent)
        self.assertEqual(agent.routes()[prefix], PORTS["left"])
        ip("route", "replace", prefix, *hops[0], *hops[1])
        ip("route", "replace", prefix, "via", "2001:db8:2::3")
        ip("route", "append", prefix, "via", "2001:db8:2::4")
        self.assert_follows(agent)
        ip("route", "del", prefix)
        ip("route", "flush", prefix)
        self.assert_follows(agent)
        self.assertNotIn(prefix, agent.routes())

    def test_a_link_that_goes_takes_its_routes_along(self) -> None:
        for i in range(20):
            ip("route", "add", f"2001:db8:{400 + i}::/48", "dev", "right")
        agent = self.follow()
        self.assert_follows(agent)
        subprocess.run(["ip", "link", "set", "right", "down"], check=True)
        self.assert_follows(agent)
        self.assertNotIn("2001:db8:400::/48", agent.routes())
        subprocess.run(["ip", "link", "del", "left"], check=True)
        self.assert_follows(agent)
        self.assertEqual(agent.routes(), {})

    def test_a_flush(self) -> None:
        ip_batch([f"route add 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x1400)])
        agent = self.follow()
        self.assert_follows(agent)
        ip("route", "flush", "root", "2001:db8:1000::/36")
        self.assert_follows(agent)
        ip("route", "flush", "table", "main")
        wait_for("no routes", lambda: agent.routes() == {})

    def test_what_changed_while_the_agent_was_away(self) -> None:
        ip_batch([f"route add 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x1100)])
        agent = self.follow()
        self.assert_follows(agent)
        agent.stop()
        ip_batch([f"route del 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x1080)])
        ip("route", "add", "2001:db8:4444::/48", "dev", "right")
        agent.start()
        self.assert_follows(agent)

    def test_messages_that_were_lost(self) -> None:
        """A stopped agent's buffer overruns; what it missed it reads anew."""
        ip_batch([f"route add 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x1100)])
        agent = self.follow("--expected-prefixes", "65536")
        self.assert_follows(agent)
        os.kill(agent.process.pid, signal.SIGSTOP)
        storm = range(0x4000, 0x7000)
        lines = [f"route {what} 2001:db8:{i:x}::/48 dev right" for i in storm for what in ("add", "del")]
        ip_batch(lines)
        ip_batch([f"route del 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x1080)])
        ip("route", "add", "2001:db8:4444::/48", "dev", "right")
        os.kill(agent.process.pid, signal.SIGCONT)
        wait_for("an overrun", lambda: "is read anew" in agent.log())
        self.assert_follows(agent)
        self.assertIn("2001:db8:4444::/48", agent.routes())

    def test_a_dump_while_routes_change(self) -> None:
        ip_batch([f"route add 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x3000)])
        lines = [f"route del 2001:db8:{i:x}::/48 dev left" for i in range(0x1000, 0x3000, 2)]
        lines += [f"route replace 2001:db8:{i:x}::/48 dev right" for i in range(0x1001, 0x3000, 2)]
        agent = self.follow("--expected-prefixes", "65536")
        ip_batch(lines)
        self.assert_follows(agent)


def enter_namespace() -> None:
    """The same again, in a network namespace of its own; skipped where that is not allowed."""
    if os.environ.get(INSIDE):
        return
    for tool in ("ip", "unshare"):
        if not shutil.which(tool):
            agent_process.skip(f"there is no {tool}")
    for options in (["-n"], ["-Urn"]):
        tried = subprocess.run(["unshare", *options, "ip", "link", "add", "left", "type", "veth", "peer", "name", "right"],
                               capture_output=True)
        if tried.returncode == 0:
            os.environ[INSIDE] = "1"
            os.execvp("unshare", ["unshare", *options, sys.executable, "-B", *sys.argv])
    agent_process.skip("network namespaces are not allowed here")


if __name__ == "__main__":
    enter_namespace()
    agent_process.main()
