# SPDX-License-Identifier: Apache-2.0
"""Tables of IPv6 prefixes, their 64-bit codes, and the writes that keep hardware equal to them.

    >>> from v6comp import Table
    >>> with Table(["2001:db8::/32", "2001:db8:1::/48"]) as table:
    ...     outcome = table.apply(add=["2001:db8:2::/48"])
    ...     row = table.lookup("2001:db8:2::77")
    ...     table["2001:db8::/32"].code.covers(row.key)
    True

A packet's address is looked up in two stages: stage 1 turns it into the 64-bit key of its longest prefix, stage 2 matches
keys against the codes of prefixes. The code of Q is the beginning of the key of P exactly when Q contains P.

The package is a thin layer over libzel_v6comp_lib.so.1. Calls may come from any thread: they take turns.
"""
from ._library import library_path
from ._table import AddressLike, Log, PrefixLike, Prefixes, Table
from ._values import Code, LogLevel, Outcome, Pool, Row, Stats, Status, V6compError, Write, WriteKind, Writes

__all__ = [
    'AddressLike', 'Code', 'Log', 'LogLevel', 'Outcome', 'Pool', 'PrefixLike', 'Prefixes', 'Row', 'Stats', 'Status',
    'Table', 'V6compError', 'Write', 'WriteKind', 'Writes', 'library_path',
]
