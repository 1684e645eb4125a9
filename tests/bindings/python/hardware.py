# SPDX-License-Identifier: Apache-2.0
"""Plain twins: both stages of a lookup as dictionaries, and the longest match of a table by trying."""
from __future__ import annotations

from collections import Counter
from collections.abc import Iterable
from ipaddress import IPv6Address, IPv6Network

from v6comp import Code, Row, Write, WriteKind


class Hardware:
    """Follows writes, and notices those that do not fit what it holds."""

    def __init__(self) -> None:
        self.keys: dict[IPv6Network, int] = {}
        self.codes: Counter[tuple[IPv6Network, Code]] = Counter()

    def follow(self, writes: Iterable[Write]) -> None:
        for write in writes:
            self._take(write)

    def _take(self, write: Write) -> None:
        if write.kind is WriteKind.ADD_KEY:
            assert write.prefix not in self.keys and write.key is not None
            self.keys[write.prefix] = write.key
        elif write.kind is WriteKind.CHANGE_KEY:
            assert write.prefix in self.keys and write.key is not None
            self.keys[write.prefix] = write.key
        elif write.kind is WriteKind.REMOVE_KEY:
            assert self.keys.pop(write.prefix) == write.key
        else:
            assert write.code is not None
            self.codes[(write.prefix, write.code)] += 1 if write.kind is WriteKind.ADD_CODE else -1
            assert self.codes[(write.prefix, write.code)] >= 0

    def assert_equal(self, rows: list[Row]) -> None:
        assert self.keys == {row.prefix: row.key for row in rows}
        assert +self.codes == Counter((row.prefix, row.code) for row in rows)


def longest_match(prefixes: Iterable[IPv6Network], address: IPv6Address) -> IPv6Network | None:
    covering = [prefix for prefix in prefixes if address in prefix]
    return max(covering, key=lambda prefix: prefix.prefixlen) if covering else None


def edges(prefixes: Iterable[IPv6Network]) -> list[IPv6Address]:
    """The first and last address of every prefix, and those just outside."""
    found: set[int] = set()
    for prefix in prefixes:
        first, last = int(prefix.network_address), int(prefix.broadcast_address)
        found.update(at for at in (first - 1, first, last, last + 1) if 0 <= at < 2**128)
    return [IPv6Address(at) for at in sorted(found)]
