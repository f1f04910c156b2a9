#!/usr/bin/env python3
"""Writes the machine's own package sources again, for another suite of Debian.

Takes the sources that name a suite of Debian itself and have the component main, in either format
of apt: lines, and stanzas in *.sources. What else they say (the address, keys, options) is kept.

usage: sources.py SUITE SOURCES_LIST SOURCES_FOLDER OUTPUT_FOLDER
"""

import glob
import os
import re
import sys

RELEASES = {"oldstable", "stable", "testing", "unstable", "sid", "bookworm", "trixie", "forky"}
LINE = re.compile(r"^\s*deb\s+(\[[^\]]*\]\s+)?(\S+)\s+(\S+)\s+(.+)$")
# The fields that are written anew, and those about suites that are not asked for.
REPLACED = {"types", "suites", "components", "enabled"}


def text_of(path):
    try:
        with open(path, encoding="utf-8", errors="replace") as f:
            return f.read()
    except OSError:  # no such list, or not for this user
        return ""


def wanted(suites, components):
    return "main" in components and not RELEASES.isdisjoint(suites)


def lines_for(suite, text):
    for line in text.splitlines():
        match = LINE.match(line.split("#")[0])
        if match and wanted([match.group(3)], match.group(4).split()):
            yield f"deb {match.group(1) or ''}{match.group(2)} {suite} main\n"


def fields_of(stanza):
    """Name in small letters -> its lines as they stand; a key may be many lines."""
    fields = {}
    name = None
    for line in stanza.splitlines():
        if line.startswith("#"):
            continue
        if line[:1] not in (" ", "\t") and ":" in line:
            name = line.split(":")[0].lower()
            fields[name] = line
        elif name:
            fields[name] += "\n" + line
    return fields


def words(fields, name):
    return fields.get(name, ":").split(":", 1)[1].split()


def stanzas_for(suite, text):
    for stanza in re.split(r"\n[ \t]*\n", text):
        fields = fields_of(stanza)
        if words(fields, "enabled") == ["no"] or "deb" not in words(fields, "types"):
            continue
        if wanted(words(fields, "suites"), words(fields, "components")):
            kept = [lines for name, lines in fields.items() if name not in REPLACED]
            yield "\n".join(["Types: deb", f"Suites: {suite}", "Components: main"] + kept) + "\n\n"


def unique(items):
    return list(dict.fromkeys(items))


def main():
    suite, sources_list, folder, output = sys.argv[1:]
    paths = [sources_list] + sorted(glob.glob(os.path.join(folder, "*")))
    lines, stanzas = [], []
    for path in paths:
        if path == sources_list or path.endswith(".list"):
            lines += lines_for(suite, text_of(path))
        elif path.endswith(".sources"):
            stanzas += stanzas_for(suite, text_of(path))
    if not lines and not stanzas:
        sys.exit("no package source of Debian in the lists of this machine")
    for name, items in (("machine.list", unique(lines)), ("machine.sources", unique(stanzas))):
        if items:
            with open(os.path.join(output, name), "w", encoding="utf-8") as f:
                f.writelines(items)


main()
