#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_symbols_file.py EXPORTS_MAP SYMBOLS: the symbols file of the Debian package lists the exported names, each once.

A name that is new gets the version of the release that brings it; one that has gone is a new soname."""
import re
import sys

import check_exports


def main():
    exports_map, symbols = sys.argv[1:]
    node, wanted = check_exports.map_names(exports_map)
    found = re.findall(r'^ (\w+)@(\S+) \d+\.\d+\.\d+$', open(symbols).read(), flags=re.M)
    names = [name for name, _ in found]
    good = check_exports.compare(symbols, set(names), wanted)
    good = check_exports.compare(f'{symbols}, version nodes', {version for _, version in found}, {node}) and good
    if len(names) != len(set(names)):
        print(f'{symbols}: a name stands twice')
        good = False
    sys.exit(0 if good else 1)


if __name__ == '__main__':
    main()
