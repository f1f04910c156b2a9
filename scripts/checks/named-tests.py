#!/usr/bin/env python3
"""Does every test exist that the documents name, and every test file that there is stand in them?

docs/faults.md names tests as `Suite.Test`, one class after another with a row for each fault; a row
that says what happens names a test that shows it. tests/README.md leads from a class to its files
and names every source of a test folder.

usage: named-tests.py [SOURCE_ROOT]
"""

import os
import re
import sys

CLASSES = """LSignal LFile LReader LLive LStreamPlay LMixer LSwitcher LStinger LAudioMixer LMultiview
LCharacter LAnimation LOutput LRecorder LStream LFrame LPreview LReplay LConvert""".split()

FAULTS = ["Its source stops", "A sink blocks", "Its file vanishes", "Its server dies",
          "Its device goes", "Memory is refused", "No thread to be had"]

FOLDERS = """api core sources outputs compositing graphics platform qt gtk examples show judging
fuzz""".split()

MACRO = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)


def sources(root):
    for folder in FOLDERS:
        path = os.path.join(root, "tests", folder)
        for name in sorted(os.listdir(path)) if os.path.isdir(path) else []:
            if name.endswith(".cpp"):
                yield f"{folder}/{name}"


def read(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        return file.read()


def known_tests(root):
    tests = set()
    for source in sources(root):
        text = read(root, f"tests/{source}")
        # A fixture that goes by another name too: its tests bear that one.
        for suite, test in MACRO.findall(text):
            tests.add(f"{suite}.{test}")
    return tests


def check_faults(root, faults):
    text = read(root, "docs/faults.md")
    tests = known_tests(root)
    for name in re.findall(r"`(\w+\.\w+)`", text):
        if name != "Suite.Test" and name not in tests:
            faults.append(f"docs/faults.md: no such test: {name}")
    sections = dict(re.findall(r"^## (\w+)$(.*?)(?=^## |\Z)", text, re.MULTILINE | re.DOTALL))
    for name in CLASSES:
        if name not in sections:
            faults.append(f"docs/faults.md: nothing about {name}")
            continue
        rows = [[cell.strip() for cell in line.strip("|").split("|")]
                for line in sections[name].splitlines() if line.startswith("| ")][1:]
        if [row[0] for row in rows] != FAULTS:
            faults.append(f"docs/faults.md: {name}: the rows are not the seven faults")
        for row in rows:
            if len(row) != 3 or (row[1] == "-") != (row[2] == "") or not row[1]:
                faults.append(f"docs/faults.md: {name}: {row[0]}: a dash, or a sentence and a test")


def check_readme(root, faults):
    text = read(root, "tests/README.md")
    there = set(sources(root))
    named = set(re.findall(r"`((?:%s)/\w+\.cpp)`" % "|".join(FOLDERS), text))
    faults += [f"tests/README.md: does not name {source}" for source in sorted(there - named)]
    faults += [f"tests/README.md: no such file: {source}" for source in sorted(named - there)]


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "../..")
    faults = []
    check_faults(root, faults)
    check_readme(root, faults)
    for fault in faults:
        print(fault, file=sys.stderr)
    if not faults:
        print("named-tests: all there")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
