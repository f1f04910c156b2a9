#!/usr/bin/env python3
"""The library beside the programs that a user would pick instead.

Every round runs each of them once, one after the other: the library, then its peers. Compared is
what a picture costs in a steady state: CPU time, user and system, of all threads, and pictures a
second. Which programs there are is found out; what is missing is told and left out.

Without options it measures everything and writes the table into docs/performance.md and the bars
into docs/images/.
"""

import argparse
import datetime
import json
import os
import subprocess
import sys

import bars
import page
from measuring import Failed, run
from media import HEIGHT, WIDTH, Media
from works import Makers

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def progress(words):
    print(words, file=sys.stderr, flush=True)


def options():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("--rounds", type=int, default=5, help="of which the median is taken")
    parser.add_argument("--only", default="", help="works, by their keys, with commas between")
    parser.add_argument("--build", default=os.path.join(ROOT, "build"))
    parser.add_argument("--results", help="file of all figures; build/peers.json by itself")
    parser.add_argument("--page", default=os.path.join(ROOT, "docs", "performance.md"))
    parser.add_argument("--images", default=os.path.join(ROOT, "docs", "images"))
    parser.add_argument("--draw", action="store_true", help="from the results of the last run")
    parser.add_argument("--check", metavar="FOLDER", help="only a picture of each peer's work")
    chosen = parser.parse_args()
    chosen.results = chosen.results or os.path.join(chosen.build, "peers.json")
    if chosen.rounds < 1:
        parser.error("at least one round")
    return chosen


def first_line(command):
    try:
        return run(command).output.splitlines()[0]
    except (Failed, OSError, IndexError):
        return None


def versions():
    """Of the peers that are there."""
    found = []
    for command in (["ffmpeg", "-version"], ["gst-launch-1.0", "--version"]):
        line = first_line(command)
        if line:
            words = line.split()
            found.append(f"{words[0]} {words[2] if words[1] == 'version' else words[-1]}")
    melt = subprocess.run(["sh", "-c", "melt --version 2>&1"], capture_output=True, check=False)
    lines = melt.stdout.decode(errors="replace").splitlines()
    if melt.returncode == 0 and lines:
        found.append(lines[0])
    return found


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        models = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return f"{os.cpu_count()} x {models[0]}" if models else f"{os.cpu_count()} processors"


class Side:
    """One program of a work, and what all rounds found."""

    def __init__(self, contender):
        self.contender = contender
        self.missing = contender.missing()
        self.figures = []
        if self.missing:
            progress(f"   {contender.name} is left out: {self.missing}")

    def measure(self):
        if self.missing:
            return
        try:
            self.figures.append(self.contender.measure())
        except Failed as failure:
            # One that fails once is not compared: a ratio wants both sides of every round.
            self.missing = "did not run"
            self.figures.clear()
            progress(f"   {self.contender.name}: {failure}")

    def as_dict(self):
        return {
            "name": self.contender.name,
            "cpu": [each.cpu for each in self.figures],
            "rate": [each.rate for each in self.figures],
            "missing": self.missing,
        }


def measure(work, rounds):
    """All of a work's figures; None when the library's own program fails."""
    progress(f"-- {work.title}")
    library = Side(work.ours)
    peers = [Side(peer) for peer in work.peers]
    for turn in range(rounds):
        progress(f"   round {turn + 1} of {rounds}")
        for side in [library, *peers]:
            side.measure()
    if not library.figures:
        return None
    found = [peer.as_dict() for peer in peers]
    for name, key in work.beside.items():
        cpu = [figures.told[key] for figures in library.figures]
        found.append({"name": name, "cpu": cpu, "rate": [], "missing": None})
    return {
        "key": work.key,
        "title": work.title,
        "unit": work.unit,
        "library": library.as_dict(),
        "peers": found,
    }


def check(works, folder):
    """Lets each peer make five pictures, counts them and keeps the last one to look at."""
    os.makedirs(folder, exist_ok=True)
    raw = os.path.join(folder, "out.yuv")
    size = WIDTH * HEIGHT * 3 // 2
    for work in works:
        for peer in work.peers:
            if peer.missing():
                continue
            if os.path.exists(raw):
                os.remove(raw)
            try:
                run(peer.command(5, raw), peer.environment)
            except Failed as failure:
                print(f"{work.key}, {peer.name}: {failure}")
                continue
            if not os.path.exists(raw):
                continue  # work without pictures to look at
            count, over = divmod(os.path.getsize(raw), size)
            print(f"{work.key}, {peer.name}: {count} pictures of 5, {over} bytes over")
            name = "".join(c if c.isalnum() else "-" for c in f"{work.key}-{peer.name}") + ".png"
            picture = ["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "yuv420p"]
            picture += ["-s", f"{WIDTH}x{HEIGHT}", "-i", raw, "-vf", f"select=eq(n\\,{count - 1})"]
            run(picture + ["-s", "640x360", "-frames:v", "1", os.path.join(folder, name)])


def write(path, words):
    with open(path, "w", encoding="utf-8") as file:
        file.write(words)
    progress(f"-- wrote {path}")


def publish(results, chosen):
    """The table and the bars."""
    table = page.table(results)
    print(table)
    with open(chosen.page, encoding="utf-8") as file:
        text = page.with_table(file.read(), table)
    write(chosen.page, text)
    for measured, title, remark in (
        ("cpu", "CPU time a picture", "Of all threads; the library is 1. Shorter is better."),
        ("rate", "Pictures a second", "On all processors; the library is 1. Longer is faster."),
    ):
        picture = bars.draw(results, measured, title, remark)
        write(os.path.join(chosen.images, f"peers-{measured}.svg"), picture)


def main():
    chosen = options()
    if chosen.draw:
        with open(chosen.results, encoding="utf-8") as file:
            publish(json.load(file), chosen)
        return 0
    programs = os.path.join(chosen.build, "bin")
    works = Makers(programs, Media(os.path.join(chosen.build, "benchmedia"), programs)).all()
    wanted = [key for key in chosen.only.split(",") if key]
    unknown = set(wanted) - {work.key for work in works}
    if unknown:
        progress(f"no such work: {', '.join(sorted(unknown))}")
        return 2
    works = [work for work in works if not wanted or work.key in wanted]
    if chosen.check:
        check(works, chosen.check)
        return 0
    results = {
        "about": {
            "date": datetime.date.today().isoformat(),
            "machine": machine(),
            "rounds": chosen.rounds,
            "versions": versions(),
        },
        "works": [],
    }
    for work in works:
        figures = measure(work, chosen.rounds)
        if figures is None:
            return 1
        results["works"].append(figures)
        write(chosen.results, json.dumps(results, indent=1))
    if wanted:
        print(page.table(results))  # a part of it is no table for the page
    else:
        publish(results, chosen)
    return 0


if __name__ == "__main__":
    sys.exit(main())
