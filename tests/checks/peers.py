#!/usr/bin/env python3
"""The comparison's own arithmetic: figures, table, bars. usage: peers.py SOURCE_ROOT"""

import os
import sys
import tempfile
import unittest
import unittest.mock
import xml.dom.minidom

sys.path.insert(0, os.path.join(sys.argv.pop(1), "bench", "peers"))

import bars  # noqa: E402
import measuring  # noqa: E402
import page  # noqa: E402
from media import Media  # noqa: E402
from works import Makers  # noqa: E402


def side(name, cpu, rate, missing=None):
    return {"name": name, "cpu": cpu, "rate": rate, "missing": missing}


def results(*peers):
    work = {"key": "k", "title": "Work & more", "unit": "picture", "peers": list(peers)}
    work["library"] = side("library", [1.0, 2.0, 4.0], [100.0, 200.0, 400.0])
    about = {"date": "a day", "machine": "a machine", "rounds": 3, "versions": ["peer 1"]}
    return {"about": about, "works": [work]}


class Measuring(unittest.TestCase):
    def test_told_takes_the_benchmarks_lines_alone(self):
        text = "[L] line of the library\nbench: cpu 1.5\nbench: fps 3e2\nbench: of three words 1\n"
        self.assertEqual(measuring.told(text), {"cpu": 1.5, "fps": 300.0})

    def test_a_run_tells_what_the_process_used(self):
        used = measuring.run([sys.executable, "-c", "sum(range(3000000)); print('done')"])
        self.assertEqual(used.output, "done\n")
        self.assertGreater(used.cpu, 0.0)
        self.assertGreater(used.wall, 0.0)

    def test_a_run_that_fails_says_why(self):
        with self.assertRaisesRegex(measuring.Failed, "left with 3: no camera"):
            measuring.run(["sh", "-c", "echo no camera >&2; exit 3"])

    def test_the_start_is_taken_off(self):
        program = measuring.Program("p", lambda count: ["p", str(count)], 52)
        start, each = 3.0, 0.02
        runs = {f"{n}": measuring.Used(start + n * each, start + n * each / 2, "") for n in (2, 52)}
        with unittest.mock.patch("measuring.run", lambda command, _: runs[command[1]]):
            figures = program.measure()
        self.assertAlmostEqual(figures.cpu, 10.0)
        self.assertAlmostEqual(figures.rate, 50.0)

    def test_a_long_run_that_took_no_longer_has_not_run(self):
        program = measuring.Program("p", lambda count: ["p"], 52)
        same = measuring.Used(1.0, 1.0, "")
        with unittest.mock.patch("measuring.run", lambda command, _: same):
            self.assertRaises(measuring.Failed, program.measure)

    def test_a_program_that_is_not_there_is_told(self):
        program = measuring.Program("p", lambda n: ["no-such-program"], 10)
        self.assertEqual(program.missing(), "no-such-program is not installed")
        own = measuring.Benchmark("library", ["/nowhere/bench_None"])
        self.assertEqual(own.missing(), "/nowhere/bench_None is not built")

    def test_ratios_are_taken_round_by_round(self):
        spread = measuring.Spread.of_ratios([1.0, 2.0, 9.0], [2.0, 2.0, 3.0])
        self.assertEqual((spread.middle, spread.least, spread.most), (1.0, 0.5, 3.0))


class Page(unittest.TestCase):
    def test_numbers_have_the_digits_that_count(self):
        texts = [page.number(value) for value in (0.0123, 0.234, 9.87, 10.04, 99.9, 100.4, 4203.0)]
        self.assertEqual(texts, ["0.012", "0.23", "9.87", "10.0", "99.9", "100", "4203"])

    def test_a_row_for_each_program(self):
        peer = side("peer", [2.0, 4.0, 8.0], [50.0, 100.0, 100.0])
        gone = side("gone", [], [], "gone is not installed")
        alone = side("beside", [1.0, 1.0, 1.0], [])
        lines = page.table(results(peer, gone, alone)).splitlines()[4:]
        self.assertEqual(
            lines,
            [
                "| **Work & more** | library | 2.00 (1.00 to 4.00) | 200 |  |  |",
                "|  | peer | 4.00 (2.00 to 8.00) | 100 | 0.50 | 2.00 (2.00 to 4.00) |",
                "|  | gone | gone is not installed |  |  |  |",
                "|  | beside | 1.00 |  | 2.00 (1.00 to 4.00) |  |",
            ],
        )

    def test_what_runs_in_real_time_has_no_speed(self):
        found = results(side("peer", [2.0, 4.0, 8.0], [50.0, 100.0, 100.0]))
        found["works"][0]["library"]["rate"] = [0.0, 0.0, 0.0]
        lines = page.table(found).splitlines()[4:]
        self.assertEqual(lines[0].split("|")[4], " in real time ")
        self.assertEqual(lines[1].split("|")[6], "  ")

    def test_the_table_goes_between_the_marks_and_nothing_else_changes(self):
        text = f"prose\n{page.BEGIN}\n\nold\n\n{page.END}\nmore\n"
        new = page.with_table(text, "new")
        self.assertEqual(new, f"prose\n{page.BEGIN}\n\nnew\n\n{page.END}\nmore\n")
        self.assertEqual(page.with_table(new, "new"), new)

    def test_a_page_without_a_place_is_left(self):
        for text in ("", page.BEGIN, page.END, page.END + page.BEGIN, 2 * (page.BEGIN + page.END)):
            with self.assertRaises(ValueError):
                page.with_table(text, "new")


class Bars(unittest.TestCase):
    @staticmethod
    def lengths(found, measure):
        picture = xml.dom.minidom.parseString(bars.draw(found, measure, "Title", "a < b"))
        shapes = picture.getElementsByTagName("rect")[1:]
        unit = bars.BARS / bars.LONGEST[measure]
        return [round(float(shape.getAttribute("width")) / unit, 2) for shape in shapes]

    def test_lengths_are_times_the_library(self):
        peer = side("peer", [2.0, 4.0, 8.0], [50.0, 100.0, 200.0])
        self.assertEqual(self.lengths(results(peer), "cpu"), [1.0, 2.0])
        self.assertEqual(self.lengths(results(peer), "rate"), [1.0, 0.5])

    def test_what_is_longer_than_the_picture_is_cut(self):
        peer = side("peer", [100.0, 200.0, 400.0], [1.0, 1.0, 1.0])
        self.assertEqual(self.lengths(results(peer), "cpu"), [1.0, bars.LONGEST["cpu"]])
        self.assertIn("100 x, 200 ms", bars.draw(results(peer), "cpu", "Title", ""))

    def test_those_without_figures_have_no_bar(self):
        self.assertEqual(self.lengths(results(side("gone", [], [], "gone")), "cpu"), [])
        beside = side("beside", [1.0, 1.0, 1.0], [])
        self.assertEqual(self.lengths(results(beside), "rate"), [])


class Works(unittest.TestCase):
    def test_keys_differ_and_each_work_has_a_peer(self):
        with tempfile.TemporaryDirectory() as folder:
            works = Makers("/programs", Media(folder, "/programs")).all()
        keys = [work.key for work in works]
        self.assertEqual(len(set(keys)), len(keys))
        for work in works:
            self.assertTrue(work.peers, work.key)


if __name__ == "__main__":
    unittest.main()
