# SPDX-License-Identifier: Apache-2.0
"""What tables answer with."""
from __future__ import annotations

import enum
from collections.abc import Sequence
from dataclasses import dataclass
from ipaddress import IPv6Network
from typing import Any, overload

from ._library import ffi


class Status(enum.IntEnum):
    """Why a call was refused."""

    NULL = -10
    LENGTH = -11
    HOST_BITS = -12
    OPERATION = -13
    COUNT = -14
    SIZE = -15
    ROW = -16
    NO_TABLE = -20
    GRID = -21
    TAKEN = -22
    BUSY = -23
    FOREIGN = -24
    BITS = -30
    MOVES = -31
    ROOM = -32
    POOLS = -33
    MEMORY = -40
    INTERNAL = -50


class V6compError(Exception):
    """The library refused a call, and nothing has changed.

    status: the reason. reason: the same in words. prefix: the one at fault, if it is one alone.
    """

    def __init__(self, status: Status, reason: str, prefix: IPv6Network | None = None) -> None:
        super().__init__(status, reason, prefix)
        self.status = status
        self.reason = reason
        self.prefix = prefix

    def __str__(self) -> str:
        return f'{self.reason} ({self.status.name})'


class LogLevel(enum.IntEnum):
    """How much a log line matters."""

    ERROR = 1
    WARNING = 2
    INFO = 3


class WriteKind(enum.Enum):
    """What a write does. Stage 1 holds prefix -> key, stage 2 the codes that rules on a prefix match."""

    ADD_CODE = 1
    ADD_KEY = 2
    CHANGE_KEY = 3
    REMOVE_KEY = 4
    REMOVE_CODE = 5

    def __str__(self) -> str:
        return self.name.lower().replace('_', ' ')


@dataclass(frozen=True, order=True)
class Code:
    """The beginning that a rule matches in keys: the upper `length` bits of `bits`, a number of 64 bits."""

    bits: int
    length: int

    def covers(self, key: int) -> bool:
        """Does the key begin with this code?"""
        return (key ^ self.bits) >> (64 - self.length) == 0

    def __str__(self) -> str:
        digits = max(1, (self.length + 3) // 4)
        return f'0x{self.bits >> (64 - 4 * digits):0{digits}x}/{self.length}'


@dataclass(frozen=True)
class Row:
    """A stored prefix: its code, the key of addresses of which it is the longest prefix, and the host's own word."""

    prefix: IPv6Network
    code: Code
    key: int
    word: int


@dataclass(frozen=True)
class Write:
    """One write to hardware.

    code: of ADD_CODE and REMOVE_CODE. key: to be written by ADD_KEY and CHANGE_KEY, the last one of REMOVE_KEY.
    word: the prefix's own; of one that is removed the last one.
    """

    kind: WriteKind
    prefix: IPv6Network
    code: Code | None
    key: int | None
    word: int

    @property
    def stage(self) -> int:
        """Which of the two lookup stages it goes to: 1 (prefix -> key) or 2 (codes)."""
        return 1 if self.code is None else 2


def network_of(record: Any) -> IPv6Network:
    return IPv6Network((ffi.buffer(record.address)[:], record.length))


def row_of(record: Any) -> Row:
    return Row(network_of(record), Code(record.code, record.code_length), record.key, record.word)


def write_of(record: Any) -> Write:
    kind = WriteKind(record.kind)
    of_code = kind in (WriteKind.ADD_CODE, WriteKind.REMOVE_CODE)
    return Write(kind, network_of(record), Code(record.code, record.code_length) if of_code else None,
                 None if of_code else record.key, record.word)


class Writes(Sequence[Write]):
    """Writes in the order to follow, made as they are looked at."""

    def __init__(self, records: Any, n: int) -> None:
        """Copies the library's records, which are good until its next change."""
        self._records = ffi.new('zel_v6comp_table_write[]', n)
        ffi.memmove(self._records, records, n * ffi.sizeof('zel_v6comp_table_write'))
        self._n = n

    def __len__(self) -> int:
        return self._n

    @overload
    def __getitem__(self, index: int) -> Write: ...

    @overload
    def __getitem__(self, index: slice) -> list[Write]: ...

    def __getitem__(self, index: int | slice) -> Write | list[Write]:
        if isinstance(index, slice):
            return [write_of(self._records[i]) for i in range(*index.indices(self._n))]
        at = index + self._n if index < 0 else index
        if not 0 <= at < self._n:
            raise IndexError(f'write {index} of {self._n}')
        return write_of(self._records[at])

    def __repr__(self) -> str:
        return f'<{self._n} writes>'


@dataclass(frozen=True)
class Outcome:
    """What became of a load, an apply or a compact that was accepted.

    After every single write, a rule on a prefix that both tables hold matches exactly the addresses that the prefix
    covers, and the longest match is the old or the new table's; unless `early` says that so many writes had to be done
    before their time.
    """

    added: int  # prefixes that only the new table holds
    removed: int  # prefixes that only the old table holds
    present: int  # additions of what was there already
    absent: int  # removals of what was not there
    moved: int  # prefixes in both tables with another code
    rekeyed: int  # prefixes in both tables with the same code and another key
    parked: int  # keys and codes that stood in an interim place
    early: int  # removals before their time; nearly always 0
    peak_codes: int  # most codes that the prefixes of the writes have at a time, summed
    writes: Writes


@dataclass(frozen=True)
class Pool:
    """One of the library's pools, which all tables share."""

    size: int
    in_use: int


@dataclass(frozen=True)
class Stats:
    """Figures of a table."""

    prefixes: int
    anchors: int  # internal prefixes that the library stores beside them
    bits_needed: int  # code bits that the tightest code of these prefixes needs; 64 at most
    deepest_code: int  # bits of the longest code in use
    moves: int  # prefixes moved since the table was opened
    changes: int  # accepted loads, applies and compacts
    indexed: bool
    pools: dict[str, Pool]
