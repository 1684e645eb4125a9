#!/usr/bin/env python3
"""The dynamic linker binds each platform call of the library to the host program that defines it."""
import argparse
import os
import re
import subprocess
import sys


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--platform', required=True)
    parser.add_argument('--host', required=True)
    args = parser.parse_args()

    text = re.sub(r'/\*.*?\*/', '', open(args.platform).read(), flags=re.S)
    platform = set(re.findall(r'^(?:const )?(?:void|char) \*?(\w+)\(', text, flags=re.M))
    run = subprocess.run([args.host], env={**os.environ, 'LD_DEBUG': 'bindings'}, capture_output=True, text=True,
                         errors='replace')
    bound = {}
    pattern = r"binding file (\S*libzel_v6comp_lib\.so\S*) \[0\] to (\S+) \[0\]: normal symbol `(\w+)'"
    for _, target, name in re.findall(pattern, run.stderr):
        bound.setdefault(name, set()).add(os.path.realpath(target))

    good = run.returncode == 0 and len(platform) == 13
    for name in sorted(platform):
        targets = bound.get(name, set())
        print(f'{name}: {", ".join(sorted(targets)) or "not referenced by the library"}')
        good = good and targets == {os.path.realpath(args.host)}
    return 0 if good else 1


if __name__ == '__main__':
    sys.exit(main())
