#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every source of the library is compiled with -fno-strict-aliasing: usage: check_aliasing.py compile_commands.json"""
import json
import re
import sys

commands = sys.argv[1]
of_a_layer = re.compile(r' -o (common/src|zel_v6comp_lib|platform)/')
seen = 0
bad = []
for entry in json.load(open(commands)):
    if of_a_layer.search(entry['command']):
        seen += 1
        if ' -fno-strict-aliasing ' not in entry['command']:
            bad.append(entry['file'])
for name in sorted(set(bad)):
    print(f'{name}: compiled with strict aliasing')
print(f'{seen} sources')
sys.exit(1 if bad or seen == 0 else 0)
