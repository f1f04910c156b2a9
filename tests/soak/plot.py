#!/usr/bin/env python3
"""Draws what a run of the soak program has measured: plot.py FOLDER [OUTPUT_FOLDER]

Reads samples.csv, calls.csv and rests.csv of the folder and writes soak-memory.png,
soak-threads.png, soak-calls.png and soak-pictures.png. Wants matplotlib (python3-matplotlib).
"""

import csv
import os
import sys

try:
    import matplotlib
except ImportError:
    sys.exit("plot.py: matplotlib is missing: apt-get install python3-matplotlib")
matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402  (behind the choice of what draws)

BLUE, ORANGE, GREEN, RED, GREY = "#2060b0", "#d07010", "#208040", "#c02020", "#b0b0b0"


def columns(path):
    """Name of a column -> its numbers."""
    with open(path, encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    return {name: [float(row[name]) for row in rows] for name in (rows[0] if rows else {})}


def minutes(table):
    return [seconds / 60.0 for seconds in table["seconds"]]


def binned(table, width, *names):
    """Sums of some columns over stretches of `width` minutes, with their middles."""
    sums = {}
    for index, minute in enumerate(minutes(table)):
        row = sums.setdefault(int(minute / width), [0.0] * (len(names) + 1))
        row[0] += 1
        for column, name in enumerate(names):
            row[column + 1] += table[name][index]
    bins = sorted(sums)
    return [(b + 0.5) * width for b in bins], [[sums[b][c] for b in bins] for c in range(len(names) + 1)]


def figure(title, label):
    drawing, axes = plt.subplots(figsize=(8, 3), dpi=100)
    axes.set_title(title, fontsize=10, loc="left")
    axes.set_xlabel("minutes", fontsize=9)
    axes.set_ylabel(label, fontsize=9)
    axes.tick_params(labelsize=8)
    axes.grid(color="#e4e4e4", linewidth=0.6)
    axes.set_axisbelow(True)
    return drawing, axes


def keep(drawing, axes, folder, name, second=None):
    handles, labels = axes.get_legend_handles_labels()
    if second is not None:
        more, names = second.get_legend_handles_labels()
        handles, labels = handles + more, labels + names
    axes.set_xlim(left=0)
    axes.legend(handles, labels, fontsize=8, loc="upper center", ncol=4, frameon=False,
                bbox_to_anchor=(0.5, -0.18))
    drawing.savefig(os.path.join(folder, name), bbox_inches="tight", metadata={"Software": None})
    plt.close(drawing)


def memory(samples, rests, folder):
    drawing, axes = figure("Memory", "MB")
    axes.plot(minutes(samples), samples["resident_mb"], color=BLUE, linewidth=0.8,
              label="resident")
    axes.plot(minutes(samples), samples["heap_mb"], color=ORANGE, linewidth=0.8, label="heap in use")
    axes.plot(minutes(rests), rests["resident_mb"], "o", color=BLUE, markersize=3,
              label="resident, at rest")
    axes.plot(minutes(rests), rests["heap_mb"], "o", color=RED, markersize=3, label="heap, at rest")
    axes.set_ylim(bottom=0)
    keep(drawing, axes, folder, "soak-memory.png")


def threads(samples, rests, folder):
    drawing, axes = figure("Threads and file descriptors", "count")
    for name, color in (("threads", BLUE), ("descriptors", GREEN)):
        axes.plot(minutes(samples), samples[name], color=color, linewidth=0.8, label=name)
        axes.plot(minutes(rests), rests[name], "o", color=color, markersize=3,
                  label=name + ", at rest")
    axes.set_ylim(bottom=0)
    keep(drawing, axes, folder, "soak-threads.png")


def calls(table, folder):
    drawing, axes = figure("How long calls take, in stretches of ten seconds", "milliseconds")
    for kind, colors in (("quick", (GREEN, BLUE)), ("slow", (GREY, ORANGE))):
        for what, color in (("median", colors[0]), ("worst", colors[1])):
            values = [max(value, 0.001) for value in table[f"{kind}_{what}_ms"]]
            axes.plot(minutes(table), values, color=color, linewidth=0.8, label=f"{kind}, {what}")
    axes.set_yscale("log")
    keep(drawing, axes, folder, "soak-calls.png")


def pictures(samples, folder):
    width = max(samples["seconds"]) / 60.0 / 60.0  # sixty bars, whatever the length
    at, (seconds, late, explained, own, others, stolen) = binned(
        samples, width, "late", "explained", "cpu_percent", "others_percent", "stolen_percent")
    drawing, axes = figure("Pictures late by a period or more", "pictures")
    axes.bar(at, late, width * 0.9, color=GREY, label="late for want of a processor")
    axes.bar(at, [a - b for a, b in zip(late, explained)], width * 0.9, color=RED,
             label="late otherwise")
    second = axes.twinx()
    second.set_ylabel("percent of a processor", fontsize=9)
    second.tick_params(labelsize=8)
    second.plot(at, [a / b for a, b in zip(own, seconds)], color=BLUE, linewidth=1,
                label="this process")
    second.plot(at, [a / b for a, b in zip(others, seconds)], color=ORANGE, linewidth=1,
                label="others")
    second.plot(at, [a / b for a, b in zip(stolen, seconds)], color=GREEN, linewidth=1,
                label="other machines")
    second.set_ylim(bottom=0)
    keep(drawing, axes, folder, "soak-pictures.png", second)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    folder = sys.argv[1]
    output = sys.argv[2] if len(sys.argv) == 3 else folder
    samples = columns(os.path.join(folder, "samples.csv"))
    rests = columns(os.path.join(folder, "rests.csv"))
    if not samples or not rests:
        sys.exit("plot.py: nothing was measured in " + folder)
    memory(samples, rests, output)
    threads(samples, rests, output)
    timed = columns(os.path.join(folder, "calls.csv"))
    if timed:
        calls(timed, output)
    pictures(samples, output)


if __name__ == "__main__":
    main()
