"""The example does what it says."""

import subprocess
import sys

import quolsdk


def test_picture_in_picture(clip, source_folder, tmp_path):
    red = tmp_path / "red.mp4"
    subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
                    "color=red:size=320x180:rate=25:duration=3", "-pix_fmt", "yuv420p", str(red)],
                   check=True)
    script = source_folder / "examples" / "picture_in_picture.py"
    out = tmp_path / "out.png"
    subprocess.run([sys.executable, script, red, clip, out], check=True, timeout=120)
    reader = quolsdk.LReader()
    assert reader.open(out) and (reader.getWidth(), reader.getHeight()) == (1280, 720)
    signal = quolsdk.LSignal()
    signal.setVideoFormat(quolsdk.videoFormatProps(width=1280, height=720, fps=25))
    signal.setImage(out)
    pixels = signal.createFrame().rgba.astype(int)
    red_at = lambda x, y: pixels[y, x, 0] > 180 and pixels[y, x, 1] < 90 and pixels[y, x, 2] < 90
    assert red_at(40, 40) and red_at(640, 400) and not red_at(1045, 154)  # behind, and in front
    assert pixels[600, 100:110, 2].mean() > pixels[600, 100:110, 0].mean()  # the title's bar
    assert (pixels[547:640, 100:800].min(axis=2) > 200).sum() > 500  # and its letters


def test_the_example_is_as_short_as_it_says(source_folder):
    lines = (source_folder / "examples" / "picture_in_picture.py").read_text().splitlines()
    code = [line for line in lines if line and not line.startswith(('"', "#", "import"))]
    assert len(code) <= 20
