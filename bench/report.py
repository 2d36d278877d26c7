#!/usr/bin/env python3
"""Makes the tables and the plot from the benchmark's JSON output.

usage: report.py RESULTS.json RESULTS.md [--native NATIVE.json] [--document FILE.md] [--plot FILE.svg]

RESULTS.json is of the library that ships; NATIVE.json, of the x86-64 build, adds its times and those
of 64-bit peers. --document replaces the table between the markers in FILE.md; --plot draws the main
rows.
"""
import argparse
import json
import pathlib
import re

BEGIN, END = "<!-- begin: written by script/bench -->", "<!-- end -->"


class Row:
    """One benchmark: an operation on a picture in a storage."""

    def __init__(self, record):
        self.name = record["name"].split("/iterations")[0]
        parts = self.name.split("/")
        self.operation, self.size, self.scene, self.storage = parts[:4]
        self.as_is = "as is" in parts
        self.label = record.get("label", "")
        self.ns = record.get("ns", 0)
        self.median = record.get("median ns", 0)
        self.memcpy = record.get("memcpy", 0)
        self.goal, self.goal_ns = record.get("goal", 0), record.get("goal ns", 0)
        self.peers = self.named(record, "peer: ")
        self.asides = self.named(record, "aside: ")
        self.differences = self.named(record, "difference: ")
        self.native_ns = 0

    def add_native(self, other):
        """The same row of the x86-64 build. Of a peer that is there in both widths, its best."""
        self.native_ns = other.ns
        for own, theirs in ((self.peers, other.peers), (self.asides, other.asides)):
            for name, ns in theirs.items():
                # Bounds are those of the same process.
                if not own.get(name) or (not name.endswith(" alone") and 0 < ns < own[name]):
                    own[name] = ns
        self.differences = {**other.differences, **self.differences}

    @staticmethod
    def named(record, prefix):
        return {k[len(prefix):]: v for k, v in record.items() if k.startswith(prefix)}

    @property
    def there(self):
        return self.ns > 0

    @property
    def times_memcpy(self):
        return self.ns / self.memcpy if self.memcpy else 0

    def bound(self):
        """Name and time of the part of the job that nothing can leave out, where it was measured."""
        bounds = {k: v for k, v in self.asides.items() if k.endswith(" alone") and v > 0}
        return next(iter(bounds.items()), (None, 0))

    def best_peer(self):
        measured = {k: v for k, v in self.peers.items() if v > 0}
        return min(measured.items(), key=lambda p: p[1]) if measured else None

    def same_result(self, peer):
        return not self.differences.get(peer)

    @property
    def unit(self):
        """What a goal is a multiple of."""
        return 1 if self.goal_ns else self.memcpy

    @property
    def misses(self):
        goal = self.goal_ns or self.goal
        # As it is shown.
        return self.there and goal > 0 and round(self.ns / self.unit, 2) > goal

    def remarks(self):
        found = []
        if self.misses:
            name, bound = self.bound()
            reason = f", where {name} takes {bound / self.unit:.2f}" if bound else ""
            found.append(f"{self.size}: {self.ns / self.unit / (self.goal_ns or self.goal):.2f} × "
                         f"the goal{reason}")
        best = self.best_peer()
        if self.there and best and best[1] < self.ns and not self.same_result(best[0]):
            found.append(f"{self.size}: {best[0]} rounds otherwise")
        return found


def number(value):
    return f"{value:.3f}" if value < 10 else f"{value:.1f}"


def ratio(value):
    return f"{value:.2f}" if value >= 0.1 else f"{value:.1g}"


def table(head, rows):
    if not rows:
        return ""
    lines = ["| " + " | ".join(head) + " |",
             "|" + "|".join(" --- " if i < 1 else " ---: " for i in range(len(head))) + "|"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def own_cells(row):
    if not row.there:
        return [row.label or "no result", "", ""]
    return [number(row.ns), number(row.median), f"{row.times_memcpy:.2f}"]


def peer_cells(row):
    best = row.best_peer()
    if best is None:
        return ["not measured" if row.peers else "none known", ""]
    name, ns = best
    missing = "" if all(row.peers.values()) else " (others not measured)"
    return [f"{name}, {number(ns)}{missing}", ratio(row.ns / ns) if row.there else ""]


def is_main(row):
    return row.storage == "cairo" and not row.as_is and row.size in ("12 MP", "10 M pairs")


def main_cells(row):
    """ns, × memcpy with the goal, ns of the x86-64 build, × best peer."""
    if row is None or not row.there:
        return ["", "", "", ""]
    times = f"{row.ns:.2f} ns" if row.goal_ns else f"{row.times_memcpy:.2f}"
    goal = row.goal_ns or row.goal
    if goal:
        times += f" {'>' if row.misses else '≤'} {goal:g}"
    best = row.best_peer()
    peer = f"{ratio(row.ns / best[1])} {best[0]}" if best else ""
    return [number(row.ns), times, number(row.native_ns) if row.native_ns else "", peer]


def main_table(rows):
    head = ["operation", "256 × 256: ns", "× memcpy", "x86-64", "× best peer", "12 MP: ns",
            "× memcpy", "x86-64", "× best peer", "remarks"]
    small = {r.operation: r for r in rows
             if r.size == "256" and r.storage == "cairo" and not r.as_is}
    lines = []
    for row in rows:
        if not is_main(row) or row.scene == "photo":
            continue
        pair = [small.get(row.operation), row]
        remarks = "; ".join(text for r in pair if r is not None for text in r.remarks())
        lines.append([row.operation, *main_cells(pair[0]), *main_cells(row), remarks])
    return table(head, lines)


def size_table(rows, size):
    head = ["operation", "picture", "ns", "median", "× memcpy", "best peer, ns", "× best peer"]
    chosen = [r for r in rows if r.size == size and r.storage == "cairo" and not r.as_is]
    return table(head, [[r.operation, r.scene, *own_cells(r), *peer_cells(r)] for r in chosen])


def storage_table(rows, size):
    """ns per pixel in every storage, and how far each is from the words of a cairo picture."""
    base = {r.operation: r for r in rows
            if r.size == size and r.storage == "cairo" and not r.as_is and r.scene != "photo"}
    cells = []
    for operation, main in base.items():
        line = [operation, number(main.ns) if main.there else "no result"]
        found = False
        for storage, as_is in (("cairo", True), ("cairo alpha", False), ("record", False),
                               ("triples", False)):
            row = next((r for r in rows if (r.operation, r.size, r.storage, r.as_is) ==
                        (operation, size, storage, as_is)), None)
            found |= row is not None
            if row is None or not row.there or not main.there:
                line.append("")
            else:
                line.append(f"{number(row.ns)} ({row.ns / main.ns:.2f})")
        if found:
            cells.append(line)
    return table(["operation", "cairo", "cairo, fresh memory", "cairo with alpha", "record",
                  "triples"], cells)


def call_table(rows):
    share = next((r.ns for r in rows if r.operation.startswith("host services")), 0)
    single = {r.operation: r for r in rows if r.size == "1" and r.storage == "cairo"}
    tiny = {r.operation: r for r in rows if r.size == "64" and r.storage == "cairo"}
    cells = [[name, number(r.ns), number(max(0, r.ns - share)) if share else "",
              number(tiny[name].ns * 64 * 64) if name in tiny else ""]
             for name, r in single.items() if r.there and not name.startswith("host services")]
    text = table(["operation", "1 x 1: ns per call", "less the host's services",
                  "64 x 64: ns per call"], cells)
    if text and share:
        text += (f"\nThe stand-in host's own services for an operation with one source and a new "
                 f"result take {share:.0f} ns of each call.\n")
    return text


def peer_table(rows):
    cells = []
    for r in rows:
        if r.storage != "cairo" or r.as_is or r.size not in ("12 MP", "10 M pairs", "256"):
            continue
        for kind, peers in (("", r.peers), ("other job or data", r.asides)):
            for name, ns in sorted(peers.items(), key=lambda p: p[1]):
                difference = r.differences.get(name)
                cells.append([f"{r.operation}, {r.size} {r.scene}", name,
                              number(ns) if ns else "not measured",
                              f"{ns / r.memcpy:.2f}" if ns and r.memcpy else "",
                              f"{difference:.0f}" if difference is not None else "", kind])
    return table(["row", "peer", "ns", "× memcpy", "largest difference", "remark"], cells)


def results(rows, context):
    parts = [
        "# Results\n",
        f"{context['machine']}. ns per pixel (per sample pair for the waveform), the least of all "
        "repetitions; one thread; every row's contestants in turn with each other.\n",
        ("## What ships, cairo, pictures recycled\n", main_table(rows)),
        ("## 12 megapixels\n", size_table(rows, "12 MP")),
        ("## 1 megapixel\n", size_table(rows, "1 MP")),
        ("## 256 x 256\n", size_table(rows, "256")),
        ("## Storages, 12 megapixels: ns per pixel (× cairo)\n", storage_table(rows, "12 MP")),
        ("## Storages, 256 x 256: ns per pixel (× cairo)\n", storage_table(rows, "256")),
        ("## Fixed cost of a call\n", call_table(rows)),
        ("## All peers\n", peer_table(rows)),
    ]
    return "\n".join(p if isinstance(p, str) else "\n".join(p) for p in parts
                     if isinstance(p, str) or p[1])


def replace_between_markers(path, text):
    old = path.read_text()
    if BEGIN not in old or END not in old:
        raise SystemExit(f"{path}: the markers for the table are missing")
    pattern = re.compile(re.escape(BEGIN) + ".*?" + re.escape(END), re.S)
    path.write_text(pattern.sub(lambda _: f"{BEGIN}\n{text}\n{END}", old))


def draw(rows, path):
    import matplotlib
    matplotlib.use("svg")
    from matplotlib import pyplot

    matplotlib.rcParams.update({"svg.hashsalt": "zvk", "font.size": 9, "svg.fonttype": "none"})
    worst = {}
    for row in rows:
        if is_main(row) and row.there and row.memcpy:
            if row.operation not in worst or row.times_memcpy > worst[row.operation].times_memcpy:
                worst[row.operation] = row
    if not worst:
        return
    chosen = list(worst.values())[::-1]
    figure, axes = pyplot.subplots(figsize=(9, 0.27 * len(chosen) + 1.4))
    series = {"goal": [], "bound": [], "best peer": [], "this plug-in": []}
    for y, row in enumerate(chosen):
        best = row.best_peer()
        if best:
            peer = best[1] / row.memcpy
            color = "#2a7f3f" if row.times_memcpy <= peer else "#b3372f"
            axes.plot([row.times_memcpy, peer], [y, y], color=color, lw=1.5, zorder=1)
            series["best peer"].append((peer, y))
        goal = row.goal or row.goal_ns / row.memcpy
        if goal:
            series["goal"].append((goal, y))
        _, bound = row.bound()
        if bound:
            series["bound"].append((bound / row.memcpy, y))
        series["this plug-in"].append((row.times_memcpy, y))
    looks = {"goal": ("|", "black", 10), "bound": ("|", "#b07cc6", 14),
             "best peer": ("D", "#e08a1e", 5), "this plug-in": ("o", "#1f5fa8", 6)}
    for name, points in series.items():
        marker, color, size = looks[name]
        axes.plot([x for x, _ in points], [y for _, y in points], marker, color=color, ms=size,
                  mew=1.5 if marker == "|" else 0, zorder=3, label=name)
    axes.axvline(1, color="gray", lw=0.8, ls="--")
    axes.set_xscale("log")
    axes.set_xticks([0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500])
    axes.set_yticks(range(len(chosen)), [r.operation for r in chosen])
    axes.set_ylim(-0.7, len(chosen) - 0.3)
    axes.xaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.xaxis.set_minor_formatter("")
    axes.set_xlabel("time, × memcpy of the same picture (12 megapixels, one core; left is faster)")
    axes.grid(axis="x", color="#e6e6e6", lw=0.5)
    axes.set_axisbelow(True)
    axes.legend(loc="lower right", framealpha=1)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def read(path):
    return [Row(record) for record in json.loads(path.read_text())["benchmarks"]]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("json", type=pathlib.Path)
    parser.add_argument("markdown", type=pathlib.Path)
    parser.add_argument("--native", type=pathlib.Path)
    parser.add_argument("--machine", default="")
    parser.add_argument("--document", type=pathlib.Path)
    parser.add_argument("--plot", type=pathlib.Path)
    options = parser.parse_args()
    rows = read(options.json)
    if options.native:
        others = {row.name: row for row in read(options.native)}
        for row in rows:
            if row.name in others:
                row.add_native(others[row.name])
    text = results(rows, {"machine": options.machine})
    options.markdown.write_text(text)
    if options.document:
        replace_between_markers(options.document, f"{options.machine}.\n\n{main_table(rows)}")
    if options.plot:
        draw(rows, options.plot)
    print(main_table(rows) or text)


if __name__ == "__main__":
    main()
