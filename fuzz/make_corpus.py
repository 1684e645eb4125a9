#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Make the seeds of the fuzz targets from the example tables and histories: make_corpus.py FOLDER

Small cuts of real tables in the encodings of the fuzz targets, and a few shapes by hand. The same in every run.
"""
import bz2
import gzip
import ipaddress
import lzma
import random
import struct
import sys
from pathlib import Path

root = Path(__file__).resolve().parent.parent
if len(sys.argv) != 2:
    sys.exit("usage: make_corpus.py FOLDER")
corpus = Path(sys.argv[1])


def put(target, name, content):
    folder = corpus / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


def record(network, add=True, weight=0):
    """A long record: control, length, address."""
    control = (0x80 if add else 0) | 0x40 | weight
    return bytes([control, network.prefixlen]) + network.network_address.packed


def read(name):
    lines = (root / "examples" / "tables" / name).read_text().splitlines()
    return [line for line in lines if line and not line.startswith("#")]


def plain(n):
    dice = random.Random(n)
    return bytes(dice.randrange(256) for _ in range(n))


for table in ("dc_wikimedia_144.txt", "op_china_1641.txt", "bgp_2401_5270.txt"):
    lines = read(table)
    stem = table.split("_")[0]
    for part in range(3):
        start = part * len(lines) // 3
        cut = lines[start:start + 24]
        networks = [ipaddress.ip_network(line.split()[0]) for line in cut]
        put("full_table", f"{stem}_{part}", b"".join(record(n) for n in networks))
        for mode in range(4):
            half = networks[:12]
            body = bytes([mode, 12]) + b"".join(record(n) for n in half)
            for n in networks[12:18]:  # place, operation, number of records [, refusal]
                body += bytes([0, 8, 0]) + record(n) + (bytes([mode, 9]) if mode & 1 else b"")
            for n in half[::3]:
                body += bytes([0, 9, 0]) + record(n, add=False) + (bytes([mode, 9]) if mode & 1 else b"")
            put("batches", f"{stem}_{part}_mode_{mode}", body)
        put("table_reader", f"{stem}_{part}.txt", ("\n".join(cut[:12]) + "\n").encode())
        put("prefix_text", f"{stem}_{part}", cut[0].split()[0].encode())

for history in ("dc_wikimedia", "host128_vpn", "op_china_monthly"):
    text = (root / "examples" / "histories" / f"{history}.updates.txt").read_text()
    lines = [line for line in text.splitlines() if line and not line.startswith("#")]
    for part in range(2):
        start = part * len(lines) // 2
        put("history_reader", f"{history.split('_')[0]}_{part}.txt", ("\n".join(lines[start:start + 8]) + "\n").encode())

nested = [ipaddress.ip_network(("2001:db8:ffff:ffff:ffff:ffff:ffff:ffff", n), strict=False) for n in range(0, 129, 5)]
put("full_table", "nested", b"".join(record(n) for n in nested))
put("full_table", "empty", b"")
put("full_table", "weights", b"".join(record(n, weight=i % 16) for i, n in enumerate(nested)))
for mode in range(4):
    put("batches", f"nested_mode_{mode}", bytes([mode, 5]) + b"".join(record(n) for n in nested[:5])
        + b"".join(bytes([i % 2, 8 + i % 4, 0]) + record(n, add=i % 3 != 0) for i, n in enumerate(nested)))
for mode in (4, 6):  # between the changes lookups, so many that they get an index
    put("batches", f"nested_mode_{mode}", bytes([mode, 5]) + b"".join(record(n) for n in nested[:5])
        + b"".join(bytes([0, 8, 0]) + record(n) + bytes([0, 4, n.prefixlen, i, i, 0, 0, 0])
                   for i, n in enumerate(nested[5:9])))
# Room mode: chains up to the last bit and beyond, hosts left out of a block, levels above strays, a recompression.
chain = [ipaddress.ip_network(("8000::", n)) for n in range(1, 70)]
host = ipaddress.ip_address("2001:db8:1234:5678:9abc:def0:1234:5678")
hole = [ipaddress.ip_network((int(host) ^ 1 << (128 - n), n), strict=False) for n in range(65, 129)]
dice = random.Random(5)
strays = [ipaddress.ip_network((0x20010db8 << 96 | dice.getrandbits(24) << 72, 32 + dice.randrange(1, 25)), strict=False)
          for _ in range(72)]
for name, networks in (("chain", chain), ("hole", hole), ("strays", strays)):
    for choice in (2, 3):  # room mode from the beginning; with refused memory
        body = bytes([choice, 8]) + b"".join(record(n) for n in networks[:8])
        for at in range(8, len(networks), 4):  # operation, number of records [, refusal]
            part = networks[at:at + 4]
            body += bytes([8, len(part) - 1]) + b"".join(record(n) for n in part)
            body += bytes([1, at]) if choice & 1 else b""
        put("room", f"{name}_{choice}", body + bytes([5, 0, 0]))
for choice in (0, 3):  # tables: without and with refused memory; changes, an index, lookups, a load, a compression anew
    body = bytes([choice]) + dice.randbytes(1200)
    put("table", f"changes_{choice}", body + bytes([2, 3, 4, 3, 1, 0, 20]) + dice.randbytes(400))
for name, text in {
    "crlf": b"2001:db8::/32\r\n::/0 7\r\n",
    "comments": b"# a table\n\n 2001:db8::/32 5 # here\n\t::/1\n",
    "faults": b"2001:db8::1/32\n2001:db8::/129\nhello\n2001:db8::/32 0\n2001:db8::/32 4294967296\n",
    "no_newline": b"2001:db8::/32",
    "nul": b"2001:db8::/32\0\n",
    "long_line": b"2" * 300 + b"\n",
    "twice": b"2001:db8::/32\n2001:db8::/32\n",
}.items():
    put("table_reader", name, text)
samples = root / "tests" / "tools" / "formats"
for sample in sorted(samples.iterdir()):  # 0x1f: the format that the content looks like
    if sample.name not in ("README.md", "LICENSES.txt") and not sample.name.endswith(".prefixes.txt"):
        put("table_formats", sample.name, b"\x1f" + sample.read_bytes()[:1500])
bgpdump = b"".join(b"TABLE_DUMP2|1|B|::|1|%s|1|IGP\n" % p for p in (b"::/0", b"2001:db8::/32", b"192.0.2.0/24"))
old_mrt = b"\0\0\0\0\0\x0c\0\x02\0\0\0\x2e\0\0\0\0" + ipaddress.ip_address("2001:db8::").packed + b"\x20" + b"x" * 25
for name, text in {
    "csv": b"prefix,weight\n2001:db8::/32,7\n\"::/0\",\n",
    "json": b'[{"prefix": "2001:db8::/32", "weight": 7}, {"prefix": null}]',
    "json_texts": b'["2001:db8::/32", "::/0"]',
    "ndjson": b'{"prefix": "2001:db8::/32"}\n{"prefix": "::/0"}\n',
    "rows": b"2001:db8::/32 0x1/1 0x1\n",
    "list": b"\xef\xbb\xbf2001:db8::/32 7\r\n::/0\n",
    "bgpdump": bgpdump,
    "bgpdump_gzip": gzip.compress(bgpdump, mtime=0),
    "bgpdump_bzip2": bz2.compress(bgpdump),
    "bgpdump_xz": lzma.compress(bgpdump),
    "old_mrt": old_mrt * 2,
    "html": b"<html></html>",
    "ipv4": b"10.0.0.0/8\n",
    "history": b"+::/0\n---\n",
}.items():
    put("table_formats", name, b"\x1f" + text)
for choice in range(16):
    put("table_formats", f"forced_{choice}", bytes([choice | choice << 4 & 0xE0]) + b"2001:db8::1/32 dev lo\n" + bgpdump)
for name, text in {
    "crlf": b"+2001:db8::/32 7\r\n---\r\n-::/0\r\n",
    "blanks": b"# a history\n\n  + 2001:db8::/32   # inside\n --- # batch 1\n",
    "empty_batches": b"---\n---\n+::/0",
    "too_many": b"+::/0\n" * 9,
    "faults": b"2001:db8::/32\n+\n-2001:db8::1/32\n+2001:db8::/32 0\n----\n",
    "nothing": b"# nothing\n",
}.items():
    put("history_reader", name, text)
saved = b"*filter\n:FORWARD DROP [0:0]\n:inner - [0:0]\n%sCOMMIT\n"
nft = b'{"nftables": [{"chain": {"family": "ip6", "table": "t", "name": "f", "hook": "forward", "policy": "drop"}}, %s]}'
nft_rule = b'{"rule": {"family": "ip6", "table": "t", "chain": "f", "handle": 1, "expr": [%s, {"accept": null}]}}'
nft_match = b'{"match": {"op": "==", "left": {"payload": {"protocol": "%s", "field": "%s"}}, "right": %s}}'
for name, choice, text in (
    [(path.name, 0, path.read_bytes())
     for folder in ("examples/rules", "tests/rules_io/rules") for path in sorted((root / folder).iterdir())]
    + [(f"saved_{n}", n << 2, saved % rules) for n, rules in enumerate((
        b"-A FORWARD -s 2001:db8::/32 -p tcp -m multiport --dports 80,443,1024:2047 -j ACCEPT\n",
        b"-A FORWARD -j inner\n-A inner -p udp -m udp --sport 53 -j RETURN\n-A FORWARD -g inner\n",
        b"-A FORWARD -p icmpv6 -m icmp6 --icmpv6-type 1/4 -m comment --comment \"a \\\"b\" -j DROP\n",
        b"-A FORWARD ! -d ::1 -j DROP\n-A FORWARD -j nowhere\n[1:2] -A FORWARD -d ::1,2001:db8::1/32 -j REJECT\n"))]
    + [(f"nft_{n}", n << 2, nft % (nft_rule % match)) for n, match in enumerate((
        nft_match % (b"ip6", b"saddr", b'{"set": [{"prefix": {"addr": "2001:db8::", "len": 32}}, "::1"]}'),
        nft_match % (b"tcp", b"dport", b'{"range": [80, 90]}'),
        nft_match % (b"ip6", b"daddr", b'{"range": ["::1", "::ff"]}'),
        nft_match % (b"icmpv6", b"type", b'"echo-request"'),
        nft_match % (b"ip", b"saddr", b'"192.0.2.1"')))]
    + [("csv", 3, b"Source;Destination;Verdict;ICMP_type;Priority;Name\n*;::/0;permit;128;7;\"a;\"\"b\"\n::1;any;deny;;;\n"),
       ("csv_faults", 11, b"source,destination,verdict,protocol,source_ports\n::1/0,::,accept,tcp,9-8\n::,::,drop,6,1-2\n"),
       ("wrong_format", 1, b"source,destination,verdict\n")]):
    put("rules", name, bytes([choice]) + text)
for name, text in {
    "any": b"::/0", "host": b"::1/128", "mapped": b"::ffff:192.0.2.1", "full": b"1:2:3:4:5:6:7:8",
    "two_gaps": b"1::2::3", "zone": b"fe80::1%eth0", "weight": b"4294967295", "weight_zeros": b"0017",
    "long_group": b"12345::", "upper": b"2001:DB8::ABCD/128", "blank": b"",
}.items():
    put("prefix_text", name, text)
for target in ("trie", "pcmpr_trie", "containers", "plan"):
    for n in (40, 120, 300):
        put(target, f"dice_{n}", plain(n))
for kind in range(3):
    put("containers", f"kind_{kind}", bytes([kind]) + plain(200 + kind))
put("plan", "all_states", bytes([20]) + bytes(x for i in range(20) for x in (1, i, 32, 3, 4, i % 8, 5, i % 6))
    + bytes([20, 0, 12]) + bytes(x for i in range(12) for x in (32, 3, 4, i % 8, 5)) + bytes([0, 1, 2, 3, 1, 3, 4]))

# Steps of the engine: a compression, batches after it, a request with lengths above 128, one of 65,534 records.
shape = bytes([9, 0, 40, 3, 255]) + bytes(range(0, 72, 8))
put("engine", "steps", bytes([4]) + shape + bytes([5]) + shape + bytes([2, 4]) + shape)
put("engine", "refused_then_again", bytes([4]) + shape + bytes([1, 3, 5]) + shape + bytes([0, 2, 6]) + shape + bytes([6]) + shape)
put("engine", "lengths_above_128", bytes([6, 9, 0, 250, 3, 255]) + bytes(9) + bytes([6]) + shape)
put("engine", "largest_request", bytes([6, 1, 255, 0, 0, 255, 253, 64, 5, 127]) + bytes(24))
for n in (60, 200):
    put("engine", f"plain_{n}", plain(n))


def route_message(text, add=True, interface=7, table=254, kind=1):
    """A route as netlink has it: header, route, destination, interface."""
    network = ipaddress.ip_network(text)
    body = struct.pack("<BBBBBBBBI", 10, network.prefixlen, 0, 0, table, 186, 0, kind, 0)
    body += struct.pack("<HH", 20, 1) + network.network_address.packed
    body += struct.pack("<HHI", 8, 4, interface)
    return struct.pack("<IHHII", 16 + len(body), 24 if add else 25, 0x405, 1, 0) + body


def fpm_frame(content, version=1, kind=1):
    return struct.pack(">BBH", version, kind, len(content) + 4) + content


routes = [fpm_frame(route_message(text.split()[0])) for text in read("dc_wikimedia_144.txt")[:12]]
put("fpm_stream", "announced", bytes([200]) + b"".join(routes))
put("fpm_stream", "changed", bytes([9]) + routes[0] + fpm_frame(route_message("2001:db8::/32"))
    + fpm_frame(route_message("2001:db8::/32", add=False, kind=0)) + fpm_frame(route_message("::/0", kind=6)))
put("fpm_stream", "two_in_a_frame", bytes([3]) + fpm_frame(route_message("::/0") + route_message("2001:db8::1/128")))
put("fpm_stream", "other_table", bytes([255]) + fpm_frame(route_message("2001:db8::/48", table=255)) + routes[1])
put("fpm_stream", "cut_message", bytes([0]) + fpm_frame(route_message("2001:db8::/48")[:-3]) + routes[2])
put("fpm_stream", "not_netlink", bytes([50]) + fpm_frame(b"abcd", kind=2) + routes[3])
put("fpm_stream", "broken", bytes([50]) + routes[0] + fpm_frame(b"", version=2) + routes[4])
