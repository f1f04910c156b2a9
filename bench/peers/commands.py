"""Command lines of the peers: where their pictures come from and where they go.

`sink` is None while time is measured; else the path of a raw file, to see what was made.
"""

from media import HEIGHT, RATE, WIDTH

CAPS = f"video/x-raw,format=I420,width={WIDTH},height={HEIGHT},framerate={RATE}/1"
RAW = ["-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE), "-i"]

# Without a screen: GStreamer's OpenGL goes through EGL alone, Qt in melt draws into memory.
GL_WITHOUT_SCREEN = {"GST_GL_PLATFORM": "egl", "GST_GL_WINDOW": "egl-device"}
MELT_WITHOUT_SCREEN = {"QT_QPA_PLATFORM": "offscreen"}


# ---------------------------------------------------------------------------------------- ffmpeg
def ffmpeg_still(number):
    """The filters that hand the only picture of an input on again and again, at no cost."""
    return f"[{number}:v]loop=-1:size=1,setpts=N/{RATE}/TB,fps={RATE}"


def ffmpeg(pictures, graph, frames, sink):
    """`graph` ends in [out]; its inputs are raw pictures."""
    command = ["ffmpeg", "-v", "error", "-nostdin"]
    for path in pictures:
        command += RAW + [path]
    command += ["-filter_complex", graph, "-map", "[out]", "-frames:v", str(frames)]
    return command + ffmpeg_sink(sink)


def ffmpeg_sink(sink):
    if sink is None:
        return ["-f", "null", "-"]
    return ["-pix_fmt", "yuv420p", "-f", "rawvideo", "-y", sink]


# ------------------------------------------------------------------------------------- gstreamer
def gst_still(path, frames, form="i420", size=WIDTH * HEIGHT * 3 // 2):
    """The elements that do the same."""
    return [
        *["filesrc", f"location={path}", f"blocksize={size}", "!"],
        *["rawvideoparse", f"format={form}", f"width={WIDTH}", f"height={HEIGHT}"],
        *[f"framerate={RATE}/1", "!", "imagefreeze", f"num-buffers={frames}", "!"],
        *[f"video/x-raw,framerate={RATE}/1", "!"],
    ]


def gst_sink(sink):
    if sink is None:
        return ["fakesink", "sync=false"]
    return ["videoconvert", "!", "video/x-raw,format=I420", "!", "filesink", f"location={sink}"]


def gst_mix(mixer, pads, pictures, frames, sink, behind=()):
    """A mixer over raw pictures; `pads` are the properties of each of its pads."""
    command = ["gst-launch-1.0", "-q", mixer, "name=m"]
    for number, properties in enumerate(pads):
        command += [f"sink_{number}::{name}={value}" for name, value in properties.items()]
    command += [*behind, "!", CAPS, "!", *gst_sink(sink)]
    for number, path in enumerate(pictures):
        command += [*gst_still(path, frames), f"m.sink_{number}"]
    return command


# ------------------------------------------------------------------------------------------ melt
def melt_still(path, frames):
    return [path, f"length={frames}", f"out={frames - 1}", "eof=loop"]


def melt(arguments, sink, rate=RATE):
    command = ["melt", "-silent", "-profile", f"atsc_1080p_{rate}", *arguments, "-consumer"]
    every = ["real_time=-1", "terminate_on_pause=1"]
    if sink is None:
        return command + ["null", *every]
    raw = ["f=rawvideo", "vcodec=rawvideo", "pix_fmt=yuv420p", "an=1"]
    return command + [f"avformat:{sink}", *raw, *every]
