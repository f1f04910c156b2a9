"""Frames as arrays: shapes, copies, who keeps whom."""

import gc
import pickle

import numpy as np
import pytest

import quolsdk
from quolsdk import Frame


def red_signal():
    signal = quolsdk.LSignal()
    signal.setColor("#FF0000")
    signal.setVideoFormat(quolsdk.videoFormatProps(width=64, height=36, fps=25))
    return signal


def test_planar_yuv_is_three_arrays():
    frame = red_signal().createFrame()
    y, u, v = frame.planes
    assert frame.format == "yuv420p"
    assert (y.shape, u.shape, v.shape) == ((36, 64), (18, 32), (18, 32))
    assert y.dtype == np.uint8
    assert (y == y[0, 0]).all() and v[0, 0] > 200 > 100 > u[0, 0]


def test_planes_are_not_copied_and_read_only():
    frame = red_signal().createFrame()
    first, again = frame.planes[0], frame.planes[0]
    assert first.__array_interface__["data"][0] == again.__array_interface__["data"][0]
    assert not first.flags.owndata
    with pytest.raises(ValueError):
        first[0, 0] = 1


def test_an_array_outlives_frame_and_source():
    signal = red_signal()
    frame = signal.createFrame()
    luma = frame.planes[0]
    expected = luma.copy()
    del signal, frame
    gc.collect()
    for _ in range(50):  # takes the memory that would be free by now
        red_signal().createFrame()
    assert (luma == expected).all()


def test_rgba_goes_there_and_back_without_a_copy_on_the_way_out():
    pixels = np.arange(5 * 7 * 4, dtype=np.uint8).reshape(5, 7, 4)
    frame = Frame.fromRgba(pixels)
    assert (frame.width, frame.height, frame.format) == (7, 5, "rgba")
    assert (frame.rgba == pixels).all()
    assert (frame.rgba.__array_interface__["data"][0]
            == frame.planes[0].__array_interface__["data"][0])
    pixels[:] = 0  # the frame has its own
    assert frame.rgba.any()


def test_rgba_of_other_formats_is_converted():
    rgba = red_signal().createFrame().rgba
    assert rgba.shape == (36, 64, 4) and rgba.dtype == np.uint8
    assert rgba[10, 10, 0] > 240 and rgba[10, 10, 1] < 16 and rgba[10, 10, 3] == 255
    rgba[0, 0] = 0  # a copy of one's own


def test_an_array_that_came_by_pickle_is_taken():
    pixels = np.zeros((36, 64, 4), np.uint8)
    assert quolsdk.Frame.fromRgba(pickle.loads(pickle.dumps(pixels))).width == 64


def test_views_with_strides_are_taken_as_they_look():
    pixels = np.arange(8 * 8 * 4, dtype=np.uint8).reshape(8, 8, 4)[::2, ::-1]
    assert (Frame.fromRgba(pixels).rgba == pixels).all()


@pytest.mark.parametrize("chroma, name", [((6, 8), "yuv444p"), ((6, 4), "yuv422p"),
                                          ((3, 4), "yuv420p")])
def test_yuv_by_the_size_of_its_planes(chroma, name):
    planes = [np.full((6, 8), 100, np.uint8), np.full(chroma, 30, np.uint8),
              np.full(chroma, 40, np.uint8)]
    frame = Frame.fromYuv(*planes)
    assert frame.format == name
    for mine, theirs in zip(planes, frame.planes):
        assert (mine == theirs).all()


def test_sound_goes_there_and_back():
    samples = np.array([[1, -1], [32767, -32768], [0, 5]], np.int16)
    frame = Frame.fromSound(samples, 44100)
    assert frame.isSound and not frame.isPicture
    assert (frame.sampleRate, frame.channels, frame.format) == (44100, 2, "s16")
    assert (frame.samples == samples).all() and not frame.samples.flags.writeable


def test_what_goes_with_a_frame():
    frame = Frame.fromRgba(np.zeros((2, 2, 4), np.uint8))
    assert frame.pts is None and frame.timecode is None and frame.metadata == {}
    frame.pts, frame.timeBase, frame.timecode = 7, (1, 25), "10:00:00:05"
    assert (frame.pts, frame.timeBase, frame.timecode) == (7, (1, 25), "10:00:00:05")
    assert frame.metadata == {"timecode": "10:00:00:05"}
    frame.pts = frame.timecode = None
    assert frame.pts is None and frame.metadata == {}
    with pytest.raises(ValueError):
        frame.timeBase = (1, 0)


@pytest.mark.parametrize("array", [
    np.zeros((2, 2, 3), np.uint8), np.zeros((2, 2, 4), np.uint16), np.zeros((2, 2), np.uint8),
    np.zeros((0, 2, 4), np.uint8), np.zeros((1, 40000, 4), np.uint8)])
def test_arrays_that_are_no_pictures(array):
    with pytest.raises(ValueError):
        Frame.fromRgba(array)


def test_arrays_that_are_no_planes_or_sound():
    y = np.zeros((6, 8), np.uint8)
    for u, v in [(y[:5], y[:5]), (y, y[:3]), (y[:0], y[:0]), (y.astype(float), y)]:
        with pytest.raises(ValueError):
            Frame.fromYuv(y, u, v)
    for samples in [np.zeros((0, 2), np.int16), np.zeros((4, 1), np.int16),
                    np.zeros((4, 2), np.float32), np.zeros(4, np.int16)]:
        with pytest.raises(ValueError):
            Frame.fromSound(samples)
    for rate in (0, -1, 10_000_000):
        with pytest.raises(ValueError):
            Frame.fromSound(np.zeros((4, 2), np.int16), rate)


def test_a_frame_of_the_other_kind_has_no_such_arrays():
    picture = Frame.fromRgba(np.zeros((2, 2, 4), np.uint8))
    sound = Frame.fromSound(np.zeros((2, 2), np.int16))
    tap = quolsdk.LFrame()
    for use in (lambda: picture.samples, lambda: sound.rgba, lambda: sound.planes,
                lambda: tap.pushVideoFrame(sound), lambda: tap.pushAudioFrame(picture)):
        with pytest.raises(ValueError):
            use()


def test_png(tmp_path):
    pixels = np.zeros((4, 6, 4), np.uint8)
    pixels[1, 2] = (10, 20, 30, 255)
    Frame.fromRgba(pixels).writePng(tmp_path / "frame.png")
    quolsdk.writePng(str(tmp_path / "array.png"), pixels[..., :3])
    assert (tmp_path / "frame.png").read_bytes() == (tmp_path / "array.png").read_bytes()
    signal = quolsdk.LSignal()
    signal.setVideoFormat(quolsdk.videoFormatProps(width=6, height=4, fps=25))
    signal.setImage(tmp_path / "frame.png")
    assert signal.createFrame().planes[0][1, 2] > signal.createFrame().planes[0][3, 5]
    with pytest.raises(RuntimeError):
        quolsdk.writePng(tmp_path / "no folder" / "x.png", pixels)
    with pytest.raises(ValueError):
        quolsdk.writePng(tmp_path / "x.png", pixels[0])
