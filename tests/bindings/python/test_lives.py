# SPDX-License-Identifier: Apache-2.0
"""Random lives of a table, beside a dictionary."""
from __future__ import annotations

from ipaddress import IPv6Network

from hardware import Hardware, edges, longest_match
from hypothesis import settings, strategies as st
from hypothesis.stateful import RuleBasedStateMachine, initialize, invariant, rule
from v6comp import Status, Table, V6compError

LENGTHS = [0, 8, 16, 29, 32, 33, 40, 44, 47, 48, 49, 56, 60, 64, 65, 96, 128]


@st.composite
def networks(draw: st.DrawFn) -> IPv6Network:
    """Prefixes of a few networks, nested and side by side."""
    length = draw(st.sampled_from(LENGTHS))
    bits = 0x20010db8 << 96
    for at in draw(st.sets(st.sampled_from([30, 33, 40, 46, 48, 52, 60, 64, 66, 90, 127]), max_size=4)):
        bits |= 1 << (127 - at)
    return IPv6Network((bits >> (128 - length) << (128 - length), length))


words = st.integers(0, 2**32 - 1)
tables = st.dictionaries(networks(), words, max_size=12)
REFUSALS = (Status.BITS, Status.ROOM)


class Life(RuleBasedStateMachine):
    def __init__(self) -> None:
        super().__init__()
        self.table = Table()
        self.twin: dict[IPv6Network, int] = {}
        self.hardware = Hardware()

    def teardown(self) -> None:
        self.table.close()

    @initialize(prefixes=tables)
    def fill(self, prefixes: dict[IPv6Network, int]) -> None:
        self.load(prefixes)

    @rule(prefixes=tables)
    def load(self, prefixes: dict[IPv6Network, int]) -> None:
        old = self.twin
        try:
            outcome = self.table.load(prefixes)
        except V6compError as error:
            assert error.status in REFUSALS
            return
        self.twin = dict(prefixes)
        assert (outcome.added, outcome.removed) == (len(prefixes.keys() - old.keys()), len(old.keys() - prefixes.keys()))
        self.hardware.follow(outcome.writes)

    @rule(add=tables, remove=st.sets(networks(), max_size=5), data=st.data())
    def apply(self, add: dict[IPv6Network, int], remove: set[IPv6Network], data: st.DataObject) -> None:
        if self.twin:
            remove |= set(data.draw(st.lists(st.sampled_from(sorted(self.twin)), max_size=5)))
        new = {prefix: word for prefix, word in self.twin.items() if prefix not in remove} | add
        try:
            outcome = self.table.apply(add=add, remove=remove)
        except V6compError as error:
            assert error.status in REFUSALS
            return
        assert (outcome.added, outcome.removed) == (
            len(new.keys() - self.twin.keys()), len(self.twin.keys() - new.keys()))
        assert outcome.absent == len(remove - self.twin.keys())
        assert outcome.present == len((add.keys() & self.twin.keys()) - remove)
        self.twin = new
        self.hardware.follow(outcome.writes)

    @rule()
    def compact(self) -> None:
        try:
            outcome = self.table.compact()
        except V6compError as error:
            assert error.status in REFUSALS
            return
        assert outcome.added == outcome.removed == 0
        self.hardware.follow(outcome.writes)

    @rule()
    def index(self) -> None:
        self.table.index()
        assert self.table.stats().indexed or not self.twin

    @invariant()
    def holds_the_same(self) -> None:
        rows = list(self.table.rows())
        assert {row.prefix: row.word for row in rows} == self.twin
        assert [row.prefix for row in rows] == sorted(self.twin) == list(self.table)
        assert len(self.table) == self.table.stats().prefixes == len(self.twin)
        for row in rows:
            assert self.table[row.prefix] == row
        self.hardware.assert_equal(rows)

    @invariant()
    def keeps_containment(self) -> None:
        rows = list(self.table.rows())
        for outer in rows:
            for inner in rows:
                assert outer.code.covers(inner.key) == inner.prefix.subnet_of(outer.prefix)

    @invariant()
    def answers_as_the_twin(self) -> None:
        addresses = edges(self.twin)
        keys = self.table.translate(addresses)
        for address, key in zip(addresses, keys):
            expected = longest_match(self.twin, address)
            row = self.table.lookup(address)
            assert (row.prefix if row else None) == expected
            assert key == (row.key if row else None)


Life.TestCase.settings = settings(max_examples=60, stateful_step_count=15, deadline=None, derandomize=True)
TestLife = Life.TestCase
