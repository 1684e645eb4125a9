#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Ratios of two sets of benchmark results, with their spread.

  bench_compare.py OLD_NAME OLD.json,... NEW_NAME NEW.json,...

The runs were taken in turns: old, new, old, new. Each pair gives a ratio; the table shows the median of the pairs and
the smallest and largest. A change is named when all pairs agree on its direction and the median is beyond 3 %.
"""
import statistics
import sys

from bench_figures import Figures


def main():
    if len(sys.argv) != 5:
        print(__doc__, file=sys.stderr)
        return 2
    old_name, old_files, new_name, new_files = sys.argv[1:]
    pairs = [(Figures(a), Figures(b)) for a, b in zip(old_files.split(","), new_files.split(","))]
    print("%-32s %12s %12s %8s  %s" % ("ns per prefix or operation", old_name, new_name, "ratio", "spread"))
    for name in pairs[0][0].names():
        values = [(a.per_item(name), b.per_item(name)) for a, b in pairs if a.has(name) and b.has(name)]
        if not values:
            continue
        ratios = sorted(new / old for old, new in values)
        middle = statistics.median(ratios)
        mark = "  faster" if ratios[-1] < 1 and middle < 0.97 else "  SLOWER" if ratios[0] > 1 and middle > 1.03 else ""
        print("%-32s %12.1f %12.1f %8.3f  %.3f..%.3f%s"
              % (name, statistics.median(v[0] for v in values), statistics.median(v[1] for v in values),
                 middle, ratios[0], ratios[-1], mark))
    return 0


if __name__ == "__main__":
    sys.exit(main())
