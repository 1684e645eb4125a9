# SPDX-License-Identifier: Apache-2.0
"""Packets into the switch, and what comes out of it. Runs in the namespace of the hosts, asked line by line on its
standard input, answering in JSON on its standard output."""
from __future__ import annotations

import json
import logging
import select
import socket
import sys
import threading
import time

logging.getLogger("scapy.runtime").setLevel(logging.ERROR)
from scapy.layers.inet import UDP  # noqa: E402
from scapy.layers.inet6 import IPv6  # noqa: E402
from scapy.layers.l2 import Ether  # noqa: E402

ETH_P_IPV6 = 0x86DD
MAGIC = b"v6lab"
PAUSE = 0.0004  # seconds between packets: what the userspace datapath takes without loss
SETTLE = 0.3  # seconds to wait for the last packets


def open_raw(interface: str) -> socket.socket:
    raw = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_IPV6))
    raw.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 32 << 20)
    raw.bind((interface, ETH_P_IPV6))
    return raw


class Hosts:
    def __init__(self, sender: str, sinks: dict[int, str]):
        self.sender = open_raw(sender)
        self.sinks = {open_raw(name): port for port, name in sinks.items()}
        self.arrived: dict[int, int] = {}  # number of a packet -> port; -1 when it came by two
        self.next = 0
        self.frames: list[bytes] = []
        threading.Thread(target=self.listen, daemon=True).start()

    def listen(self) -> None:
        while True:
            for sink in select.select(list(self.sinks), [], [])[0]:
                frame, where = sink.recvfrom(2048)
                at = frame.find(MAGIC)
                if where[2] == socket.PACKET_OUTGOING or at < 0:
                    continue
                number = int.from_bytes(frame[at + len(MAGIC) : at + len(MAGIC) + 8], "big")
                port = self.sinks[sink]
                self.arrived[number] = port if self.arrived.get(number, port) == port else -1

    def prepare(self, probes: list[list]) -> None:
        """Frames by scapy, with room for a number; the checksum is left to nobody: sinks do not look."""
        self.frames = []
        for source, destination, port in probes:
            packet = Ether(src="02:00:00:00:00:01", dst="02:00:00:00:00:02") / IPv6(src=source, dst=destination)
            self.frames.append(bytes(packet / UDP(sport=4096, dport=port) / (MAGIC + bytes(8))))

    def send(self, index: int) -> int:
        number = self.next
        self.next += 1
        self.sender.send(self.frames[index][:-8] + number.to_bytes(8, "big"))
        time.sleep(PAUSE)
        return number

    def send_each(self, indexes: list[int]) -> list[int]:
        """One packet for each; where it came out, 0 for nowhere."""
        numbers = [self.send(i) for i in indexes]
        time.sleep(SETTLE)
        return [self.arrived.pop(n, 0) for n in numbers]

    def flow(self, seconds: float) -> list[list[float]]:
        """Round and round for so long: [index, time sent, port] of every packet."""
        end = time.monotonic() + seconds
        sent = []
        while time.monotonic() < end:
            index = len(sent) % len(self.frames)
            sent.append((index, time.monotonic(), self.send(index)))
        time.sleep(SETTLE)
        return [[index, when, self.arrived.pop(number, 0)] for index, when, number in sent]


def main() -> None:
    hosts = Hosts(sys.argv[1], {int(a.split("=")[0]): a.split("=")[1] for a in sys.argv[2:]})
    for line in sys.stdin:
        asked = json.loads(line)
        answer: object = None
        if asked["do"] == "prepare":
            hosts.prepare(asked["probes"])
        elif asked["do"] == "send":
            answer = hosts.send_each(asked["indexes"])
        elif asked["do"] == "flow":
            answer = hosts.flow(asked["seconds"])
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
