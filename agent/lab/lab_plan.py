# SPDX-License-Identifier: Apache-2.0
"""What the lab announces, which rules it has, where it probes, and what must come out: all on 128 bits, by brute force."""
from __future__ import annotations

import dataclasses
import ipaddress
import random
from pathlib import Path

ALL = (1 << 128) - 1
PERMIT, DENY = "permit", "deny"
PORTS = (53, 80, 443, 8080)  # what probes are sent to


@dataclasses.dataclass(frozen=True, order=True)
class Prefix:
    address: int
    length: int

    @property
    def mask(self) -> int:
        return ALL ^ (ALL >> self.length)

    @property
    def last(self) -> int:
        return self.address | (ALL >> self.length)

    def covers(self, address: int) -> bool:
        return address & self.mask == self.address

    def contains(self, other: Prefix) -> bool:
        return self.length <= other.length and self.covers(other.address)

    def __str__(self) -> str:
        return f"{ipaddress.IPv6Address(self.address)}/{self.length}"


ANY = Prefix(0, 0)


def prefix(text: str) -> Prefix:
    network = ipaddress.IPv6Network(text)
    return Prefix(int(network.network_address), network.prefixlen)


@dataclasses.dataclass(frozen=True)
class Rule:
    source: Prefix
    destination: Prefix
    action: str
    ports: tuple[int, int] | None = None  # UDP destination ports, both included

    def matches(self, source: int, destination: int, port: int) -> bool:
        return (
            self.source.covers(source)
            and self.destination.covers(destination)
            and (self.ports is None or self.ports[0] <= port <= self.ports[1])
        )


@dataclasses.dataclass(frozen=True)
class Probe:
    source: int
    destination: int
    port: int


class Verdict:
    """What a packet meets: the switch's port that it leaves by; 0: it does not."""

    def __init__(self, routes: dict[Prefix, int], rules: list[Rule]):
        longest_first = sorted(routes.items(), key=lambda item: -item[0].length)
        self.routes = [(route.mask, route.address, port) for route, port in longest_first]
        self.rules = rules

    def of(self, probe: Probe) -> int:
        for rule in self.rules:
            if rule.matches(probe.source, probe.destination, probe.port):
                if rule.action == DENY:
                    return 0
                break
        destination = probe.destination
        for mask, address, port in self.routes:
            if destination & mask == address:
                return port
        return 0


def read_table(path: Path, most: int) -> list[Prefix]:
    lines = (line.split("#")[0].strip() for line in path.read_text().splitlines())
    return [prefix(line.split()[0]) for line in lines if line][:most]


def make_rules(table: list[Prefix], count: int, chance: random.Random) -> list[Rule]:
    """Rules that nest and overlap: on prefixes of the table, inside them and around them. The last one permits all."""
    sources = [Prefix((0xFD00 << 112) | (i << 80), 48) for i in range(8)]
    sources += [Prefix(s.address | (j << 72), 56) for s in sources for j in range(2)] + [prefix("fd00::/16"), ANY]
    rules = []
    while len(rules) < count - 1:
        base = chance.choice(table)
        length = max(16, min(64, base.length + chance.choice((-8, -4, 0, 0, 0, 4, 12))))
        destination = Prefix((base.address | chance.getrandbits(128 - base.length)) & (ALL ^ (ALL >> length)), length)
        port = chance.choice(PORTS)
        ports = chance.choice((None, None, None, (port, port), (1, 1023), (443, 9000)))
        rules.append(Rule(chance.choice(sources), destination, chance.choice((PERMIT, DENY)), ports))
    return rules + [Rule(ANY, ANY, PERMIT)]


def rules_csv(rules: list[Rule]) -> str:
    lines = ["source,destination,verdict,protocol,destination_ports"]
    for rule in rules:
        ports = "" if rule.ports is None else f"{rule.ports[0]}-{rule.ports[1]}"
        protocol = "" if rule.ports is None else "udp"
        lines.append(f"{rule.source},{rule.destination},{'accept' if rule.action == PERMIT else 'drop'},{protocol},{ports}")
    return "\n".join(lines) + "\n"


def edges(of: Prefix) -> list[int]:
    """Just outside and just inside, on both sides."""
    return [(of.address - 1) & ALL, of.address, of.last, (of.last + 1) & ALL]


def can_be_sent(address: int) -> bool:
    return not any(p.covers(address) for p in map(prefix, ("ff00::/8", "fe80::/10", "::/96", "fd00:0:0:f000::/52")))


def make_probes(table: list[Prefix], rules: list[Rule], count: int, chance: random.Random) -> list[Probe]:
    """Distinct destinations at edges of prefixes; half of the prefixes are those of rules."""
    of_rules = [rule.destination for rule in rules if rule.destination.length]
    source_edges = [a for rule in rules if rule.source.length for a in edges(rule.source) if can_be_sent(a)]
    probes: dict[int, Probe] = {}
    while len(probes) < count:
        destination = chance.choice(edges(chance.choice(chance.choice((table, of_rules)))))
        if can_be_sent(destination):
            probes[destination] = Probe(chance.choice(source_edges), destination, chance.choice(PORTS))
    return list(probes.values())


def choose_apart(table: list[Prefix], count: int, chance: random.Random) -> list[Prefix]:
    """Prefixes of which none contains another, so that every address has one route that changes at most."""
    chosen: list[Prefix] = []
    for candidate in chance.sample(table, len(table)):
        if not any(c.contains(candidate) or candidate.contains(c) for c in chosen):
            chosen.append(candidate)
        if len(chosen) == count:
            return chosen
    raise ValueError(f"the table has no {count} prefixes apart from each other")
