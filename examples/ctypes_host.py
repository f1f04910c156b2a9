#!/usr/bin/env python3
"""A host in Python on the flat C interface, by ctypes: a clip in the corner of a coloured picture,
recorded for two seconds; then a reader tells what the recording is.

    ctypes_host.py CLIP RECORDING.mp4 [LIBRARY]

LIBRARY is the path of libquolsdk.so. Without it the environment variable QUOLSDK_LIBRARY names it,
or it is found where the system's loader looks (ldconfig, LD_LIBRARY_PATH).

Exit status: 0 done, 1 something cannot be played or recorded (the text says what), 2 wrong use.
"""

import contextlib
import ctypes
import os
import sys
import time
from ctypes import POINTER, byref, c_char_p, c_double, c_float, c_int, c_int32, c_int64, c_uint32

Handle = ctypes.c_void_p
SECONDS = 2


class VideoFormat(ctypes.Structure):
    """quolsdk_video_format"""
    _fields_ = [("mode", c_uint32), ("width", c_int32), ("height", c_int32), ("fps", c_double),
                ("pixel_format", c_int32)]


# What this host calls, family by family: result, then arguments behind the handle. ctypes checks
# what it is given against this, and takes int for a result that it is not told of.
FUNCTIONS = {
    "signal": {"set_color": (None, c_char_p), "start": (c_int,), "stop": (None,)},
    "file": {
        "name_set": (None, c_char_p), "set_props": (None, c_char_p, c_char_p), "play": (None,),
        "stop": (None,), "status_get": (None, POINTER(c_int)),
    },
    "mixer": {
        "set_video_format": (None, POINTER(VideoFormat)),
        "add_layer": (None, c_char_p, Handle),
        "set_layer_pos": (None, c_char_p, c_float, c_float),
        "set_layer_size": (None, c_char_p, c_float, c_float),
        "set_layer_z_index": (None, c_char_p, c_int),
        "set_layer_audio": (None, c_char_p, c_int, c_int),
    },
    "recorder": {
        "set_source": (None, Handle), "file_name_set": (None, c_char_p),
        "custom_set": (None, c_char_p), "set_video_format": (None, POINTER(VideoFormat)),
        "start": (None,), "stop": (None,), "status_get": (None, POINTER(c_int)),
        "get_stats": (None, POINTER(c_int64), POINTER(c_double), POINTER(c_int), POINTER(c_int),
                      c_char_p, c_int32),
    },
    "reader": {
        "open": (c_int, c_char_p), "width_get": (c_int64,), "height_get": (c_int64,),
        "fps_get": (c_double,), "duration_get": (c_double,), "audio_channels_get": (c_int64,),
        "video_codec_get": (None, c_char_p, c_int32),
    },
}


def load(path):
    """The library, with all of FUNCTIONS declared."""
    library = ctypes.CDLL(path)
    library.quolsdk_get_version.restype = c_char_p
    for family, functions in FUNCTIONS.items():
        for verb, (result, *arguments) in {"create": (Handle,), "destroy": (None,),
                                           **functions}.items():
            function = getattr(library, f"quolsdk_{family}_{verb}")
            function.restype = result
            function.argtypes = arguments if verb == "create" else [Handle, *arguments]
    return library


class Object:
    """One object of the library: object.verb(...) is quolsdk_family_verb(handle, ...). It ends with
    its `with` block: those made last end first, sinks before what they show."""

    def __init__(self, library, family):
        self._library, self._family = library, family
        self.handle = getattr(library, f"quolsdk_{family}_create")()

    def __getattr__(self, verb):
        function = getattr(self._library, f"quolsdk_{self._family}_{verb}")
        return lambda *arguments: function(self.handle, *arguments)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.destroy()


def status(thing):
    value = c_int()
    thing.status_get(byref(value))
    return value.value


def record(library, clip, path):
    """True when the recording was made."""
    canvas = VideoFormat(0, 640, 360, 25.0, 1)
    with contextlib.ExitStack() as stack:
        signal, file, mixer, recorder = (
            stack.enter_context(Object(library, family))
            for family in ("signal", "file", "mixer", "recorder"))

        signal.set_color(b"#204080")
        signal.start()
        file.name_set(os.fsencode(clip))
        file.set_props(b"loop", b"true")
        mixer.set_video_format(byref(canvas))
        mixer.add_layer(b"ground", signal.handle)
        mixer.set_layer_size(b"ground", 640, 360)
        mixer.add_layer(b"clip", file.handle)
        mixer.set_layer_pos(b"clip", 360, 40)
        mixer.set_layer_size(b"clip", 240, 135)
        mixer.set_layer_z_index(b"clip", 1)
        mixer.set_layer_audio(b"clip", 1, 100)
        file.play()
        if not status(file):
            print(f"cannot play {clip}")
            return False

        recorder.set_source(mixer.handle)
        recorder.file_name_set(os.fsencode(path))
        recorder.custom_set(b"preset=ultrafast")
        recorder.set_video_format(byref(canvas))
        recorder.start()
        if not status(recorder):
            print(f"cannot record {path}")
            return False
        seconds, pictures = c_double(), c_int()
        while status(recorder) and seconds.value < SECONDS:
            time.sleep(0.05)
            recorder.get_stats(None, byref(seconds), None, None, None, 0)
        recorder.stop()
        recorder.get_stats(None, None, byref(pictures), None, None, 0)
        print(f"recorded {pictures.value} pictures")
        return True


def tell(library, path):
    """Asks a reader; True for a media file."""
    with Object(library, "reader") as reader:
        if not reader.open(os.fsencode(path)):
            print(f"cannot read {path}")
            return False
        codec = ctypes.create_string_buffer(32)
        reader.video_codec_get(codec, len(codec))
        print(f"{path}: {reader.width_get()}x{reader.height_get()} {codec.value.decode()}, "
              f"{reader.fps_get():g} a second, {reader.duration_get() / 1000:.1f} s, "
              f"{reader.audio_channels_get()} channels")
        return True


def main():
    if len(sys.argv) not in (3, 4):
        print(__doc__, file=sys.stderr)
        return 2
    clip, recording = sys.argv[1:3]
    path = sys.argv[3] if len(sys.argv) > 3 else os.environ.get("QUOLSDK_LIBRARY",
                                                               "libquolsdk.so.0")
    try:
        library = load(path)
    except OSError as error:
        print(f"no library: {error}")
        return 1
    print(f"libquolsdk {library.quolsdk_get_version().decode()}", flush=True)
    return 0 if record(library, clip, recording) and tell(library, recording) else 1


if __name__ == "__main__":
    sys.exit(main())
