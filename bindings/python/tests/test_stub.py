"""The type hints tell of every name, and of nothing else."""

import ast
import inspect
import subprocess
import sys

import pytest
import quolsdk


def hinted(body):
    """Names to what they stand for: a class is a dict of its own."""
    names = {}
    for node in body:
        if isinstance(node, ast.ClassDef):
            names[node.name] = hinted(node.body)
        elif isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            names[node.name] = None
        elif isinstance(node, ast.AnnAssign):
            names[node.target.id] = None
    return names


def bound(thing):
    names = {}
    for name, member in vars(thing).items():
        if inspect.isclass(member) and not name.startswith("_"):
            names[name] = bound(member)
        elif not name.startswith("_") or name == "__init__":
            names[name] = None
    return names


def public(names):
    return {name: public(inner) if inner else inner for name, inner in names.items()
            if not name.startswith("_")}


def test_every_bound_name_is_hinted(source_folder):
    tree = ast.parse((source_folder / "quolsdk.pyi").read_text(encoding="utf-8"))
    expected = {name: member for name, member in bound(quolsdk._quolsdk).items()}
    assert public(hinted(tree.body)) == public(expected)


def test_the_hints_are_as_the_generator_writes_them(source_folder):
    made = subprocess.run([sys.executable, source_folder / "make_stub.py"], capture_output=True,
                          text=True, check=True).stdout
    written = (source_folder / "quolsdk.pyi").read_text(encoding="utf-8")
    if f"in the words of pybind11 {quolsdk._quolsdk._pybind11}." not in written:
        pytest.skip("made with another pybind11, which words signatures in another way")
    assert made == written


def test_no_signature_shows_a_type_of_cpp():
    for name, member in inspect.getmembers(quolsdk, inspect.isclass):
        for key, method in vars(member).items():
            assert "::" not in (getattr(method, "__doc__", "") or ""), f"{name}.{key}"


def test_the_package_says_that_it_has_hints():
    import pathlib
    folder = pathlib.Path(quolsdk.__file__).parent
    assert (folder / "py.typed").exists() and (folder / "__init__.pyi").exists()


def test_version():
    assert quolsdk.get_version() == quolsdk.__version__ == "0.1.1"
