#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Draw a benchmark run as SVG pictures: perf-full, perf-phases, perf-updates, perf-lookups.

  bench_plots.py RESULTS_DIRECTORY PICTURES_DIRECTORY
"""
import math
import pathlib
import sys

from bench_figures import Figures

SIZES = [100, 1000, 10000, 30000, 60000]
WIDTH, HEIGHT = 820, 460
LEFT, RIGHT, TOP, BOTTOM = 70, 190, 56, 52
INK, PALE, GRID = "#22272e", "#6b7480", "#e4e7eb"
STYLE = ("text{font-family:'Helvetica Neue',Helvetica,Arial,sans-serif;font-size:12px;fill:%s}"
         ".title{font-size:16px;font-weight:600}.note{fill:%s}" % (INK, PALE))
LIBRARY, SECOND, FLOOR, TOUCH = "#1257a5", "#5b9bd5", "#22272e", "#9aa3ad"
PEER_COLOURS = {"rte_fib6": "#c2410c", "rte_rib6": "#b7791f", "rte_lpm6": "#15803d", "ndpi_patricia": "#7e4fa8"}
PHASE_COLOURS = ["#0b3c73", "#1257a5", "#2f7fc9", "#6aaae0", "#a9cff0", "#0f766e", "#2aa198", "#7fcdc4", "#b45309",
                 "#dd8a2f", "#f2c27b", "#6b7480", "#b3bac3"]


def element(name, text="", **attributes):
    inside = "".join(' %s="%s"' % (k.rstrip("_").replace("_", "-"), v) for k, v in attributes.items())
    text = str(text)
    return "<%s%s>%s</%s>" % (name, inside, text, name) if text else "<%s%s/>" % (name, inside)


def text(x, y, content, **attributes):
    return element("text", content, x="%.1f" % x, y="%.1f" % y, **attributes)


class Picture:
    def __init__(self, title, subtitle):
        self.parts = [text(LEFT, 24, title, class_="title"), text(LEFT, 42, subtitle, class_="note")]

    def add(self, part):
        self.parts.append(part)

    def write(self, path):
        body = "\n".join(self.parts)
        path.write_text('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" width="%d" height="%d">\n'
                        "<style>%s</style>\n%s\n%s\n</svg>\n"
                        % (WIDTH, HEIGHT, WIDTH, HEIGHT, STYLE,
                           element("rect", width=WIDTH, height=HEIGHT, fill="#ffffff"), body))
        print("drew", path)


def scale(low, high, start, end, logarithmic):
    if logarithmic:
        return lambda v: start + (math.log(v) - math.log(low)) / (math.log(high) - math.log(low)) * (end - start)
    return lambda v: start + (v - low) / (high - low) * (end - start)


def x_axis_title(picture):
    picture.add(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 12, "prefixes in the table", text_anchor="middle",
                     class_="note"))


def grid_line(picture, at, label):
    picture.add(element("line", x1=LEFT, x2=WIDTH - RIGHT, y1="%.1f" % at, y2="%.1f" % at, stroke=GRID))
    picture.add(text(LEFT - 8, at + 4, label, text_anchor="end", class_="note"))


def short(value):
    if value >= 1000000:
        return "%g ms" % (value / 1e6)
    return "%g µs" % (value / 1000) if value >= 1000 else "%g ns" % value


def spread_labels(labels, gap=15):
    """Move labels at the right edge apart, keeping their order."""
    labels.sort()
    for i in range(1, len(labels)):
        labels[i][0] = max(labels[i][0], labels[i - 1][0] + gap)
    overhang = labels[-1][0] - (HEIGHT - BOTTOM + 8) if labels else 0
    if overhang > 0:
        labels[-1][0] -= overhang
        for i in range(len(labels) - 2, -1, -1):
            labels[i][0] = min(labels[i][0], labels[i + 1][0] - gap)
    return labels


def line_plot(path, title, subtitle, series):
    """series: (label, colour, dash, [(size, nanoseconds)])"""
    series = [s for s in series if len(s[3]) > 1]
    if not series:
        return
    values = [v for s in series for _, v in s[3]]
    low, high = 10 ** math.floor(math.log10(min(values))), 10 ** math.ceil(math.log10(max(values)))
    x = scale(SIZES[0], SIZES[-1], LEFT, WIDTH - RIGHT, True)
    y = scale(low, high, HEIGHT - BOTTOM, TOP, True)
    picture = Picture(title, subtitle)
    decade = low
    while decade <= high * 1.001:
        grid_line(picture, y(decade), short(decade))
        decade *= 10
    for n in SIZES:
        picture.add(text(x(n), HEIGHT - BOTTOM + 20, "{:,}".format(n), text_anchor="middle", class_="note"))
    x_axis_title(picture)
    labels = []
    for label, colour, dash, points in series:
        path_text = " ".join("%.1f,%.1f" % (x(n), y(v)) for n, v in points)
        picture.add(element("polyline", points=path_text, fill="none", stroke=colour, stroke_width=2,
                            stroke_dasharray=dash))
        for n, v in points:
            picture.add(element("circle", cx="%.1f" % x(n), cy="%.1f" % y(v), r=2.6, fill=colour))
        labels.append([y(points[-1][1]), label, colour])
    for at, label, colour in spread_labels(labels):
        picture.add(text(WIDTH - RIGHT + 10, at + 4, label, style="fill:" + colour))
    picture.write(path)


def series_of(f, label, colour, pattern, dash="none"):
    points = [(n, f.per_item(pattern % n)) for n in SIZES]
    return (label, colour, dash, [(n, v) for n, v in points if v is not None])


def peer_series(f, what):
    return [series_of(f, name, colour, "peer_%s/%s/%%d" % (what, name)) for name, colour in PEER_COLOURS.items()]


def draw_phases(path, f):
    names = sorted({key for name, key in f.counters if name.startswith("phases_of_full/") and key[:2].isdigit()})
    if not names:
        return
    columns = [[f.counter("phases_of_full/%d" % n, name) or 0 for name in names] for n in SIZES]
    step = 250
    top = math.ceil(max(sum(c) for c in columns) / step) * step
    y = scale(0, top, HEIGHT - BOTTOM, TOP, False)
    picture = Picture("Full compression by phase", "nanoseconds per prefix; real tables")
    for value in range(0, top + 1, step):
        grid_line(picture, y(value), "%d ns" % value)
    slot = (WIDTH - RIGHT - LEFT) / len(SIZES)
    for i, (n, column) in enumerate(zip(SIZES, columns)):
        left, base = LEFT + slot * (i + 0.18), 0.0
        for value, colour in zip(column, PHASE_COLOURS):
            picture.add(element("rect", x="%.1f" % left, width="%.1f" % (slot * 0.64), y="%.1f" % y(base + value),
                                height="%.1f" % (y(base) - y(base + value)), fill=colour))
            base += value
        middle = left + slot * 0.32
        picture.add(text(middle, y(base) - 6, "%.0f" % base, text_anchor="middle"))
        picture.add(text(middle, HEIGHT - BOTTOM + 20, "{:,}".format(n), text_anchor="middle", class_="note"))
    x_axis_title(picture)
    for i, (name, colour) in enumerate(zip(names, PHASE_COLOURS)):
        at = HEIGHT - BOTTOM - 14 - i * 22
        picture.add(element("rect", x=WIDTH - RIGHT + 14, y=at, width=12, height=12, fill=colour))
        picture.add(text(WIDTH - RIGHT + 32, at + 10, name[3:].replace("_", " ")))
    picture.write(path)


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    results, pictures = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    pictures.mkdir(parents=True, exist_ok=True)
    f = Figures(results / "v6comp.json", results / "phases.json", results / "peers.json")
    line_plot(pictures / "perf-full.svg", "Building a table",
              "time per prefix; real tables, sorted; peers only store them",
              [series_of(f, "full compression", LIBRARY, "full/real/%d"),
               series_of(f, "the same, generated", SECOND, "full/generated/%d", "5 4"),
               series_of(f, "trie floor", FLOOR, "trie_floor/real/%d"),
               series_of(f, "touch floor", TOUCH, "touch_floor/%d")] + peer_series(f, "build_sorted"))
    line_plot(pictures / "perf-updates.svg", "Single updates on a loaded table",
              "time per change; solid: add, dashed: delete",
              [series_of(f, "add", LIBRARY, "update/add/%d/1"),
               series_of(f, "add, safe", SECOND, "update/add_safe/%d/1"),
               series_of(f, "delete", LIBRARY, "update/delete/%d/1", "5 4"),
               series_of(f, "delete, safe", SECOND, "update/delete_safe/%d/1", "5 4"),
               series_of(f, "bit trie add", FLOOR, "bit_trie_update/add/%d/1")]
              + [(label + " add", colour, dash, points) for label, colour, dash, points in peer_series(f, "add")])
    line_plot(pictures / "perf-lookups.svg", "Lookups", "time per lookup of a random stored prefix or covered address",
              [series_of(f, "address", LIBRARY, "lookup_address/%d"),
               series_of(f, "prefix", SECOND, "lookup_prefix/%d"),
               series_of(f, "bit trie, address", FLOOR, "bit_trie_address/%d"),
               series_of(f, "bit trie, prefix", TOUCH, "bit_trie_prefix/%d")] + peer_series(f, "lookup"))
    draw_phases(pictures / "perf-phases.svg", f)
    return 0


if __name__ == "__main__":
    sys.exit(main())
