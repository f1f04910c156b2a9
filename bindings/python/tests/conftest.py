"""What the tests of the Python module share."""

import pathlib
import subprocess
import sys
import time

import pytest

# Generous: the machine may be busy, or the library instrumented.
PATIENCE = 60.0


def wait_until(condition, patience=PATIENCE):
    """The first true result of the condition; fails when there is none in time."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.005)
    pytest.fail("waited in vain")


def run_script(text, *arguments):
    """Runs a script in an interpreter of its own, which has to end by itself and well."""
    done = subprocess.run([sys.executable, "-c", text, *map(str, arguments)],
                          capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 0, done.stderr[-4000:]
    return done


@pytest.fixture(scope="session")
def clip(tmp_path_factory):
    """Two seconds of a moving picture and a tone."""
    path = tmp_path_factory.mktemp("media") / "clip.mov"
    subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
                    "testsrc2=size=160x96:rate=25:duration=2", "-f", "lavfi", "-i",
                    "sine=frequency=440:duration=2", "-c:v", "libx264", "-preset", "ultrafast",
                    "-pix_fmt", "yuv420p", "-c:a", "pcm_s16le", str(path)], check=True)
    return path


@pytest.fixture(scope="session")
def source_folder():
    return pathlib.Path(__file__).resolve().parent.parent
