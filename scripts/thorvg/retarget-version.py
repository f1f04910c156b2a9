#!/usr/bin/env python3
"""Lets a library ask for another version of the same file: changes the ELF file in place.

What a library needs of another one stands in .gnu.version_r, for each file a chain of versions,
each by name and hash. The entry of version OLD gets the name and hash of version NEW, which must be
in the same chain already, so that no table grows.

usage: retarget-version.py LIBRARY NEEDED_FILE OLD NEW
"""

import struct
import sys

SECTION = struct.Struct("<IIQQQQIIQQ")  # name, type, flags, address, offset, size, link, ...
NEED = struct.Struct("<HHIII")  # version, count, file, first, next
VERSION = struct.Struct("<IHHII")  # hash, flags, other, name, next
SHT_GNU_VERNEED = 0x6FFFFFFE


def sections(data):
    if data[:6] != b"\x7fELF\x02\x01":
        sys.exit("not a 64-bit little-endian ELF file")
    (start,) = struct.unpack_from("<Q", data, 0x28)
    size, count = struct.unpack_from("<HH", data, 0x3A)
    return [SECTION.unpack_from(data, start + i * size) for i in range(count)]


def chain(data, entry, offset, count, next_field):
    for _ in range(count):
        fields = entry.unpack_from(data, offset)
        yield offset, fields
        offset += fields[next_field]


def versions_of(data, needed_file):
    """Name -> (place of its entry, its fields) of the versions that are needed of one file."""
    all_sections = sections(data)
    found = {}
    for section in all_sections:
        if section[1] != SHT_GNU_VERNEED:
            continue
        strings = all_sections[section[6]][4]
        text = lambda at: data[strings + at : data.index(b"\0", strings + at)].decode()
        for place, need in chain(data, NEED, section[4], section[7], 4):
            if text(need[2]) == needed_file:
                for at, version in chain(data, VERSION, place + need[3], need[1], 4):
                    found[text(version[3])] = (at, version)
    return found


def main():
    path, needed_file, old, new = sys.argv[1:]
    with open(path, "rb") as f:
        data = bytearray(f.read())
    versions = versions_of(data, needed_file)
    if old not in versions or new not in versions:
        sys.exit(f"{path} does not need both {old} and {new} of {needed_file}")
    at, (_, flags, other, _, following) = versions[old]
    _, (new_hash, _, _, new_name, _) = versions[new]
    VERSION.pack_into(data, at, new_hash, flags, other, new_name, following)
    with open(path, "wb") as f:
        f.write(data)


main()
