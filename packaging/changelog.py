#!/usr/bin/env python3
"""Writes the change list as a Debian changelog.

usage: changelog.py CHANGES.md VERSION MAINTAINER

In CHANGES.md a version is a heading "## X.Y.Z (YYYY-MM-DD)", the newest first, and a change a list
item below it. VERSION is what the newest one is called as a package: its own version, and perhaps
more behind it.
"""

import datetime
import re
import sys
import textwrap

HEADING = re.compile(r"^## (\d+\.\d+\.\d+) \((\d{4})-(\d\d)-(\d\d)\)$")
LINK = re.compile(r"\[([^\]]*)\]\([^)]*\)")


def fail(text):
    sys.exit(f"changelog: {text}")


def entries(lines):
    """Pairs of a version with its date and the texts of its changes."""
    found = []
    for line in lines:
        heading = HEADING.match(line)
        if heading:
            found.append((heading[1], datetime.date(*map(int, heading.groups()[1:])), []))
        elif line.startswith("## "):
            fail(f"no version and date in '{line}'")
        elif line.startswith("- ") and found:
            found[-1][2].append(line[2:])
        elif line.startswith("  ") and found and found[-1][2]:
            found[-1][2][-1] += " " + line.strip()
    return found


def plain(text):
    return LINK.sub(r"\1", text).replace("`", "").replace("**", "")


def main():
    path, package_version, maintainer = sys.argv[1:]
    with open(path, encoding="utf-8") as file:
        found = entries(file.read().splitlines())
    if not found:
        fail("no version in it")
    if not re.fullmatch(re.escape(found[0][0]) + r"([+~-].+)?", package_version):
        fail(f"the newest version in it is {found[0][0]}, not {package_version}")
    for index, (version, day, changes) in enumerate(found):
        if not changes:
            fail(f"nothing is said of {version}")
        # Midday, so that it is that day wherever it is read.
        date = f"{day:%a, %d %b %Y} 12:00:00 +0000"
        print(f"quolsdk ({package_version if index == 0 else version}) unstable; urgency=medium\n")
        for change in changes:
            print(textwrap.fill(plain(change), 76, initial_indent="  * ", subsequent_indent="    "))
        print(f"\n -- {maintainer}  {date}\n")


main()
