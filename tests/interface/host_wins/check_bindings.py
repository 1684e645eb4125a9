#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The dynamic linker binds each platform call of the library to the host program that defines it.

The given library is loaded ahead of others, so it need not be the one that the host was linked with."""
import argparse
import os
import re
import subprocess
import sys


# Offered by every host, but no message of the library needs it today.
NOT_CALLED = {'cerr_strerror'}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--platform', required=True)
    parser.add_argument('--host', required=True)
    parser.add_argument('--library', required=True)
    args = parser.parse_args()

    text = re.sub(r'/\*.*?\*/', '', open(args.platform).read(), flags=re.S)
    platform = set(re.findall(r'^(?:const )?(?:void|char) \*?(\w+)\(', text, flags=re.M))
    environment = {**os.environ, 'LD_DEBUG': 'bindings', 'LD_PRELOAD': args.library}
    run = subprocess.run([args.host], env=environment, capture_output=True, text=True, errors='replace')
    library, host = os.path.realpath(args.library), os.path.realpath(args.host)
    bound = {}
    for source, target, name in re.findall(r"binding file (\S+) \[0\] to (\S+) \[0\]: normal symbol `(\w+)'", run.stderr):
        if os.path.realpath(source) == library:
            bound.setdefault(name, set()).add(os.path.realpath(target))

    good = run.returncode == 0 and len(platform) == 13
    print(f'{host} ends with {run.returncode}')
    for name in sorted(platform):
        targets = bound.get(name, set())
        print(f'{name}: {", ".join(sorted(targets)) or "not referenced by the library"}')
        good = good and (targets == {host} or (name in NOT_CALLED and not targets))
    return 0 if good else 1


if __name__ == '__main__':
    sys.exit(main())
