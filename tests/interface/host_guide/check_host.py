#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_host.py HOST TABLE...: run the guide's host over tables, and hold what it has in hardware to the last of them.

Decided without the library: for the edges of every prefix the first stage must find the longest match of the table, and its
result, matched longest-first against the second stage's codes, must lead to the same prefix; so must the key that the
library gives for the address itself.
"""
import ipaddress
import subprocess
import sys

WIDTH = {128: (1 << 128) - 1, 64: (1 << 64) - 1}


def read_table(path):
    prefixes = set()
    with open(path, encoding='ascii') as lines:
        for line in lines:
            words = line.split('#')[0].split()
            if words:
                network = ipaddress.IPv6Network(words[0])
                prefixes.add((int(network.network_address), network.prefixlen))
    return prefixes


class Matcher:
    """Longest match of (bits, length) keys, each with a value."""

    def __init__(self, width, entries):
        self.width = width
        self.entries = dict(entries)
        self.lengths = sorted({length for _, length in self.entries}, reverse=True)

    def find(self, key):
        for length in self.lengths:
            cut = key >> (self.width - length) << (self.width - length)
            if (cut, length) in self.entries:
                return self.entries[(cut, length)]
        return None


def edges(prefixes):
    for bits, length in prefixes:
        last = bits | (WIDTH[128] >> length)
        for address in (bits - 1, bits, last, last + 1):
            yield address & WIDTH[128]


def main():
    host, *tables = sys.argv[1:]
    table = read_table(tables[-1]) | {(0, 0)}  # the library stores ::/0 itself
    addresses = sorted(set(edges(table)))
    asked = ''.join(f'{ipaddress.IPv6Address(address)}\n' for address in addresses)
    said = subprocess.run([host, *tables], input=asked, capture_output=True, text=True, check=False)
    if said.returncode != 0:
        sys.exit(f'exit {said.returncode}: {said.stderr}')

    results, codes, keys = {}, {}, []
    for line in said.stdout.splitlines():
        kind, *words = line.split()
        if kind == 'address':
            keys.append(int(words[1], 16))
            continue
        network = ipaddress.IPv6Network(words[0])
        prefix = (int(network.network_address), network.prefixlen)
        assert prefix not in results, f'{words[0]} stands twice in hardware'
        results[prefix] = int(words[1], 16)
        code = (int(words[2], 16), int(words[3]))
        assert code not in codes, f'{words[0]} shares its code with another prefix'
        codes[code] = prefix

    wrong = [prefix for prefix in table ^ results.keys()]
    assert not wrong, f'{len(wrong)} rows are missing in hardware or too many, {len(table)} are wanted'
    longest = Matcher(128, {prefix: prefix for prefix in table})
    first_stage = Matcher(128, results)
    second_stage = Matcher(64, codes)
    assert len(keys) == len(addresses)
    for address, key in zip(addresses, keys):
        expected = longest.find(address)
        text = ipaddress.IPv6Address(address)
        assert second_stage.find(first_stage.find(address)) == expected, f'{text}: the hardware leads elsewhere'
        assert second_stage.find(key) == expected, f'{text}: the key leads elsewhere'
    print(f'{len(table)} rows and {len(addresses)} addresses are right')


if __name__ == '__main__':
    main()
