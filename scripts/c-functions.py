#!/usr/bin/env python3
"""The page of the C interface's functions, made from the header.

usage: c-functions.py              write docs/c-functions.md anew
       c-functions.py --check      is the page what the header gives, and every function documented?
       c-functions.py --names      the names alone, one a line, sorted
"""

import os
import re
import sys
import textwrap

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
HEADER = os.path.join(ROOT, "api", "quolsdk_c_api.h")
PAGE = os.path.join(ROOT, "docs", "c-functions.md")

INTRODUCTION = """\
# Functions of the C interface

Made from `quolsdk/quolsdk_c_api.h` by `scripts/c-functions.py`, not by hand: {count} functions. The
first sentence of each stands here; the header says all of it, and in its chapters what holds for
every function. How to use them: [the C interface](c-interface.md).

What the names of arguments stand for: `handle` is the object of the family; a `source` may be of any
source family; `text` is a C string, null being the empty one; `text out` is a buffer and its size in
bytes; `T out` is a pointer to a result, which null skips.
"""

# A piece of the header that matters here: a comment, or a declaration behind the export macro.
PIECE = re.compile(r"/\*\*(?P<comment>.*?)\*/|^QUOLSDK_C_API\s+(?P<declaration>[^;{}]*\([^;]*\));",
                   re.DOTALL | re.MULTILINE)
DECLARATION = re.compile(r"^(?P<result>.*?[\s*])(?P<name>quolsdk_\w+)\s*\((?P<arguments>.*)\)$",
                         re.DOTALL)

# Arguments that take the handle of any source family.
SOURCES = {"source", "fill", "key"}


def plain(comment):
    """The text of a comment on one line."""
    lines = (line.strip().lstrip("*").strip() for line in comment.split("\n"))
    return " ".join(line for line in lines if line)


def first_sentence(text):
    """Without its full stop; a point inside a number ends nothing."""
    match = re.match(r"(.*?)\.(?: |$)", text)
    return match.group(1) if match else text


def split_arguments(text):
    """Pairs of type and name."""
    text = " ".join(text.split())
    if text == "void":
        return []
    pairs = []
    for argument in text.split(","):
        match = re.match(r"^\s*(.*[\s*])(\w+)\s*$", argument)
        pairs.append((match.group(1).strip(), match.group(2)))
    return pairs


def shown_arguments(pairs):
    """As the page shows them: a buffer and its size are one."""
    shown = []
    for kind, name in pairs:
        if kind == "quolsdk_handle":
            what = "source" if name in SOURCES else "handle"
            shown.append(f"{what} `{name}`" if shown else "handle")
        elif kind == "const char*":
            shown.append(f"text `{name}`")
        elif kind == "char*":
            shown.append(f"text out `{name}`")
        elif kind == "int32_t" and shown and shown[-1].startswith("text out"):
            continue
        elif kind.startswith("const "):
            shown.append(f"`{kind[len('const '):]} {name}`")
        elif kind.endswith("*") and kind != "void*":
            shown.append(f"{kind[:-1]} out `{name}`")
        else:
            shown.append(f"{kind} `{name}`")
    return ", ".join(shown)


def read_header():
    """Families in the header's order: title, text, and functions with all that is told of each."""
    with open(HEADER, encoding="utf-8") as file:
        text = file.read()
    families = []
    comment = ""
    for piece in PIECE.finditer(text):
        if piece.group("declaration") is None:
            body = plain(piece.group("comment"))
            if body.startswith("@name"):
                title, _, rest = piece.group("comment").partition("\n")
                families.append({"title": title.replace("@name", "").strip(),
                                 "text": plain(rest), "functions": []})
            comment = "" if body.startswith("@") else body
            continue
        match = DECLARATION.match(piece.group("declaration"))
        if match is None or not families:
            sys.exit(f"c-functions: cannot read: {piece.group('declaration')}")
        families[-1]["functions"].append({
            "name": match.group("name"),
            "result": match.group("result").strip(),
            "arguments": split_arguments(match.group("arguments")),
            "comment": comment,
        })
        comment = ""
    return families


def names(families):
    return [f["name"] for family in families for f in family["functions"]]


def page(families):
    lines = [INTRODUCTION.format(count=len(names(families)))]
    for family in families:
        title, _, what = family["title"].partition(": ")
        lines.append(f"## {title}\n")
        introduction = ". ".join(part for part in (what[:1].upper() + what[1:], family["text"]) if part)
        lines.append(textwrap.fill(introduction.rstrip(".") + ".", 100, break_long_words=False,
                                   break_on_hyphens=False) + "\n")
        lines.append("| Function | Arguments | Result | |")
        lines.append("|---|---|---|---|")
        for function in family["functions"]:
            result = {"void": "", "quolsdk_handle": "handle", "const char*": "text"}.get(
                function["result"], function["result"])
            lines.append(f"| `{function['name']}` | {shown_arguments(function['arguments'])} "
                         f"| {result} | {first_sentence(function['comment'])} |")
        lines.append("")
    return re.sub(r"(?m) +$", "", "\n".join(lines))


def check(families):
    """What is wrong, a line each."""
    wrong = []
    for family in families:
        for function in family["functions"]:
            if not function["comment"]:
                wrong.append(f"{function['name']} is not documented")
    with open(HEADER, encoding="utf-8") as file:
        exported = re.findall(r"^QUOLSDK_C_API\b", file.read(), re.MULTILINE)
    if len(exported) != len(set(names(families))):
        wrong.append(f"{len(exported)} declarations are exported, {len(set(names(families)))} read")
    try:
        with open(PAGE, encoding="utf-8") as file:
            current = file.read()
    except FileNotFoundError:
        current = ""
    if current != page(families):
        wrong.append("docs/c-functions.md is out of date: run scripts/c-functions.py")
    return wrong


def main():
    families = read_header()
    if sys.argv[1:] == ["--names"]:
        print("\n".join(sorted(names(families))))
    elif sys.argv[1:] == ["--check"]:
        wrong = check(families)
        for line in wrong:
            print(f"c-functions: {line}", file=sys.stderr)
        if wrong:
            sys.exit(1)
        print(f"c-functions: {len(names(families))} functions, as the page tells")
    elif not sys.argv[1:]:
        with open(PAGE, "w", encoding="utf-8") as file:
            file.write(page(families))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
