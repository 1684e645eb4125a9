# SPDX-License-Identifier: Apache-2.0
"""Reading what the benchmarks wrote: medians and quartiles per benchmark."""
import json
import pathlib
import statistics


class Figures:
    """The benchmarks of one or more result files, by name without Google Benchmark's own suffixes."""

    def __init__(self, *paths):
        self.samples = {}
        self.counters = {}
        for path in paths:
            if pathlib.Path(path).exists():
                self._read(json.loads(pathlib.Path(path).read_text()))

    def _read(self, content):
        for run in content.get("benchmarks", []):
            if run.get("run_type") != "iteration" or run.get("error_occurred"):
                continue
            name = "/".join(p for p in run["name"].split("/")
                            if p != "manual_time" and ":" not in p)
            nanoseconds = run["real_time"] * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            self.samples.setdefault(name, []).append(nanoseconds / run["items"])
            for key, value in run.items():
                if isinstance(value, (int, float)) and not isinstance(value, bool):
                    self.counters.setdefault((name, key), []).append(value)

    def has(self, name):
        return name in self.samples

    def per_item(self, name):
        """Median nanoseconds per prefix or operation; None when it was not measured."""
        return statistics.median(self.samples[name]) if name in self.samples else None

    def quartiles(self, name):
        values = sorted(self.samples[name])
        if len(values) < 2:
            return values[0], values[0]
        cuts = statistics.quantiles(values, n=4, method="inclusive")
        return cuts[0], cuts[2]

    def counter(self, name, key):
        values = self.counters.get((name, key))
        return statistics.median(values) if values else None

    def ratio(self, above, below):
        a, b = self.per_item(above), self.per_item(below)
        return a / b if a is not None and b is not None else None

    def names(self):
        return list(self.samples)
