"""What the programs read. Made once and kept beside the clips of the other benchmarks."""

import array
import os
import random

from measuring import run

WIDTH, HEIGHT, RATE = 1920, 1080, 50
PICTURES = 4  # different ones; a fifth source has the first again
SOUNDS = 8


class Media:
    def __init__(self, folder, programs):
        self.folder = folder
        self.programs = programs  # where the benchmarks are
        os.makedirs(folder, exist_ok=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def _once(self, name, make):
        path = self.path(name)
        if not os.path.exists(path):
            # Under another name until it is whole, with the ending that tells the container.
            unfinished = self.path("unfinished-" + name)
            make(unfinished)
            os.rename(unfinished, path)
        return path

    def picture(self, number):
        """One raw picture in planar 4:2:0: a diagonal ramp with grain, in a tint of its own."""
        number %= PICTURES

        def make(path):
            chance = random.Random(number)
            ramp = [30 + (180 * i // (WIDTH + HEIGHT)) for i in range(WIDTH + HEIGHT)]
            with open(path, "wb") as file:
                for row in range(HEIGHT):
                    grain = chance.randbytes(WIDTH)
                    file.write(
                        bytes(r + (g & 15) for r, g in zip(ramp[row : row + WIDTH], grain))
                    )
                tints = [(90, 150), (160, 100), (128, 180), (110, 90)][number]
                for tint in tints:
                    grain = chance.randbytes(WIDTH * HEIGHT // 4)
                    file.write(bytes(tint + (g & 7) for g in grain))

        return self._once(f"ramp{number}.yuv", make)

    def looped_picture(self, number):
        """The same, 25 times, for a program that reads no raw pictures."""
        raw = self.picture(number)

        def make(path):
            command = ["ffmpeg", "-v", "error", "-y", "-stream_loop", "24", "-f", "rawvideo"]
            command += ["-pix_fmt", "yuv420p", "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE), "-i"]
            run(command + [raw, "-c", "copy", path])

        return self._once(f"ramp{number % PICTURES}.nut", make)

    def wipe_map(self):
        """From black to white, left to right: the order in which a wipe takes the samples over."""

        def make(path):
            row = bytes(255 * x // (WIDTH - 1) for x in range(WIDTH))
            with open(path, "wb") as file:
                file.write(b"P5 %d %d 255\n" % (WIDTH, HEIGHT) + row * HEIGHT)

        return self._once("wipe.pgm", make)

    def sound(self, number, seconds):
        """So many seconds of soft noise: raw, stereo, 16 bits at 48 kHz."""
        number %= SOUNDS

        def make(path):
            chance = random.Random(number)
            samples = array.array("h", (chance.randrange(-1000, 1000) for _ in range(96000)))
            with open(path, "wb") as file:
                for _ in range(seconds):
                    samples.tofile(file)

        return self._once(f"noise{number}-{seconds}.pcm", make)

    def clip(self, pictures):
        """1920x1080 at 25, H.264 and AAC: all of its 250 pictures, or the first ten."""
        if not os.path.exists(self.path("clip-start.mp4")):
            run([os.path.join(self.programs, "bench_Convert"), "--clips"])
        return self.path("clip.mp4" if pictures > 10 else "clip-start.mp4")

    def camera(self):
        """Raw pictures in planar 4:2:0 like those of a camera, those that replays record."""
        if not os.path.exists(self.path("pictures.yuv")):
            run([os.path.join(self.programs, "bench_Replay"), "--part=feed"])
        return self.path("pictures.yuv")

    def store(self):
        """Those pictures as JPEGs of full-range 4:2:2, as large as a replay stores them."""
        raw = self.camera()

        def make(path):
            command = ["ffmpeg", "-v", "error", "-y", "-stream_loop", "9", "-f", "rawvideo"]
            command += ["-pix_fmt", "yuv420p", "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE), "-i"]
            run(command + [raw, "-pix_fmt", "yuvj422p", "-c:v", "mjpeg", *JPEG_SIZE, path])

        return self._once("store.mov", make)

    def stored_picture(self):
        """The first of them by itself."""
        movie = self.store()

        def make(path):
            command = ["ffmpeg", "-v", "error", "-y", "-i", movie, "-frames:v", "1", "-c", "copy"]
            run(command + ["-f", "mjpeg", path])

        return self._once("stored.jpg", make)


# Quality 86 of a replay at 50 pictures a second.
JPEG_SIZE = "-b:v 172M -minrate 172M -maxrate 172M -bufsize 344M -qmin 1 -qmax 31".split()
