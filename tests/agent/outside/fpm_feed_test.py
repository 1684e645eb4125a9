#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""fpm_feed_test.py V6COMPD V6COMPCTL: a routing daemon that connects, is lost, and comes back."""
from __future__ import annotations

import ipaddress
import socket
import struct
import threading

import agent_process
from agent_process import Agent, AgentTest, free_port, wait_for

QUIET_MS = 300
NEW, GONE = 24, 25  # RTM_NEWROUTE, RTM_DELROUTE
PREFIXES = [f"2001:db8:{i:x}::/48" for i in range(1, 41)]


def frame(prefix: str, kind: int = NEW) -> bytes:
    """A route by interface 7 in a netlink message, framed."""
    network = ipaddress.IPv6Network(prefix)
    route = struct.pack("=BBBBBBBBI", socket.AF_INET6, network.prefixlen, 0, 0, 254, 0, 0, 1, 0)
    route += struct.pack("=HH16s", 20, 1, network.network_address.packed) + struct.pack("=HHI", 8, 4, 7)
    message = struct.pack("=IHHII", 16 + len(route), kind, 0, 0, 0) + route
    return struct.pack("!BBH", 1, 1, 4 + len(message)) + message


class FpmFeed(AgentTest):
    def setUp(self) -> None:
        super().setUp()
        self.port = free_port()
        self.agent_ = self.agent("--fpm", f"127.0.0.1:{self.port}", "--quiet-ms", str(QUIET_MS), "--port", "7=3",
                                 "--metrics", "")
        self.agent_.start()

    def connect(self) -> socket.socket:
        daemon = socket.create_connection(("127.0.0.1", self.port), agent_process.PATIENCE)
        self.addCleanup(daemon.close)
        return daemon

    def wait_until(self, feed: str, prefixes: list[str]) -> None:
        agent: Agent = self.agent_
        wait_for(f"feed {feed} with {len(prefixes)} routes",
                 lambda: agent.status()["feed"] == feed and agent.routes() == {prefix: 3 for prefix in prefixes})

    def test_a_daemon_that_comes_back_with_less(self) -> None:
        daemon = self.connect()
        daemon.sendall(b"".join(frame(prefix) for prefix in PREFIXES))
        self.wait_until("up", PREFIXES)
        daemon.sendall(frame(PREFIXES[0], GONE))
        self.wait_until("up", PREFIXES[1:])
        daemon.close()
        self.wait_until("down", PREFIXES[1:])
        self.connect().sendall(b"".join(frame(prefix) for prefix in PREFIXES[10:]))
        self.wait_until("up", PREFIXES[10:])

    def test_changes_that_never_cease(self) -> None:
        """The table ends all the same: what did not come again goes."""
        daemon = self.connect()
        daemon.sendall(b"".join(frame(prefix) for prefix in PREFIXES))
        self.wait_until("up", PREFIXES)
        daemon.close()
        self.wait_until("down", PREFIXES)
        daemon = self.connect()
        daemon.sendall(b"".join(frame(prefix) for prefix in PREFIXES[10:]))
        done = threading.Event()

        def change() -> None:
            while not done.wait(QUIET_MS / 1000 / 20):
                daemon.sendall(frame(PREFIXES[-1]))

        changing = threading.Thread(target=change)
        changing.start()
        try:
            self.wait_until("up", PREFIXES[10:])
        finally:
            done.set()
            changing.join()

    def test_a_frame_that_makes_no_sense(self) -> None:
        daemon = self.connect()
        daemon.sendall(frame(PREFIXES[0]))
        self.wait_until("up", PREFIXES[:1])
        daemon.sendall(struct.pack("!BBH", 9, 9, 9))
        self.assertEqual(daemon.recv(1), b"")  # hung up
        self.wait_until("down", PREFIXES[:1])
        self.assertIn("the connection is given up: a frame of version 9", self.agent_.log())
        self.connect().sendall(frame(PREFIXES[1]))
        self.wait_until("up", PREFIXES[1:2])


if __name__ == "__main__":
    agent_process.main()
