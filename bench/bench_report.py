#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Print the tables of a benchmark run: targets, growth with size, phases, updates, peers.

  bench_report.py RESULTS_DIRECTORY [--into FILE]

--into also puts the tables into a page, in place of what stands between its lines `<!-- figures -->` and
`<!-- end of figures -->`.
"""
import contextlib
import io
import json
import pathlib
import sys

from bench_figures import Figures

SIZES = [100, 1000, 10000, 30000, 60000]
BATCHES = [(n, b) for n in (1000, 10000, 60000) for b in (1, 10, 100, 1000) if b < n]
WORST = [(name + mode, title + text)
         for name, title in (("new_levels", "new levels"), ("siblings", "siblings"), ("inner_deletes", "inner deletes"),
                             ("block_again", "a block added again"), ("refused_last", "a batch refused at its end"))
         for mode, text in (("", ""), ("_safe", ", safe"), ("_room", ", room"))]
PEERS = ["v6comp", "table", "table_bulk", "bit_trie", "rte_rib6", "rte_fib6", "rte_lpm6", "rte_lpm6_bulk", "ndpi_patricia"]


def text_of(value, pattern="%.2f"):
    return "-" if value is None else pattern % value


def table(title, head, rows):
    """A Markdown table that reads well as it is."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(len(r[i]) for r in [head] + rows) for i in range(len(head))]

    def line(cells):
        first = cells[0].ljust(widths[0])
        return "| " + " | ".join([first] + [c.rjust(w) for c, w in zip(cells[1:], widths[1:])]) + " |"

    marks = ["-" * widths[0]] + ["-" * (w - 1) + ":" for w in widths[1:]]
    print("\n### %s\n" % title)
    print("\n".join([line(head), line(marks)] + [line(r) for r in rows]))


def growth(figures, name, low=1000, high=60000):
    return figures.ratio("%s/%d" % (name, high), "%s/%d" % (name, low))


def quotient(a, b):
    return a / b if a is not None and b is not None else None


def targets(f, memory, seconds):
    peer = lambda what: f.ratio("peer_%s/v6comp/60000" % what, "peer_%s/rte_fib6/60000" % what)
    read = f.per_item("read_table/60000")
    biggest = memory[-1] if memory else None
    memory_ratio = biggest["peak_process_bytes"] / biggest["peak_element_bytes"] if biggest else None
    rows = [
        ("full compression / trie floor", f.ratio("full/real/60000", "trie_floor/real/60000"), 4),
        ("full compression / touch floor", f.ratio("full/real/60000", "touch_floor/60000"), None),
        ("first compression of a process / trie floor", f.ratio("full_first/60000", "trie_floor/real/60000"), None),
        ("full compression / rte_fib6 build, sorted", peer("build_sorted"), 1),
        ("full compression / rte_fib6 build, shuffled", peer("build_shuffled"), None),
        ("growth 1,000 to 60,000 per prefix / that of the trie floor",
         quotient(growth(f, "full/real"), growth(f, "trie_floor/real")), 1.5),
        ("address lookup / bit trie", f.ratio("lookup_address/60000", "bit_trie_address/60000"), 1),
        ("prefix lookup / bit trie", f.ratio("lookup_prefix/60000", "bit_trie_prefix/60000"), 1),
        ("address lookup / rte_lpm6", f.ratio("peer_lookup/v6comp/60000", "peer_lookup/rte_lpm6/60000"), None),
        ("a table's translate / rte_lpm6 in bulk",
         f.ratio("peer_lookup/table_bulk/60000", "peer_lookup/rte_lpm6_bulk/60000"), 1),
        ("a table's lookup / rte_lpm6", f.ratio("peer_lookup/table/60000", "peer_lookup/rte_lpm6/60000"), 1.5),
        ("a table's apply of one addition, 160,000 / 1,000 prefixes",
         f.ratio("table_apply/add/160000", "table_apply/add/1000"), 1.5),
        ("a table's apply of one removal, 160,000 / 1,000 prefixes",
         f.ratio("table_apply/remove/160000", "table_apply/remove/1000"), 1.5),
        ("single add / rte_fib6", peer("add"), 1),
        ("single delete / rte_fib6", peer("delete"), 1),
        ("single add, 60,000 / 1,000 prefixes", f.ratio("update/add/60000/1", "update/add/1000/1"), None),
        ("single delete, 60,000 / 1,000 prefixes", f.ratio("update/delete/60000/1", "update/delete/1000/1"), None),
        ("safe single add / compatible", f.ratio("update/add_safe/60000/1", "update/add/60000/1"), None),
        ("safe single delete / compatible", f.ratio("update/delete_safe/60000/1", "update/delete/60000/1"), None),
        ("room mode single add / safe", f.ratio("update/add_room/60000/1", "update/add_safe/60000/1"), 1.25),
        ("room mode single delete / safe", f.ratio("update/delete_room/60000/1", "update/delete_safe/60000/1"), 1.25),
        ("room mode batch of 100 adds / safe", f.ratio("update/add_room/60000/100", "update/add_safe/60000/100"), 1.5),
        ("plan of 32,000 / sorting the records", f.ratio("plan/32000", "sort_records/32000"), 3),
        ("plain scan of 32,000 / plan", f.ratio("plain_scan/32000", "plan/32000"), None),
        ("v6comp verify of 60,000, seconds", seconds, 0.3),
        ("reading 60,000 lines, milliseconds", None if read is None else read * 60000 / 1e6, 30),
        ("peak memory / peak elements times their size", memory_ratio, 1.16),
    ] + [("record of %s, 16,000 / 1,000 of them" % title, f.ratio("worst/%s/16000" % name, "worst/%s/1000" % name), 2)
         for name, title in WORST]
    shown = [(what, text_of(value), "-" if limit is None else "<= %g" % limit,
              "" if limit is None or value is None else "yes" if value <= limit else "NO")
             for what, value, limit in rows]
    table("Ratios in this run, 60,000 real prefixes", ["", "now", "target", "met"], shown)


def by_size(f, memory):
    rows = []
    peaks = {m["prefixes"]: m for m in memory}
    for name, title in (("full/real", "full, real"), ("full/generated", "full, generated"),
                        ("full_first", "full, first"),
                        ("trie_floor/real", "trie floor"), ("touch_floor", "touch floor"),
                        ("lookup_prefix", "prefix lookup"), ("bit_trie_prefix", "  bit trie"),
                        ("lookup_address", "address lookup"), ("bit_trie_address", "  bit trie"),
                        ("dump", "dump"), ("reset", "reset"), ("read_table", "reading a table")):
        before = None
        for n in SIZES:
            key = "%s/%d" % (name, n)
            now = f.per_item(key)
            if now is None:
                continue
            low, high = f.quartiles(key)
            peak = peaks.get(n, {}).get("peak_element_bytes") if name == "full/real" else None
            rows.append((title, "%d" % n, "%.1f" % now, "%.1f..%.1f" % (low, high),
                         "-" if before is None else "%.2f" % (now / before),
                         text_of(f.counter(key, "elements"), "%d"), text_of(f.counter(key, "bytes_per_prefix"), "%.0f"),
                         "-" if peak is None else "%d" % peak))
            before = now
    table("Nanoseconds per prefix (lookups: each), and growth from size to size",
          ["", "prefixes", "ns", "quartiles", "growth", "elements", "bytes/prefix", "peak bytes"], rows)


def phases(f):
    names = sorted({key for name, key in f.counters if name.startswith("phases_of_full/") and key[:2].isdigit()})
    rows = [[name[3:].replace("_", " ")] + [text_of(f.counter("phases_of_full/%d" % n, name), "%.1f") for n in SIZES]
            for name in names]
    rows.append(["whole"] + [text_of(f.per_item("phases_of_full/%d" % n), "%.1f") for n in SIZES])
    table("Phases of a full compression, nanoseconds per prefix", ["phase"] + ["%d" % n for n in SIZES], rows)


def updates(f):
    rows = []
    for n, batch in [(100, 1)] + BATCHES:
        row = ["%d" % n, "%d" % batch]
        for name in ("add", "add_safe", "add_room", "delete", "delete_safe", "delete_room"):
            row.append(text_of(f.per_item("update/%s/%d/%d" % (name, n, batch)), "%.0f"))
        rows.append(row + [text_of(f.per_item("bit_trie_update/%s/%d/1" % (w, n)), "%.0f") for w in ("add", "delete")])
    table("Updates, nanoseconds per prefix of the batch",
          ["table", "batch", "add", "safe", "room", "delete", "safe", "room", "bit trie add", "bit trie delete"], rows)


def latency(runs):
    """Single updates at worst, mode by mode."""
    rows = [[run["mode"], run["updates"], run["refused"], run["moved"]]
            + ["%.2f" % (run[name] / 1000) for name in ("mean_ns", "median_ns", "p99_ns", "p999_ns", "max_ns")]
            for run in runs]
    table("Single updates of a table of 55,000, microseconds each",
          ["mode", "updates", "refused", "moved", "mean", "median", "99 %", "99.9 %", "longest"], rows)


def plans(f):
    rows = [["%d" % n] + [text_of(f.per_item("%s/%d" % (name, n)), "%.1f")
                          for name in ("plan", "sort_records", "qsort_records", "plain_scan")]
            + [text_of(f.ratio("plan/%d" % n, "sort_records/%d" % n))] for n in (1000, 8000, 32000)]
    table("Plans, nanoseconds per record",
          ["slots", "plan", "std::sort", "qsort", "plain scan", "plan / std::sort"], rows)


def peers(f):
    rows = []
    for what, title in (("build_sorted", "build, sorted"), ("build_shuffled", "build, shuffled"), ("lookup", "lookup"),
                        ("add", "single add"), ("delete", "single delete")):
        floor = "peer_%s/bit_trie/60000" % what
        rows.append([title] + ["%s (%s)" % (text_of(f.per_item("peer_%s/%s/60000" % (what, p)), "%.0f"),
                                           text_of(f.ratio("peer_%s/%s/60000" % (what, p), floor)))
                               for p in PEERS])
    rows.append(["bytes per prefix"] + [text_of(f.counter("peer_build_sorted/%s/60000" % p, "bytes_per_prefix"), "%.0f")
                                        for p in PEERS])
    table("Peers on 60,000 prefixes: nanoseconds (ratio to the bit trie of the stored prefixes)", [""] + PEERS, rows)


def report(directory):
    f = Figures(directory / "v6comp.json", directory / "phases.json", directory / "peers.json", directory / "table.json")
    memory_file = directory / "memory.ndjson"
    memory = [json.loads(line) for line in memory_file.read_text().splitlines()] if memory_file.exists() else []
    verify_file = directory / "verify_seconds.txt"
    seconds = min(float(word) for word in verify_file.read_text().split()) if verify_file.exists() else None
    print((directory / "machine.txt").read_text().strip())
    targets(f, memory, seconds)
    by_size(f, memory)
    phases(f)
    updates(f)
    latency_file = directory / "latency.ndjson"
    if latency_file.exists():
        latency([json.loads(line) for line in latency_file.read_text().splitlines()])
    plans(f)
    if any(name.startswith("peer_") for name in f.names()):
        peers(f)


def put_into(page, tables):
    begin, end = "<!-- figures -->\n", "<!-- end of figures -->"
    before, found, rest = page.read_text().partition(begin)
    _, found_end, after = rest.partition(end)
    if not found or not found_end:
        sys.exit("%s has no lines for figures" % page)
    page.write_text(before + begin + tables + end + after)


def main():
    arguments = sys.argv[1:]
    page = None
    if len(arguments) == 3 and arguments[1] == "--into":
        page = pathlib.Path(arguments[2])
        arguments = arguments[:1]
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    text = io.StringIO()
    with contextlib.redirect_stdout(text):
        report(pathlib.Path(arguments[0]))
    print(text.getvalue(), end="")
    if page is not None:
        put_into(page, text.getvalue())
    return 0


if __name__ == "__main__":
    sys.exit(main())
