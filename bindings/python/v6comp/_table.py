# SPDX-License-Identifier: Apache-2.0
"""Tables."""
from __future__ import annotations

import functools
import weakref
from array import array
from collections.abc import Callable, Iterable, Iterator, Mapping
from ipaddress import IPv6Address, IPv6Network
from types import TracebackType
from typing import Any, Union

from ._library import ffi, library, turn
from ._values import LogLevel, Outcome, Pool, Row, Stats, Status, V6compError, Writes, row_of

PrefixLike = Union[str, IPv6Network]
AddressLike = Union[str, IPv6Address]
Prefixes = Union[Iterable[PrefixLike], Mapping[PrefixLike, int]]
Log = Callable[[LogLevel, str], None]

PLACES = [(processor, instance) for processor in range(4) for instance in range(2)]
POOLS = ('tree nodes', 'tree data', 'prefix data', 'path data', 'trie nodes')
LEAST_EXPECTED = 16384
ROWS_AT_A_TIME = 256

# Handles whose table went while the library could not be called. Closed before the next table is opened.
_left_open: list[Any] = []


def _text(status: int) -> str:
    return str(ffi.string(library().zel_v6comp_table_text(status)).decode())


def _check(answer: int) -> int:
    if answer < 0:
        raise V6compError(Status(answer), _text(answer))
    return answer


def _network(prefix: PrefixLike) -> IPv6Network:
    network = prefix if isinstance(prefix, IPv6Network) else IPv6Network(prefix)
    _refuse_scope(network.network_address)
    return network


def _address(address: AddressLike) -> bytes:
    parsed = address if isinstance(address, IPv6Address) else IPv6Address(address)
    _refuse_scope(parsed)
    return parsed.packed


def _refuse_scope(address: IPv6Address) -> None:
    if address.scope_id is not None:
        raise ValueError(f'{address}: an address with a zone has no place in a table')


def _pairs(prefixes: Prefixes) -> list[tuple[IPv6Network, int]]:
    if isinstance(prefixes, (str, IPv6Network)):
        raise TypeError(f'a list of prefixes, not one alone: [{str(prefixes)!r}]')
    if isinstance(prefixes, Mapping):
        return [(_network(prefix), word) for prefix, word in prefixes.items()]
    return [(_network(prefix), 0) for prefix in prefixes]


def _records(kind: str, pairs: list[tuple[IPv6Network, int]]) -> Any:
    records = ffi.new(f'{kind}[]', len(pairs))
    for record, (network, word) in zip(records, pairs):
        record.address = network.network_address.packed
        record.length = network.prefixlen
        record.word = word
    return records


def _close(handle: Any) -> None:
    with turn:
        if library().zel_v6comp_table_close(handle) == Status.BUSY:
            _left_open.append(handle)


class Table:
    """A table of IPv6 prefixes: a mapping of prefixes to rows that says which writes keep hardware equal to it.

    Prefixes are texts or ipaddress.IPv6Network, addresses texts or ipaddress.IPv6Address. A mapping in place of a list of
    prefixes gives each of them a word, a number of 32 bits that comes back in rows and writes. What cannot be read as a
    prefix raises ValueError, what the library refuses V6compError; either way nothing has changed.
    """

    def __init__(
        self,
        prefixes: Prefixes = (),
        *,
        expected_prefixes: int = 0,
        move_limit: int = 0,
        place: tuple[int, int] | None = None,
        log: Log | None = None,
        log_level: LogLevel = LogLevel.ERROR,
    ) -> None:
        """Open a table and load prefixes.

        expected_prefixes: the most that all tables of the process will hold together. The first table makes the pools for
            them. 0: twice what is given here, at least 16,384.
        move_limit: the most stored prefixes that one apply may move; 0 is no limit.
        place: processor 0..3 and instance 0..1; none is the first free one of the eight.
        log: takes a line for each refused call, and more by log_level. Must not use tables.
        """
        pairs = _pairs(prefixes)
        options = ffi.new('zel_v6comp_table_options *')
        options.struct_size = ffi.sizeof('zel_v6comp_table_options')
        options.expected_prefixes = expected_prefixes or max(LEAST_EXPECTED, 2 * len(pairs))
        options.move_limit = move_limit
        options.log_level = log_level
        self._log = _log_callback(log)
        self._place, self._handle = _open(place, options, self._log)
        self._closing = weakref.finalize(self, _close, self._handle)
        self._n = 0
        try:
            if pairs:
                self._load(pairs)
        except BaseException:
            self.close()
            raise

    # ---- changes

    def load(self, prefixes: Prefixes) -> Outcome:
        """Make the table hold exactly these prefixes, all or nothing. What stays keeps its code and its key."""
        return self._load(_pairs(prefixes))

    def apply(self, *, add: Prefixes = (), remove: Iterable[PrefixLike] = ()) -> Outcome:
        """Remove and add prefixes, all or nothing. What is in both stays; an addition of what is there replaces its word."""
        removed = _pairs(remove)
        pairs = removed + _pairs(add)
        changes = _records('zel_v6comp_table_change', pairs)
        for record in changes[len(removed):len(pairs)]:
            record.operation = library().ZEL_V6COMP_TABLE_ADD
        return self._change(library().zel_v6comp_table_apply, pairs, changes, len(pairs))

    def compact(self) -> Outcome:
        """Compress the table anew: all codes may change, short ones come back."""
        return self._change(library().zel_v6comp_table_compact, [])

    def _load(self, pairs: list[tuple[IPv6Network, int]]) -> Outcome:
        records = _records('zel_v6comp_table_prefix', pairs)
        return self._change(library().zel_v6comp_table_load, pairs, records, len(pairs))

    def _change(self, call: Callable[..., int], pairs: list[tuple[IPv6Network, int]], *arguments: Any) -> Outcome:
        outcome = ffi.new('zel_v6comp_table_outcome *')
        outcome.struct_size = ffi.sizeof('zel_v6comp_table_outcome')
        with turn:
            answer = call(self._open_handle(), *arguments, outcome)
            if answer < 0:
                prefix = pairs[outcome.record][0] if outcome.record < len(pairs) else None
                reason = ffi.string(outcome.reason).decode()
                raise V6compError(Status(answer), reason or _text(answer), prefix)
            self._n += outcome.added - outcome.removed
            writes = Writes(outcome.writes, outcome.n_writes)
        return Outcome(
            added=outcome.added, removed=outcome.removed, present=outcome.present, absent=outcome.absent,
            moved=outcome.moved, rekeyed=outcome.rekeyed, parked=outcome.parked, early=outcome.early,
            peak_codes=outcome.peak_codes, writes=writes)

    # ---- questions

    def get(self, prefix: PrefixLike) -> Row | None:
        """The row of exactly this prefix, or None."""
        network = _network(prefix)
        row = ffi.new('zel_v6comp_table_row *')
        with turn:
            found = _check(library().zel_v6comp_table_find(
                self._open_handle(), network.network_address.packed, network.prefixlen, row))
        return row_of(row) if found else None

    def __getitem__(self, prefix: PrefixLike) -> Row:
        """The row of exactly this prefix; KeyError if there is none."""
        row = self.get(prefix)
        if row is None:
            raise KeyError(prefix)
        return row

    def __contains__(self, prefix: PrefixLike) -> bool:
        return self.get(prefix) is not None

    def __len__(self) -> int:
        """How many prefixes it holds."""
        self._open_handle()
        return self._n

    def lookup(self, address: AddressLike) -> Row | None:
        """The row of the longest prefix that covers an address, or None."""
        row = ffi.new('zel_v6comp_table_row *')
        with turn:
            found = _check(library().zel_v6comp_table_lookup(self._open_handle(), _address(address), row))
        return row_of(row) if found else None

    def rows(self) -> Iterator[Row]:
        """All rows, by address, containing prefixes first.

        The table may change meanwhile: the walk goes on behind the last prefix that it took, some of them in advance.
        """
        place = ffi.new('zel_v6comp_table_place *')
        records = ffi.new('zel_v6comp_table_row[]', ROWS_AT_A_TIME)
        while True:
            with turn:
                n = _check(library().zel_v6comp_table_rows(self._open_handle(), place, records, ROWS_AT_A_TIME))
            if n == 0:
                return
            for record in records[0:n]:
                yield row_of(record)

    def __iter__(self) -> Iterator[IPv6Network]:
        """All prefixes, in the order of rows()."""
        return (row.prefix for row in self.rows())

    def translate(self, addresses: Iterable[AddressLike]) -> list[int | None]:
        """The key of each address; None where no prefix covers it."""
        keys, covered = self.translate_packed(b''.join(map(_address, addresses)))
        return [key if is_covered else None for key, is_covered in zip(keys, covered)]

    def translate_packed(self, addresses: bytes | bytearray | memoryview) -> tuple[array[int], bytearray]:
        """Many addresses at once, 16 bytes each: their keys (an array of type 'Q'), and 1 for each that is covered.

        The key of an address that no prefix covers begins with no code but that of ::/0.
        """
        packed = ffi.from_buffer('uint8_t[]', addresses)
        n, rest = divmod(len(packed), 16)
        if rest != 0:
            raise ValueError(f'{len(packed)} bytes are not a number of addresses of 16')
        keys = array('Q', bytes(8 * n))
        covered = bytearray(n)
        with turn:
            _check(library().zel_v6comp_table_translate(
                self._open_handle(), packed, n, ffi.from_buffer('uint64_t[]', keys),
                ffi.from_buffer('uint8_t[]', covered)))
        return keys, covered

    def stats(self) -> Stats:
        """Figures of the table and of the pools. Walks the table."""
        figures = ffi.new('zel_v6comp_table_stats_record *')
        figures.struct_size = ffi.sizeof('zel_v6comp_table_stats_record')
        with turn:
            _check(library().zel_v6comp_table_stats(self._open_handle(), figures))
        return Stats(
            prefixes=figures.prefixes, anchors=figures.anchors, bits_needed=figures.bits_needed,
            deepest_code=figures.deepest_code, moves=figures.moves, changes=figures.changes,
            indexed=figures.indexed != 0,
            pools={name: Pool(pool.size, pool.in_use) for name, pool in zip(POOLS, figures.pools)})

    def index(self) -> None:
        """Build the read index: quicker answers until the next change."""
        with turn:
            _check(library().zel_v6comp_table_index(self._open_handle()))

    # ---- the end

    def close(self) -> None:
        """Give everything back. Further calls are refused; closing again does nothing."""
        self._closing()
        self._handle = None

    @property
    def closed(self) -> bool:
        return self._handle is None

    @property
    def place(self) -> tuple[int, int]:
        """Processor and instance."""
        return self._place

    def __enter__(self) -> Table:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        what = 'closed' if self.closed else f'{self._n} prefixes'
        return f'<v6comp.Table at {self._place}: {what}>'

    def _open_handle(self) -> Any:
        if self._handle is None:
            raise V6compError(Status.NO_TABLE, 'the table is closed')
        return self._handle


def _log_callback(log: Log | None) -> Any:
    return ffi.NULL if log is None else ffi.callback('zel_v6comp_table_log', functools.partial(_pass_on, log))


def _pass_on(log: Log, _user: Any, level: int, line: Any) -> None:
    log(LogLevel(level), ffi.string(line).decode(errors='replace'))


def _open(place: tuple[int, int] | None, options: Any, log: Any) -> tuple[tuple[int, int], Any]:
    """Places that are taken are no news: only the one that is free is opened with the log function."""
    handle = ffi.new('zel_v6comp_table **')
    with turn:
        waiting = _left_open[:]
        _left_open.clear()
        for left in waiting:
            _close(left)
        if place is None:
            place = _free_place(options, handle)
        options.log = log
        _check(library().zel_v6comp_table_open(*place, options, handle))
    return place, handle[0]


def _free_place(options: Any, handle: Any) -> tuple[int, int]:
    for place in PLACES:
        answer = library().zel_v6comp_table_open(*place, options, handle)
        if answer == 0:
            library().zel_v6comp_table_close(handle[0])
            return place
        if answer not in (Status.TAKEN, Status.GRID):
            _check(answer)
    raise V6compError(Status.TAKEN, 'all eight places hold a table')
