"""Sinks that are written in Python."""

import gc
import subprocess
import sys
import threading
import weakref

import numpy as np
import pytest

import quolsdk
from conftest import wait_until


class Collector(quolsdk.LSink):
    def __init__(self):
        super().__init__()
        self.frames = []
        self.sounds = []
        self.events = []

    def pushVideoFrame(self, frame):
        self.frames.append(frame)

    def pushAudioFrame(self, frame):
        self.sounds.append(frame)

    def flush(self):
        self.events.append("flush")

    def setPaused(self, paused):
        self.events.append(paused)


def running_signal():
    signal = quolsdk.LSignal()
    signal.setColor("#FF0000")
    signal.setVideoFormat(quolsdk.videoFormatProps(width=32, height=18, fps=50))
    signal.Start()
    return signal


@pytest.fixture
def unraisable(monkeypatch):
    """Once called it collects what nobody could take; pytest has a hook of its own before."""
    def watch():
        raised = []
        monkeypatch.setattr(sys, "unraisablehook", lambda report: raised.append(report.exc_type))
        return raised
    return watch


def picture():
    return quolsdk.Frame.fromRgba(np.zeros((4, 4, 4), np.uint8))


def test_pushes_come_on_the_sources_thread():
    signal, threads = running_signal(), set()

    class Watcher(Collector):
        def pushVideoFrame(self, frame):
            threads.add(threading.get_ident())
            super().pushVideoFrame(frame)

    watcher = Watcher()
    signal.addSink(watcher)
    wait_until(lambda: len(watcher.frames) >= 5)
    signal.removeSink(watcher)
    count = len(watcher.frames)
    signal.Stop()
    assert len(watcher.frames) == count and threading.get_ident() not in threads
    assert watcher.frames[0].planes[0].shape == (18, 32)


def test_control_and_sound_of_a_file_come_too(clip):
    sink, file = Collector(), quolsdk.LFile()
    file.fileNameSet(clip)
    file.addSink(sink)
    assert file.play()
    wait_until(lambda: sink.sounds and sink.frames)
    file.pause()
    file.stop()
    assert sink.events[:2] == [False, "flush"] and True in sink.events
    assert sink.sounds[0].samples.shape[1] == 2


def test_a_frame_that_was_kept_stays_as_it_was():
    source, sink = quolsdk.LObject(), Collector()
    source.addSink(sink)
    for value in range(3):
        source.distributeVideoFrame(
            quolsdk.Frame.fromRgba(np.full((2, 2, 4), value, np.uint8)))
    assert [int(frame.rgba[0, 0, 0]) for frame in sink.frames] == [0, 1, 2]


def test_exceptions_stay_in_python(unraisable):
    class Failing(quolsdk.LSink):
        calls = 0

        def pushVideoFrame(self, frame):
            Failing.calls += 1
            raise KeyError("x")

        def pushAudioFrame(self):  # takes too little
            pass

    raised = unraisable()
    source, sink, behind = quolsdk.LObject(), Failing(), Collector()
    source.addSink(sink)
    source.addSink(behind)
    source.distributeVideoFrame(picture())
    source.distributeAudioFrame(quolsdk.Frame.fromSound(np.zeros((4, 2), np.int16)))
    assert raised == [KeyError, TypeError] and Failing.calls == 1
    assert len(behind.frames) == 1 and len(behind.sounds) == 1


def test_a_sink_without_methods_takes_everything():
    source, sink = quolsdk.LObject(), quolsdk.LSink()
    source.addSink(sink)
    source.distributeVideoFrame(picture())
    sink.pushVideoFrame(picture())
    sink.flush()


def test_a_sink_that_is_collected_is_detached():
    source, sink = quolsdk.LObject(), Collector()
    source.addSink(sink)
    gone = weakref.ref(sink)
    del sink
    gc.collect()
    assert gone() is None
    source.distributeVideoFrame(picture())


def test_a_sink_keeps_its_source():
    sink = Collector()
    running_signal().addSink(sink)
    gc.collect()
    count = len(sink.frames)
    wait_until(lambda: len(sink.frames) > count + 3)


def test_a_sink_attached_twice_gets_everything_twice():
    source, sink = quolsdk.LObject(), Collector()
    source.addSink(sink)
    source.addSink(sink)
    source.distributeVideoFrame(picture())
    source.removeSink(sink)
    source.distributeVideoFrame(picture())
    source.removeSink(sink)
    source.removeSink(sink)
    source.distributeVideoFrame(picture())
    assert len(sink.frames) == 3


def test_calls_that_would_wait_for_themselves_are_refused(unraisable):
    raised, signal, outcomes = unraisable(), running_signal(), []

    class Meddler(quolsdk.LSink):
        def pushVideoFrame(self, frame):
            if outcomes:
                return
            for call in (signal.Stop, signal.Start, lambda: signal.addSink(self),
                         lambda: signal.removeSink(self),
                         lambda: signal.distributeVideoFrame(frame)):
                try:
                    call()
                    outcomes.append("went through")
                except RuntimeError:
                    outcomes.append("refused")

    sink = Meddler()
    signal.addSink(sink)
    wait_until(lambda: len(outcomes) == 5)
    assert outcomes == ["refused"] * 5 and not raised
    signal.Stop()


def test_python_in_the_middle_of_a_chain():
    last, out, source = Collector(), quolsdk.LObject(), quolsdk.LObject()

    class Negative(quolsdk.LSink):
        def pushVideoFrame(self, frame):
            pixels = frame.rgba.copy()
            pixels[..., :3] = 255 - pixels[..., :3]
            out.distributeVideoFrame(quolsdk.Frame.fromRgba(pixels))

    negative = Negative()
    source.addSink(negative)
    out.addSink(last)
    source.distributeVideoFrame(picture())
    assert (last.frames[0].rgba[..., :3] == 255).all()


def test_objects_may_go_inside_a_push():
    """Their threads may be the very one that pushes."""
    rounds = 5
    for _ in range(rounds):
        held = {"signal": running_signal()}
        done = threading.Event()

        class Dropper(quolsdk.LSink):
            def pushVideoFrame(self, frame):
                if not done.is_set():
                    held["signal"] = None
                    source = frame
                    sinks.clear()
                    gc.collect()
                    done.set()

        sinks = [Dropper()]
        held["signal"].addSink(sinks[0])
        assert done.wait(60)


def test_many_threads_attach_and_detach():
    signal = running_signal()
    errors = []

    def work():
        try:
            for _ in range(20):
                sink = Collector()
                signal.addSink(sink)
                if threading.get_ident() % 2:
                    signal.removeSink(sink)
        except BaseException as error:  # pylint: disable=broad-except
            errors.append(error)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
        assert not thread.is_alive()
    assert not errors
    signal.Stop()


def test_planes_of_packed_411_have_a_row_for_each_four_pixels(tmp_path):
    pictures = np.random.default_rng(7).integers(0, 256, (3, 12, 10, 6), np.uint8)
    raw, clip = tmp_path / "packed.raw", tmp_path / "packed.nut"
    raw.write_bytes(pictures.tobytes())
    subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "rawvideo", "-pix_fmt",
                    "uyyvyy411", "-s", "40x12", "-i", str(raw), "-c", "copy", str(clip)],
                   check=True)
    sink, file = Collector(), quolsdk.LFile()
    file.fileNameSet(clip)
    file.addSink(sink)
    assert file.play()
    wait_until(lambda: len(sink.frames) >= 2)
    file.stop()
    (plane,) = sink.frames[0].planes
    assert (sink.frames[0].format, plane.shape) == ("uyyvyy411", (12, 10, 6))
    assert (plane == pictures[0]).all()
