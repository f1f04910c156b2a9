#!/usr/bin/env python3
"""Does every example program say the same of itself as its manual page?

usage: manual-pages.py BIN_DIR MAN_DIR --prefix=[PREFIX] PROGRAM...

PREFIX is what the names of the built programs, and of their pages, begin with.

Each PROGRAM (but those that are only there to be read) has a page in MAN_DIR and the other way
round. NAME and SYNOPSIS of the page are what the program answers to --help, which it ends with 0;
used wrongly it ends with 2 and the same line on the error stream. `man` has nothing to warn of.
"""

import pathlib
import re
import subprocess
import sys

TO_BE_READ = {"first_host"}
# What these are not used with; programs that take anything are not asked.
TAKES_ANYTHING = {"preview_qt", "preview_gtk"}
WRONG = {"vision_mixer": ["--no-such-option"]}


class Page:
    """NAME and SYNOPSIS of a page that uses no more of the language than these pages do."""

    def __init__(self, path):
        sections = re.split(r'^\.SH "?([^"\n]*)"?\n', path.read_text(), flags=re.M)
        self.sections = dict(zip(sections[1::2], sections[2::2]))
        self.name, _, self.summary = self.plain("NAME").partition(" - ")
        self.usage = self.plain("SYNOPSIS").split("\n.PP\n")

    def plain(self, section):
        text = re.sub(r"^\.(B|BR|I) ", "", self.sections[section], flags=re.M)
        text = re.sub(r"\\f[BIPR]", "", text).replace("\\-", "-")
        return "\n.PP\n".join(" ".join(part.split()) for part in text.split("\n.PP\n"))

    def has(self, words):
        return f"\n.B {words}\n" in "\n" + self.sections["EXIT STATUS"]


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=60)


def faults(program, bin_dir, man_dir, name):
    path = man_dir / f"{name}.1"
    if not path.exists():
        yield f"no manual page {path.name}"
        return
    page = Page(path)
    if page.name != name:
        yield f"the page is about {page.name}"
    if page.usage[1:] != [f"{name} --help"]:
        yield "the page does not tell of --help"

    help_ = run(bin_dir / name, "--help")
    wanted = f"use: {page.usage[0]}\n{page.summary}\n"
    if (help_.returncode, help_.stdout) != (0, wanted):
        yield f"--help ends with {help_.returncode} and\n{help_.stdout}, the page has\n{wanted}"

    if program not in TAKES_ANYTHING:
        wrong = run(bin_dir / name, *WRONG.get(program, []))
        line = f"use: {page.usage[0]}"
        if wrong.returncode != 2 or line not in wrong.stderr.splitlines() or not page.has("2"):
            yield f"wrong use ends with {wrong.returncode} and\n{wrong.stderr}"
    elif page.has("2"):
        yield "the page tells of a wrong use, which there is not"

    rendered = run("man", "--warnings", "--encoding=UTF-8", "--local-file", path)
    if rendered.returncode != 0 or rendered.stderr or name not in rendered.stdout:
        yield f"man says {rendered.stderr or rendered.stdout}"


def main():
    bin_dir, man_dir = map(pathlib.Path, sys.argv[1:3])
    prefix = sys.argv[3].removeprefix("--prefix=")
    programs = set(sys.argv[4:]) - TO_BE_READ
    found = [f"{page.stem}: a page of no program" for page in sorted(man_dir.glob("*.1"))
             if page.stem not in {prefix + program for program in programs}]
    for program in sorted(programs):
        name = prefix + program
        found += [f"{name}: {fault}" for fault in faults(program, bin_dir, man_dir, name)]
    if not programs:
        found.append("no programs")
    if found:
        sys.exit("\n".join(found))
    print(f"manual pages: ok ({len(programs)})")


main()
