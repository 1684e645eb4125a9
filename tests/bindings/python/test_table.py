# SPDX-License-Identifier: Apache-2.0
"""What the package promises, one thing a test."""
from __future__ import annotations

import gc
import os
import re
import shutil
import subprocess
import sys
import threading
from collections.abc import Callable
from ipaddress import IPv6Address, IPv6Interface, IPv6Network
from pathlib import Path

import pytest
import v6comp
from v6comp import Code, LogLevel, Status, Table, V6compError, WriteKind
from v6comp._cdef import CDEF
from v6comp._library import ffi, library

OFFICE = '2001:db8::/32'
BRANCH = '2001:db8:1::/48'

# As the last of a chain of prefixes, each inside the one before: one more level than 64 bits of code can hold.
CHAIN = [IPv6Network((2**128 - 2 ** (128 - length), length)) for length in range(1, 129)]


# ---- the C interface

def numbers_of(enumeration: str, start: str) -> dict[str, int]:
    body = re.search(r'enum %s \{(.*?)\}' % enumeration, CDEF, flags=re.DOTALL)
    assert body is not None
    return {name: int(value) for name, value in re.findall(start + r'(\w+) =\s+(-?\d+)', body.group(1))}


def test_enumerations_are_those_of_the_interface() -> None:
    assert {s.name: s.value for s in Status} == numbers_of('zel_v6comp_table_status', 'ZEL_V6COMP_TABLE_E_')
    assert {s.name: s.value for s in LogLevel} == numbers_of('zel_v6comp_table_log_level', 'ZEL_V6COMP_TABLE_LOG_')
    assert {s.name: s.value for s in WriteKind} == numbers_of('zel_v6comp_table_write_kind', 'ZEL_V6COMP_TABLE_')


def test_library_has_every_declared_function() -> None:
    names = re.findall(r'(zel_v6comp_table_\w+)\(', CDEF)
    assert len(names) == 13
    for name in names:
        assert getattr(library(), name) is not None


def test_every_status_has_a_text() -> None:
    texts = {ffi.string(library().zel_v6comp_table_text(status)).decode() for status in Status}
    assert len(texts) == len(Status) and 'unknown status' not in texts


# ---- changes

def test_rows_carry_what_the_prefix_became() -> None:
    with Table({OFFICE: 10, BRANCH: 4294967295}) as table:
        office, branch = table[OFFICE], table[BRANCH]
    assert office.prefix == IPv6Network(OFFICE) and office.word == 10
    assert branch.word == 4294967295
    assert office.code.covers(branch.key) and not branch.code.covers(office.key)


def test_codes_print_as_many_digits_as_they_need() -> None:
    assert str(Code(0, 0)) == '0x0/0'
    assert str(Code(1 << 63, 1)) == '0x8/1'
    assert str(Code(0x1ff << 36, 28)) == '0x00001ff/28'
    assert str(Code(2**64 - 1, 64)) == '0xffffffffffffffff/64'
    assert Code(0, 0).covers(2**64 - 1) and not Code(0, 64).covers(1) and Code(1, 64).covers(1)


def test_apply_counts_what_was_there_and_what_was_not() -> None:
    with Table([OFFICE]) as table:
        outcome = table.apply(add=[OFFICE, BRANCH], remove=['2001:db8:2::/48'])
        assert (outcome.added, outcome.removed, outcome.present, outcome.absent) == (1, 0, 1, 1)
        assert [write.kind for write in outcome.writes] == [WriteKind.ADD_CODE, WriteKind.ADD_KEY]
        assert [write.stage for write in outcome.writes] == [2, 1]


def test_what_is_added_and_removed_stays() -> None:
    with Table({OFFICE: 1}) as table:
        table.apply(add={OFFICE: 2}, remove=[OFFICE])
        assert table[OFFICE].word == 2


def test_load_leaves_codes_of_what_stays() -> None:
    with Table([OFFICE, BRANCH]) as table:
        before = table[OFFICE]
        outcome = table.load([OFFICE, '2001:db8:2::/48'])
        assert table[OFFICE] == before and BRANCH not in table
        assert (outcome.added, outcome.removed) == (1, 1)


def test_writes_are_a_sequence_that_outlives_the_next_change() -> None:
    with Table() as table:
        writes = table.load([OFFICE, BRANCH]).writes
        before = list(writes)
        table.load(['2001:db9::/32'])
    assert len(writes) == 4 and list(writes) == before
    assert writes[-1] == before[3] and writes[1:3] == before[1:3] and before[0] in writes
    with pytest.raises(IndexError):
        writes[4]
    with pytest.raises(IndexError):
        writes[-5]


def test_networks_and_texts_are_the_same() -> None:
    with Table([IPv6Network(OFFICE), BRANCH]) as table:
        assert table[OFFICE] == table[IPv6Network(OFFICE)]
        assert table.lookup('2001:db8:1::7') == table.lookup(IPv6Address('2001:db8:1::7')) == table[BRANCH]


def test_the_whole_space_and_single_addresses_are_prefixes() -> None:
    with Table(['::/0', '::1/128', '2001:db8::1']) as table:
        assert [str(prefix) for prefix in table] == ['::/0', '::1/128', '2001:db8::1/128']
        row = table.lookup('ffff::')
        assert row is not None and row.prefix == IPv6Network('::/0')


def test_no_prefixes_are_fine() -> None:
    with Table() as table:
        assert len(table) == 0 and list(table) == [] and table.lookup('::') is None
        assert len(table.apply().writes) == 0 and len(table.load([]).writes) == 0 and len(table.compact().writes) == 0
        assert table.translate([]) == [] and table.translate(['::']) == [None]


# ---- bad input

@pytest.mark.parametrize('bad', ['2001:db8::1/32', '2001:db8::/129', '2001:db8:::/32', '10.0.0.0/8', '', 'fe80::1%eth0'])
def test_texts_that_are_no_prefix_are_value_errors(bad: str) -> None:
    with Table([OFFICE]) as table:
        with pytest.raises(ValueError):
            table.apply(add=[BRANCH, bad])
        assert list(table) == [IPv6Network(OFFICE)]


def test_an_address_with_a_zone_is_refused() -> None:
    with Table([OFFICE]) as table:
        with pytest.raises(ValueError, match='zone'):
            table.lookup('fe80::1%eth0')


@pytest.mark.parametrize('word', [-1, 2**32])
def test_words_have_32_bits(word: int) -> None:
    with Table() as table:
        with pytest.raises(OverflowError):
            table.load({OFFICE: word})
        assert len(table) == 0


@pytest.mark.parametrize('alone', [OFFICE, IPv6Network(OFFICE)])
def test_one_prefix_is_no_list(alone: str | IPv6Network) -> None:
    with pytest.raises(TypeError, match='list'):
        Table(alone)  # type: ignore[arg-type]


def test_a_missing_prefix_is_a_key_error() -> None:
    with Table([OFFICE]) as table:
        with pytest.raises(KeyError):
            table[BRANCH]
        assert table.get(BRANCH) is None and BRANCH not in table


def test_a_refused_load_names_its_reason_and_changes_nothing() -> None:
    with Table([OFFICE], move_limit=1) as table:
        before = list(table.rows())
        with pytest.raises(V6compError) as refusal:
            table.load([OFFICE, *CHAIN])
        assert refusal.value.status in (Status.MOVES, Status.ROOM, Status.BITS)
        assert refusal.value.reason and refusal.value.status.name in str(refusal.value)
        assert list(table.rows()) == before and len(table) == 1


def test_the_prefix_at_fault_is_told() -> None:
    with Table(['::/0', '8000::/1']) as table:
        with pytest.raises(V6compError) as refusal:
            table.apply(add=CHAIN)
        prefix = refusal.value.prefix
        assert prefix in CHAIN or (prefix is None and refusal.value.status is Status.BITS)


def test_a_refused_first_load_gives_its_place_back() -> None:
    for _ in range(20):
        with pytest.raises(V6compError):
            Table(CHAIN, place=(3, 1))
    Table(place=(3, 1)).close()


# ---- lives of tables

def test_eight_tables_and_no_more() -> None:
    tables = [Table([OFFICE]) for _ in range(8)]
    try:
        assert len({table.place for table in tables}) == 8
        with pytest.raises(V6compError) as refusal:
            Table()
        assert refusal.value.status is Status.TAKEN
    finally:
        for table in tables:
            table.close()


@pytest.mark.parametrize('place', [(4, 0), (0, 2), (-1, 0)])
def test_places_off_the_grid_are_refused(place: tuple[int, int]) -> None:
    with pytest.raises(V6compError) as refusal:
        Table(place=place)
    assert refusal.value.status is Status.GRID


def test_tables_share_nothing() -> None:
    with Table([OFFICE]) as one, Table([BRANCH]) as other:
        assert OFFICE not in other and BRANCH not in one


def test_a_closed_table_refuses_everything() -> None:
    table = Table([OFFICE])
    rows = table.rows()
    table.close()
    table.close()
    assert table.closed and 'closed' in repr(table)
    calls: list[Callable[[], object]] = [
        lambda: table.load([]), table.apply, table.compact, lambda: table.lookup('::'), lambda: OFFICE in table,
        lambda: next(rows), lambda: table.translate(['::']), table.stats, table.index, lambda: len(table)]
    for call in calls:
        with pytest.raises(V6compError) as refusal:
            call()
        assert refusal.value.status is Status.NO_TABLE


def test_a_forgotten_table_gives_its_place_back() -> None:
    for _ in range(20):
        Table([OFFICE], place=(0, 0))
        gc.collect()
    assert Table(place=(0, 0)).place == (0, 0)


def test_a_walk_goes_on_while_the_table_changes() -> None:
    prefixes = [IPv6Network((0x20010db8 << 96 | i << 80, 48)) for i in range(600)]
    with Table(prefixes) as table:
        walk = iter(table)
        assert next(walk) == prefixes[0]
        table.apply(remove=prefixes[300:400])
        seen = list(walk)
        assert seen == prefixes[1:300] + prefixes[400:]


# ---- logs

def test_refusals_and_more_are_told_to_the_log_function() -> None:
    lines: list[tuple[LogLevel, str]] = []
    with Table([OFFICE], log=lambda level, line: lines.append((level, line)), log_level=LogLevel.INFO) as table:
        with pytest.raises(V6compError):
            table.load(CHAIN * 2)
    assert [level for level, _ in lines] == [LogLevel.INFO, LogLevel.ERROR]


def test_a_log_function_that_uses_tables_is_refused() -> None:
    told: list[object] = []

    def look(_level: LogLevel, _line: str) -> None:
        try:
            table.lookup('::')
        except V6compError as error:
            told.append(error.status)
        forgotten.clear()

    forgotten = [Table(place=(2, 0))]
    with Table(log=look, log_level=LogLevel.INFO) as table:
        table.load([OFFICE])
        assert told == [Status.BUSY]
    gc.collect()
    Table(place=(2, 0)).close()


# ---- answers in bulk, threads

def test_translate_answers_as_lookup() -> None:
    with Table([OFFICE, BRANCH]) as table:
        addresses = ['2001:db8::', '2001:db8:1::ffff', '2001:db9::', '::']
        rows = [table.lookup(address) for address in addresses]
        for _ in range(2):
            assert table.translate(addresses) == [row.key if row else None for row in rows]
            table.index()


def test_packed_addresses_have_16_bytes() -> None:
    with Table([OFFICE]) as table:
        keys, covered = table.translate_packed(IPv6Address('2001:db8::7').packed + bytes(16))
        assert list(covered) == [1, 0] and keys[0] == table[OFFICE].key and keys.typecode == 'Q'
        with pytest.raises(ValueError):
            table.translate_packed(bytes(17))


def test_threads_take_turns() -> None:
    faults: list[BaseException] = []

    def work(table: Table, start: int) -> None:
        try:
            for i in range(start, start + 40):
                prefix = IPv6Network((0x20010db8 << 96 | i << 80, 48))
                table.apply(add={prefix: i})
                assert table[prefix].word == i
        except BaseException as fault:  # pylint: disable=broad-except
            faults.append(fault)

    with Table() as table:
        threads = [threading.Thread(target=work, args=(table, 100 * n)) for n in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert faults == [] and len(table) == 160


# ---- where the library is

def run(code: str, **environment: str) -> subprocess.CompletedProcess[str]:
    kept = {name: value for name, value in os.environ.items() if name != 'V6COMP_LIBRARY'}
    return subprocess.run([sys.executable, '-c', code], env=kept | environment, capture_output=True, text=True, check=False)


def test_a_missing_library_is_told_with_the_way_out() -> None:
    said = run('import v6comp; v6comp.Table()', V6COMP_LIBRARY='/nowhere/libzel_v6comp_lib.so.1')
    assert said.returncode == 1
    assert 'ImportError' in said.stderr and '/nowhere/' in said.stderr and 'V6COMP_LIBRARY' in said.stderr


def test_the_library_is_found_by_variable_beside_the_package_below_its_prefix_and_by_the_loader(tmp_path: Path) -> None:
    built = os.environ['V6COMP_LIBRARY']
    package = tmp_path / 'lib/python3/dist-packages/v6comp'
    shutil.copytree(Path(v6comp.__file__).parent, package)
    code = 'import v6comp; print(v6comp.library_path()); print(len(v6comp.Table(["::/0"])))'
    path = str(package.parent)
    by_loader = run(code, PYTHONPATH=path, LD_LIBRARY_PATH=str(Path(built).parent))
    assert by_loader.stdout.split() == ['libzel_v6comp_lib.so.1', '1'], by_loader.stderr
    for folder in (tmp_path / 'lib', package):
        shutil.copy(built, folder / 'libzel_v6comp_lib.so.1')
        found = run(code, PYTHONPATH=path)
        assert found.stdout.split() == [str(folder / 'libzel_v6comp_lib.so.1'), '1'], found.stderr
    named = run(code, PYTHONPATH=path, V6COMP_LIBRARY=built)
    assert named.stdout.split() == [built, '1'], named.stderr


def test_an_interface_is_no_network() -> None:
    with Table() as table:
        with pytest.raises(ValueError):
            table.load([str(IPv6Interface('2001:db8::1/32'))])
