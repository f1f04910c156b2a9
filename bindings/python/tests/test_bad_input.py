"""Whatever a script gives, it gets an exception or a quiet answer."""

import inspect
import pathlib

import numpy as np
import pytest

import quolsdk

CLASSES = ["LObject", "LSignal", "LFile", "LReader", "LLive", "LStreamPlay", "LMixer",
           "LAudioMixer", "LStinger", "LSwitcher", "LMultiview", "LCharacter", "LAnimation",
           "LFrame", "LOutput", "LRecorder", "LStream", "LReplay", "LConvert", "LPreview", "LSink"]


@pytest.mark.parametrize("name", CLASSES)
def test_arguments_of_no_use_raise_type_errors(name):
    thing = getattr(quolsdk, name)()
    tried = 0
    for method in dir(type(thing)):
        if method.startswith("_") or not callable(getattr(thing, method)):
            continue
        with pytest.raises(TypeError):
            getattr(thing, method)(object(), object(), object(), no_such_argument=1)
        tried += 1
    assert tried > 3
    with pytest.raises(TypeError):
        getattr(quolsdk, name)(object(), object())


@pytest.mark.parametrize("name", ["LFile", "LMixer", "LSwitcher", "LReplay"])
def test_a_class_that_was_not_initialised(name):
    base = getattr(quolsdk, name)
    derived = type("Derived", (base,), {"__init__": lambda self: None})
    with pytest.raises(TypeError):
        derived()


def test_numbers_that_are_none():
    for thing, key in [(quolsdk.LFile(), "rate"), (quolsdk.LLive(), "timecodeSource"),
                       (quolsdk.LRecorder(), "durationMs"), (quolsdk.LReplay(), "quality"),
                       (quolsdk.LSwitcher(), "masterGain"), (quolsdk.LOutput(), "audio_gain"),
                       (quolsdk.LStreamPlay(), "audio_gain")]:
        for value in ("fast", "", "9" * 400):
            with pytest.raises(ValueError):
                thing.setProps(key, value)
        thing.setProps("no such key", "x")
        with pytest.raises(TypeError):
            thing.setProps(key, None)


def test_values_of_properties_may_be_what_they_mean():
    filters = quolsdk.LFilter(quolsdk.LFilter.Type.audio)
    for value, text in [(True, "volume"), (2, "volume=2"), (0.5, "volume=0.5"), ("3", "volume=3"),
                        (False, "anull")]:
        filters.setProps("volume", value)
        assert filters.getFilterString() == text


def test_none_where_a_source_is_expected():
    quolsdk.LFrame().readerObject(None)
    quolsdk.LMixer().addLayer("empty", None)
    quolsdk.LMixer().addDSK("empty", None, None)
    quolsdk.LAudioMixer().addChannel("none", None)
    quolsdk.LOutput().setSource(None)
    quolsdk.LPreview().previewObject(None)
    switcher = quolsdk.LSwitcher()
    for call in (switcher.setProgram, switcher.setPreview, switcher.removeSource,
                 switcher.setExtAudioObject, switcher.addCG, switcher.removeCG):
        call(None)
    wall = quolsdk.LMultiview()
    wall.setPGMSource(None)
    wall.setGridPos(None, 1, 1)
    recorder = quolsdk.LRecorder()
    recorder.source = None
    file = quolsdk.LFile()
    file.setVideoFilter(None)
    for call in (file.addSink, file.removeSink, file.distributeVideoFrame):
        with pytest.raises(TypeError):
            call(None)


def test_things_of_the_wrong_kind():
    signal, tap = quolsdk.LSignal(), quolsdk.LFrame()
    for call in (lambda: signal.addSink(signal), lambda: tap.readerObject(tap),
                 lambda: quolsdk.LSwitcher().addCG(signal), lambda: signal.setColor(5),
                 lambda: quolsdk.LFile().setVideoFilter(signal),
                 lambda: signal.setVideoFormat(quolsdk.audioFormatProps()),
                 lambda: quolsdk.LPreview().previewEnable(-1, True, True),
                 lambda: quolsdk.LCGTextProps(no_such_field=1),
                 lambda: quolsdk.LCGTextProps(fontSize="large"),
                 lambda: quolsdk.LMultiview().setupGrid(7, 2)):
        with pytest.raises(TypeError):
            call()


def test_numbers_beyond_a_range():
    format_ = quolsdk.videoFormatProps(mode=39)
    signal = quolsdk.LSignal()
    signal.setVideoFormat(format_)
    assert signal.createFrame() is None
    for bad in (2**31, -2**31 - 1, 2**70, 1.5):
        with pytest.raises(TypeError):
            quolsdk.LAudioMixer().setMasterVolume(bad)
    mixer = quolsdk.LMixer()
    assert mixer.getLayerByIndex(-1) is None and mixer.getLayerByIndex(2**31 - 1) is None
    switcher = quolsdk.LSwitcher()
    switcher.setTransition(float("nan"))
    switcher.setTransition(float("inf"))
    for count in (-1, 2**31 - 1):
        with pytest.raises(ValueError):
            quolsdk.LOutput().popAudioSamplesForPts(0.0, count)


def test_colours_of_titles():
    assert quolsdk.LCGColor("#80FF8000").value() == 0x80FF8000
    assert quolsdk.LCGColor("no colour").value() == 0xFFFFFFFF
    props = quolsdk.LCGRectProps(bgColor="#102030")
    assert props.bgColor == quolsdk.LCGColor("#102030")


def test_files_may_be_named_in_any_way(tmp_path):
    file = quolsdk.LFile()
    for name in ("", "none", pathlib.Path("none"), b"none", "\N{SNOWMAN}"):
        file.fileNameSet(name)
        assert file.play() is False
    with pytest.raises(TypeError):
        file.fileNameSet(5)


def test_a_mixer_is_never_its_own_source():
    mixer, switcher, sound = quolsdk.LMixer(), quolsdk.LSwitcher(), quolsdk.LAudioMixer()
    mixer.addLayer("me", mixer)
    switcher.setProgram(switcher)
    switcher.setProgram(switcher.getPreviewObject())
    switcher.setExtAudioObject(switcher)
    sound.addChannel("me", sound)
    assert switcher.getCurrentPreviewSource() is None


def test_everything_has_a_docstring():
    for name in quolsdk.__all__:
        thing = getattr(quolsdk, name)
        assert thing.__doc__, name
        if not inspect.isclass(thing):
            continue
        for key, member in vars(thing).items():
            is_enum = hasattr(thing, "__members__")
            if not key.startswith("_") and not inspect.isclass(member) and not is_enum:
                assert member.__doc__, f"{name}.{key}"


def test_numpy_is_not_needed_to_be_imported_first():
    assert np.uint8 == quolsdk.Frame.fromRgba(np.zeros((1, 1, 4), np.uint8)).rgba.dtype
