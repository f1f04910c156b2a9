#!/usr/bin/env python3
"""Writes the type hints of the module, quolsdk.pyi, from the signatures that the module tells.

usage: PYTHONPATH=build/python bindings/python/make_stub.py > bindings/python/quolsdk.pyi
"""

import enum
import inspect
import re
import textwrap

import quolsdk

HEADER = '''"""{doc}"""
# Written by make_stub.py from the signatures of the module, in the words of pybind11 {pybind11}.

import os
from typing import Callable, Optional, Tuple, overload

import numpy

__version__: str
'''

TYPES = [
    (r"quolsdk\.", ""),
    (r"numpy\.ndarray\[numpy\.(\w+)\]", r"numpy.ndarray"),
    (r"\bstr \| bool \| int \| float\b", "str | bool | int | float"),
    (r"\b(List|Dict)\[", lambda match: match[1].lower() + "["),
    (r"\bfunction\b", "Callable[..., object]"),
    (r"Union\[os\.PathLike, str, bytes\]", "str | bytes | os.PathLike[str]"),
    (r"\bos\.PathLike\b(?!\[)", "str | bytes | os.PathLike[str]"),
    (r"<(\w+(?:\.\w+)*)\.(\w+): -?\d+>", r"\1.\2"),
]


def tidy(signature):
    for pattern, replacement in TYPES:
        signature = re.sub(pattern, replacement, signature)
    return signature


CLASS = r"[A-Z]\w*(?:\.[A-Z]\w*)*"


def with_none(arguments, result, text):
    """A signature names a class where there may be none of it: what is said of it tells."""
    named = re.search(r"((?:`\w+`(?: and )?)+) may be None", text)
    if named:
        for name in re.findall(r"`(\w+)`", named[1]):
            arguments = re.sub(rf"(?<=\b{name}: ){CLASS}", r"Optional[\g<0>]", arguments)
        return arguments, result
    if not re.search(r"\bNone\b", text):
        return arguments, result
    if result != "None":
        return arguments, re.sub(rf"^{CLASS}$", r"Optional[\g<0>]", result)
    return re.sub(rf"(?<=: ){CLASS}(?=[,)])", r"Optional[\g<0>]", arguments), result


def signatures(doc):
    """The signatures of a function's docstring, and what is said of each."""
    first, _, rest = doc.partition("\n")
    if rest.startswith("Overloaded function."):
        parts = re.split(r"\n\d+\. ", rest)[1:]
        return [(part.partition("\n")[0], part.partition("\n")[2].strip()) for part in parts]
    return [(first, rest.strip())]


def function(name, member, indent, is_static=False):
    lines = []
    found = signatures(member.__doc__)
    for signature, text in found:
        if len(found) > 1:
            lines.append("@overload")
        if is_static:
            lines.append("@staticmethod")
        arguments, _, result = signature[signature.index("("):].rpartition(" -> ")
        arguments = re.sub(r"^\(self: [^,)]+", "(self", arguments)
        arguments, result = with_none(tidy(arguments), tidy(result), text)
        lines.append(f"def {name}{arguments} -> {result}:")
        lines.append(f'    """{text}"""' if text else "    ...")
    return textwrap.indent("\n".join(lines), indent)


def attribute(name, member, indent):
    getter = re.search(r"-> (.+?)$", member.fget.__doc__ or "", re.MULTILINE)
    text = member.__doc__ or ""
    kind = with_none("", tidy(getter[1]), text)[1] if getter else "object"
    lines = ["@property", f"def {name}(self) -> {kind}:", f'    """{member.__doc__}"""']
    if member.fset:
        setter = re.search(r"arg1: (.+)\) -> None", member.fset.__doc__ or "")
        taken = with_none("", tidy(setter[1]), text)[1] if setter else kind
        lines += [f"@{name}.setter", f"def {name}(self, value: {taken}) -> None: ..."]
    return textwrap.indent("\n".join(lines), indent)


def klass(name, thing, indent):
    bases = [base.__qualname__ for base in thing.__bases__
             if base.__module__.startswith("quolsdk")]
    lines = [f"class {name}({', '.join(bases)}):" if bases else f"class {name}:",
             f'    """{inspect.cleandoc(thing.__doc__).partition(chr(10) * 2)[0]}"""']
    values = getattr(thing, "__members__", None)
    if values:
        lines += [f"    {value}: {thing.__qualname__}" for value in values]
        lines += ["    @property", "    def name(self) -> str: ...", "    @property",
                  "    def value(self) -> int: ...", "    def __int__(self) -> int: ...",
                  "    def __init__(self, value: int) -> None: ..."]
        return textwrap.indent("\n".join(lines), indent)
    body = []
    for key, member in vars(thing).items():
        if key == "__init__" or (not key.startswith("_") and not inspect.isclass(member)):
            if isinstance(member, property):
                body.append(attribute(key, member, "    "))
            elif isinstance(member, staticmethod):
                body.append(function(key, member.__func__, "    ", True))
            elif (member.__doc__ or "").startswith(f"{key}("):
                body.append(function(key, member, "    "))
    nested = [klass(key, member, "    ") for key, member in vars(thing).items()
              if inspect.isclass(member) and not key.startswith("_")]
    return textwrap.indent("\n".join(lines + nested + body), indent)


def main():
    module = quolsdk._quolsdk
    parts = [HEADER.format(doc=inspect.cleandoc(module.__doc__),
                           pybind11=quolsdk._quolsdk._pybind11)]
    for name, member in vars(module).items():
        if name.startswith("_"):
            continue
        if inspect.isclass(member):
            parts.append(klass(name, member, ""))
        elif callable(member):
            parts.append(function(name, member, ""))
    print("\n\n".join(parts))


if __name__ == "__main__":
    main()
