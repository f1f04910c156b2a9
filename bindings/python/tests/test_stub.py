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


# What gives None, each with the class that it gives otherwise.
NOTHING = {
    "LObject.renderVideoFrame": lambda: quolsdk.LObject().renderVideoFrame(),
    "LStinger.getFrameByProgress": lambda: quolsdk.LStinger().getFrameByProgress(0.5),
    "LMixer.getLayer": lambda: quolsdk.LMixer().getLayer("a"),
    "LMixer.getLayerByIndex": lambda: quolsdk.LMixer().getLayerByIndex(0),
    "LCGItem.group": lambda: quolsdk.LCharacter().addItem("a", 0, 0, 9, 9,
                                                          quolsdk.LCGRectProps()).group,
    "LCharacter.getItem": lambda: quolsdk.LCharacter().getItem("a"),
    "LCharacter.getItemByIndex": lambda: quolsdk.LCharacter().getItemByIndex(0),
    "LCharacter.getGroupByIndex": lambda: quolsdk.LCharacter().getGroupByIndex(0),
    "LCharacter.getGroupObject": lambda: quolsdk.LCharacter().getGroupObject("a"),
    "LCharacter.getGroupItemByIndex": lambda: quolsdk.LCharacter().getGroupItemByIndex("a", 0),
    "LSwitcher.getCurrentPreviewSource": lambda: quolsdk.LSwitcher().getCurrentPreviewSource(),
    "LSwitcher.getCGByIndex": lambda: quolsdk.LSwitcher().getCGByIndex(0),
    "LRecorder.source": lambda: quolsdk.LRecorder().source,
    "LStream.source": lambda: quolsdk.LStream().source,
}

# What takes None for a source, a filter or titles.
TAKES_NOTHING = {
    "LFrame.readerObject": lambda: quolsdk.LFrame().readerObject(None),
    "LSwitcher.setProgram": lambda: quolsdk.LSwitcher().setProgram(None),
    "LSwitcher.setPreview": lambda: quolsdk.LSwitcher().setPreview(None),
    "LSwitcher.setExtAudioObject": lambda: quolsdk.LSwitcher().setExtAudioObject(None),
    "LSwitcher.addCG": lambda: quolsdk.LSwitcher().addCG(None),
    "LMultiview.setPGMSource": lambda: quolsdk.LMultiview().setPGMSource(None),
    "LFile.setVideoFilter": lambda: quolsdk.LFile().setVideoFilter(None),
    "LAudioMixer.addChannel": lambda: quolsdk.LAudioMixer().addChannel("a", None),
    "LOutput.setSource": lambda: quolsdk.LOutput().setSource(None),
}


def hints_of(source_folder, path):
    """The functions of that name, the getter of a property first."""
    body = ast.parse((source_folder / "quolsdk.pyi").read_text(encoding="utf-8")).body
    for name in path.split("."):
        found = [node for node in body if getattr(node, "name", None) == name]
        assert found, path
        body = found[0].body
    return found


@pytest.mark.parametrize("path", NOTHING)
def test_what_may_be_none_is_hinted_so(source_folder, path):
    assert NOTHING[path]() is None
    assert ast.unparse(hints_of(source_folder, path)[0].returns).startswith("Optional[")


@pytest.mark.parametrize("path", TAKES_NOTHING)
def test_what_takes_none_is_hinted_so(source_folder, path):
    TAKES_NOTHING[path]()
    hint = hints_of(source_folder, path)[0]
    assert any("Optional[" in ast.unparse(argument.annotation)
               for argument in hint.args.args if argument.annotation)


def test_what_is_never_none_is_not_hinted_so(source_folder):
    for path in ["LMixer.addLayer", "LSwitcher.getPreviewObject", "LCharacter.addItem"]:
        assert "Optional" not in ast.unparse(hints_of(source_folder, path)[0].returns)


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
