"""A script may end at any point, and let go of anything in any order."""

import random

import pytest

from conftest import run_script

# What a script can build; each leaves its objects in `things`.
SHAPES = {
    "signal and tap": """
s = signal('#FF0000'); t = quolsdk.LFrame(); t.readerObject(s); things += [s, t]""",
    "chain": """
m = quolsdk.LMixer(); m.addLayer('a', signal('#FF0000')); w = quolsdk.LSwitcher()
w.setProgram(m); w.setPreview(signal('#00FF00')); t = quolsdk.LFrame(); t.readerObject(w)
v = quolsdk.LMultiview(quolsdk.LMultiview.Renderer.processor); v.setPGMSource(w)
v.setPVWSource(w.getPreviewObject()); v.setGridPos(m, 1, 1); things += [m, w, t, v]""",
    "ring of two switchers": """
a, b = quolsdk.LSwitcher(), quolsdk.LSwitcher()
a.setProgram(b); b.setProgram(a); b.setPreview(signal('#FF0000')); things += [a, b]""",
    "ring of mixer and replay": """
m, r = quolsdk.LMixer(), quolsdk.LReplay(); r.setRecordPath(folder, 'x')
m.addSink(r); m.addLayer('r', r); r.startRecording(); r.setModeLive(); things += [m, r]""",
    "titles": """
c, w, m = quolsdk.LCharacter(), quolsdk.LSwitcher(), quolsdk.LMixer()
i = c.addItem('t', 0, 0, 300, 90, quolsdk.LCGTextProps(text='time::HH:mm:ss%'))
w.setProgram(signal('#0000FF')); w.addCG(c); l = m.addLayer('t', c); things += [c, w, m, i, l]""",
    "python sink": """
class Sink(quolsdk.LSink):
    def pushVideoFrame(self, frame):
        self.last = frame; self.sum = int(frame.rgba.sum())
s = signal('#FF0000'); k = Sink(); k.me = k; s.addSink(k); things += [s, k]""",
    "python sink that fails": """
import sys
sys.unraisablehook = lambda report: None
class Sink(quolsdk.LSink):
    def pushVideoFrame(self, frame): raise ValueError
s = signal('#FF0000'); k = Sink(); s.addSink(k); things += [s, k]""",
    "recording": """
m = quolsdk.LMixer(); r = quolsdk.LRecorder(); r.source = m; r.setFilePath(folder + '/r.mp4')
r.customSet('preset=ultrafast'); m.addLayer('a', signal('#00FF00')); assert r.Record()
things += [m, r]""",
    "sound": """
a, o = quolsdk.LAudioMixer(), quolsdk.LObject(); a.addChannel('o', o); a.addChannel('a', a)
t = quolsdk.LFrame(); t.readerObject(a); things += [a, o, t]""",
    "output and preview": """
o, p, s = quolsdk.LOutput(), quolsdk.LPreview(), signal('#FF0000')
o.setSource(s); p.previewObject(s); things += [o, p, s]""",
    "filter with a callback": """
f, x = quolsdk.LFile(), quolsdk.LFilter(quolsdk.LFilter.Type.video)
x.setNotifyCallback(lambda: things and None); x.setProps('hflip', True); f.setVideoFilter(x)
things += [f, x]""",
    "frames": """
s = signal('#FF0000'); f = s.createFrame(); p = f.planes; things += [s, f, *p]""",
    "thread of python's": """
import threading
m = quolsdk.LMixer(quolsdk.LMixer.Renderer.processor); m.addLayer('a', signal('#FF0000'))
m.addPullConsumer()
def pull():
    while True: m.renderVideoFrame()
threading.Thread(target=pull, daemon=True).start(); things += [m]""",
    "threads that connect": """
import threading
s, t = signal('#FF0000'), quolsdk.LFrame()
def connect():
    while True:
        t.readerObject(s); x = quolsdk.LFrame(); x.readerObject(s); t.readerObject(None)
for _ in range(3): threading.Thread(target=connect, daemon=True).start()
things += [s, t]""",
}

SCRIPT = """
import gc, random, sys, time
import quolsdk
folder, seed, ending = sys.argv[1], int(sys.argv[2]), sys.argv[3]
chance = random.Random(seed)
things = []
def signal(color):
    s = quolsdk.LSignal()
    s.setColor(color)
    s.setVideoFormat(quolsdk.videoFormatProps(width=64, height=36, fps=50))
    s.Start()
    return s
def build():
    {body}
build()
time.sleep(chance.random() * 0.2)
if ending == 'drop':
    while things:
        things.pop(chance.randrange(len(things)))
        if chance.random() < 0.3: gc.collect()
elif ending == 'raise':
    sys.excepthook = lambda *_: None
    try:
        raise SystemExit(0)
    finally:
        kept = things
elif ending == 'late':
    import atexit
    class Late:
        def __del__(self):
            s = signal('#FF0000'); t = quolsdk.LFrame(); t.readerObject(s); t.getVideo()
    late = Late()
print('end')
"""


def script(shape):
    return SCRIPT.replace("{body}", "global things" + SHAPES[shape].replace("\n", "\n    "))


@pytest.mark.parametrize("ending", ["stay", "drop", "raise", "late"])
@pytest.mark.parametrize("shape", SHAPES)
def test_a_script_that_ends(shape, ending, tmp_path):
    done = run_script(script(shape), tmp_path, random.randrange(10**6), ending)
    assert "end" in done.stdout or ending == "raise"


def test_a_recording_that_runs_is_finished(tmp_path):
    run_script(script("recording"), tmp_path, 7, "stay")
    import quolsdk
    reader = quolsdk.LReader()
    assert reader.open(tmp_path / "r.mp4")
    assert reader.getContainer() != "Unknown"


def test_an_end_in_an_exception_in_the_middle(tmp_path):
    text = script("chain").replace("print('end')", "raise SystemExit(3)")
    import subprocess
    import sys
    done = subprocess.run([sys.executable, "-c", text, str(tmp_path), "1", "stay"],
                          capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 3, done.stderr[-2000:]


def test_a_copy_of_the_process_ends_too():
    run_script("""
import os, sys, quolsdk
m, s, t = quolsdk.LMixer(), quolsdk.LSignal(), quolsdk.LFrame()
s.Start(); m.addLayer('s', s); t.readerObject(m)
child = os.fork()
if child == 0:
    del m, s, t
    sys.exit(5)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 5
""")


def test_any_order_of_collection_in_one_process():
    run_script("""
import gc, itertools, quolsdk
for order in itertools.permutations(range(4)):
    s, m = quolsdk.LSignal(), quolsdk.LMixer(quolsdk.LMixer.Renderer.processor)
    w, t = quolsdk.LSwitcher(), quolsdk.LFrame()
    s.Start(); m.addLayer('s', s); w.setProgram(m); t.readerObject(w); s.addSink(t)
    things = [s, m, w, t]
    del s, m, w, t
    for index in order:
        things[index] = None
    gc.collect()
""")


def test_nothing_is_left_of_objects_that_went():
    run_script("""
import gc, os, quolsdk
def threads():
    return len(os.listdir('/proc/self/task'))
def once():
    s, m, t = quolsdk.LSignal(), quolsdk.LMixer(quolsdk.LMixer.Renderer.processor), quolsdk.LFrame()
    s.Start(); m.addLayer('s', s); t.readerObject(m); c = quolsdk.LCharacter(); m.addLayer('c', c)
once(); gc.collect()
before = threads()
for _ in range(10):
    once()
gc.collect()
assert threads() <= before, (threads(), before)
""")


def test_an_object_that_goes_in_a_push_when_no_thread_is_to_be_had():
    run_script("""
import os, resource, time, quolsdk
def threads():
    return len(os.listdir('/proc/self/task'))
def inUse():
    with open('/proc/self/statm') as pages:
        return int(pages.read().split()[0]) * resource.getpagesize()
class Sink(quolsdk.LSink):
    def pushVideoFrame(self, frame):
        if not things: return
        resource.setrlimit(resource.RLIMIT_AS, (inUse() if len(things) == 2 else limit[1], limit[1]))
        things.pop()
        resource.setrlimit(resource.RLIMIT_AS, limit)
limit = resource.getrlimit(resource.RLIMIT_AS)
things = []
s, k = quolsdk.LSignal(), Sink()
s.Start(); s.addSink(k)
before = threads()
pair = [quolsdk.LSignal(), quolsdk.LSignal()]
for signal in pair: signal.Start()
del signal
assert threads() > before
things, pair = pair, None
end = time.monotonic() + 20
while things or threads() > before + 1:
    assert time.monotonic() < end, (things, threads(), before)
    time.sleep(0.02)
""")


def test_a_push_that_calls_the_library_comes_back_while_the_script_ends():
    """Its source could not be stopped if it did not."""
    done = run_script("""
import os, threading, time, quolsdk
inside = threading.Event()
plain, tap = quolsdk.LObject(), quolsdk.LFrame()
tap.readerObject(plain)
class Sink(quolsdk.LSink):
    def pushVideoFrame(self, frame):
        if inside.is_set(): return
        inside.set()
        for _ in range(50):
            plain.distributeVideoFrame(frame)
            tap.getVideo()
            time.sleep(0.01)
        os.write(1, b'pushed')
signal, sink = quolsdk.LSignal(), Sink()
signal.setVideoFormat(quolsdk.videoFormatProps(width=64, height=36, fps=50))
signal.addSink(sink)
signal.Start()
inside.wait()
""")
    assert "pushed" in done.stdout


def test_what_a_push_lets_go_of_while_the_script_ends_goes():
    """On a thread of the module's own, for which the end waits."""
    run_script("""
import threading, time, quolsdk
inside = threading.Event()
class Sink(quolsdk.LSink):
    mixer = None
    def pushVideoFrame(self, frame):
        if inside.is_set(): return
        inside.set()
        time.sleep(1.0)
        self.mixer = None  # and with it the source that nobody else holds
signal, sink = quolsdk.LSignal(), Sink()
sink.mixer = quolsdk.LMixer(quolsdk.LMixer.Renderer.processor)
sink.mixer.addLayer('a', quolsdk.LSignal())
signal.setVideoFormat(quolsdk.videoFormatProps(width=64, height=36, fps=50))
signal.addSink(sink)
signal.Start()
inside.wait()
""")
