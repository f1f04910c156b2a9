#!/usr/bin/env python3
"""Do includes point down only?

The floors of the house are api, then the four class folders, then core; platform, which binds
outside libraries, knows nothing of the others. A folder may include itself and what ALLOWED names.
Public headers moreover include nothing but public headers and the language's own.

usage: include-directions.py [SOURCE_ROOT]
"""

import os
import re
import sys

CLASS_FOLDERS = ["sources", "compositing", "graphics", "outputs"]

ALLOWED = {
    "api": CLASS_FOLDERS + ["core"],
    "plugins": ["outputs", "platform"],
    **{folder: ["core", "platform"] for folder in CLASS_FOLDERS},
    "core": [],
    "platform": [],
}

# Where the data flow itself crosses between class folders: a mixer and a switcher ask a layer's
# character generator for its items. And two helpers of core that know of no class: how FFmpeg's
# objects are owned, and how one job is shared out to threads.
EXCEPTIONS = {
    ("compositing", "graphics/LCharacter.h"),
    ("platform", "core/Handles.h"),
    ("platform", "core/WorkerTeam.h"),
}

# What hosts see only through "quolsdk/...".
HOST_FOLDERS = ["examples", "bindings"]

FOREIGN_IN_PUBLIC = re.compile(
    r"^(lib(av|sw)\w*/|cairo|pango|thorvg|GL/|GLES|EGL/|KHR/|SDL|X11/|gst/|Processing\.NDI|DeckLink)"
)

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
LISTED_HEADER = re.compile(r"^\s+([\w/]+\.h)\s*$", re.MULTILINE)
EXTENSIONS = (".h", ".hpp", ".c", ".cpp")


def public_headers(root):
    """Name under quolsdk/ -> path in the tree, from the one list that the build uses too."""
    with open(os.path.join(root, "cmake", "PublicHeaders.cmake"), encoding="utf-8") as f:
        text = f.read()
    body = re.search(r"set\(QUOLSDK_PUBLIC_HEADERS\n(.*?)\n\)", text, re.DOTALL)
    if not body:
        sys.exit("include-directions: no QUOLSDK_PUBLIC_HEADERS in cmake/PublicHeaders.cmake")
    return {os.path.basename(p): p for p in LISTED_HEADER.findall(body.group(1) + "\n")}


def sources(root, folder):
    for directory, _, names in os.walk(os.path.join(root, folder)):
        for name in sorted(names):
            if name.endswith(EXTENSIONS):
                yield os.path.relpath(os.path.join(directory, name), root)


def includes(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            match = INCLUDE.match(line)
            if match:
                yield number, match.group(1), match.group(2)


class Checker:
    def __init__(self, root):
        self.root = root
        self.public = public_headers(root)
        self.errors = []
        self.count = 0

    def error(self, path, line, text):
        self.errors.append(f"{path}:{line}: {text}")

    def resolve(self, path, line, quoted):
        """The included file as a path in the tree, or None where that cannot be said."""
        if quoted.startswith("quolsdk/"):
            target = self.public.get(quoted[len("quolsdk/"):])
            if target is None:
                self.error(path, line, f'"{quoted}" is not a public header')
            return target
        if os.path.exists(os.path.join(self.root, quoted)):
            if quoted in self.public.values():
                name = os.path.basename(quoted)
                self.error(path, line, f'public header: include it as "quolsdk/{name}"')
            return quoted
        self.error(path, line, f'"{quoted}": name it by its folder, as in "core/Name.h"')
        return None

    def check_library_file(self, folder, path):
        for line, quoted, angled in includes(self.root, path):
            self.count += 1
            if angled:
                if path in self.public.values() and (
                    FOREIGN_IN_PUBLIC.match(angled) or angled.startswith("quolsdk/")
                ):
                    self.error(path, line, f"public headers do not include <{angled}>")
                continue
            if path in self.public.values() and not quoted.startswith("quolsdk/"):
                self.error(path, line, f'public headers do not include private "{quoted}"')
                continue
            target = self.resolve(path, line, quoted)
            if target is None:
                continue
            floor = target.split("/")[0]
            if floor == folder or floor in ALLOWED[folder] or (folder, target) in EXCEPTIONS:
                continue
            self.error(path, line, f'{folder} does not include {floor} ("{quoted}")')

    def check_host_file(self, path):
        for line, quoted, _ in includes(self.root, path):
            self.count += 1
            beside = os.path.join(self.root, os.path.dirname(path), quoted or "")
            if quoted is None or os.path.isfile(beside):
                continue
            if not quoted.startswith("quolsdk/"):
                self.error(path, line, f'hosts include public headers only, not "{quoted}"')
            else:
                self.resolve(path, line, quoted)

    def run(self):
        for folder in ALLOWED:
            for path in sources(self.root, folder):
                self.check_library_file(folder, path)
        for folder in HOST_FOLDERS:
            for path in sources(self.root, folder):
                self.check_host_file(path)


def main():
    default = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
    checker = Checker(os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else default))
    checker.run()
    for error in checker.errors:
        print(error, file=sys.stderr)
    if checker.errors:
        return 1
    print(f"include-directions: {checker.count} includes point down")
    return 0


if __name__ == "__main__":
    sys.exit(main())
