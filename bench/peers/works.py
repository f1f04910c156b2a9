"""What is compared: the works, and who does them."""

import dataclasses
import os

import commands
from commands import ffmpeg, ffmpeg_still, gst_mix, gst_still, melt, melt_still
from measuring import Benchmark, Program, run
from media import HEIGHT, JPEG_SIZE, RATE, WIDTH


@dataclasses.dataclass
class Work:
    key: str
    title: str
    ours: Benchmark
    peers: list
    unit: str = "picture"
    # Figures that the library's own program takes in the same process: name and what it calls them.
    beside: dict = dataclasses.field(default_factory=dict)


class Makers:
    """Makes the works for a folder of built programs and one of media."""

    def __init__(self, programs, media):
        self.programs = programs
        self.media = media

    def own(self, program, *arguments, name="library"):
        return Benchmark(name, [os.path.join(self.programs, program), *arguments])

    def pictures(self, count):
        return [self.media.picture(number) for number in range(count)]

    def looped(self, number, frames):
        return melt_still(self.media.looped_picture(number), frames)

    # ----------------------------------------------------------------------------------- compose
    PLACES = [(64, 64), (640, 360), (1216, 656)]

    def compose(self):
        def overlay(frames, sink=None):
            graph = ffmpeg_still(0) + "[v0]"
            for i, (x, y) in enumerate(self.PLACES, 1):
                graph += f";{ffmpeg_still(i)},scale=640:360:flags=bilinear,format=yuva420p,"
                graph += f"lutyuv=a=204[p{i}];[v{i - 1}][p{i}]overlay={x}:{y}"
                graph += "[out]" if i == len(self.PLACES) else f"[v{i}]"
            return ffmpeg(self.pictures(4), graph, frames, sink)

        def mixer(element, behind=()):
            pads = [{}]
            for x, y in self.PLACES:
                pads += [{"xpos": x, "ypos": y, "width": 640, "height": 360, "alpha": 0.8}]
            return lambda frames, sink=None: gst_mix(
                element, pads, self.pictures(4), frames, sink, behind
            )

        def composite(frames, sink=None):
            arguments = self.looped(0, frames)
            for i in range(1, 4):
                arguments += ["-track", *self.looped(i, frames)]
            for i, (x, y) in enumerate(self.PLACES, 1):
                arguments += ["-transition", "composite", "a_track=0", f"b_track={i}", "in=0"]
                arguments += [f"out={frames - 1}", f"geometry={x} {y} 640 360 0.8"]
            return melt(arguments, sink)

        return Work(
            "compose",
            "Compose: full screen and three 640x360 at 80 %, scaled from 1080p",
            self.own("bench_Compose", "--scene=b", "--frames=600"),
            [
                Program("ffmpeg overlay", overlay, 400),
                Program("GStreamer compositor", mixer("compositor"), 800),
                Program(
                    "GStreamer glvideomixer",
                    mixer("glvideomixer", ["!", "gldownload", "!", "videoconvert"]),
                    14,
                    needs=("glvideomixer",),
                    environment=commands.GL_WITHOUT_SCREEN,
                ),
                Program(
                    "melt composite", composite, 300, environment=commands.MELT_WITHOUT_SCREEN
                ),
            ],
        )

    # -------------------------------------------------------------------------------- transitions
    def two(self, blend):
        def command(frames, sink=None):
            graph = f"{ffmpeg_still(0)}[a];{ffmpeg_still(1)}[b];[a][b]{blend}[out]"
            return ffmpeg(self.pictures(2), graph, frames, sink)

        return command

    def luma(self, *properties):
        def command(frames, sink=None):
            arguments = [*self.looped(0, frames), "-track", *self.looped(1, frames)]
            arguments += ["-transition", "luma", "a_track=0", "b_track=1", "in=0"]
            return melt([*arguments, f"out={frames - 1}", *properties], sink)

        return command

    def crossfade(self):
        def compositor(frames, sink=None):
            return gst_mix("compositor", [{}, {"alpha": 0.5}], self.pictures(2), frames, sink)

        return Work(
            "crossfade",
            "Crossfade of two pictures",
            self.own("bench_Switch", "--scene=fade", "--frames=3000"),
            [
                Program("ffmpeg blend", self.two("blend=all_mode=normal:all_opacity=0.63"), 700),
                Program(
                    "ffmpeg xfade", self.two("xfade=transition=fade:duration=60:offset=0"), 300
                ),
                Program("GStreamer compositor", compositor, 4000),
                Program(
                    "melt luma", self.luma(), 1000, environment=commands.MELT_WITHOUT_SCREEN
                ),
            ],
        )

    def wipe(self):
        return Work(
            "wipe",
            "Wipe from left to right",
            self.own("bench_Switch", "--scene=wipe_lr", "--frames=3000"),
            [
                Program(
                    "ffmpeg xfade wiperight",
                    self.two("xfade=transition=wiperight:duration=60:offset=0"),
                    400,
                ),
                Program(
                    "melt luma with a map",
                    self.luma(f"resource={self.media.wipe_map()}", "softness=0"),
                    600,
                    environment=commands.MELT_WITHOUT_SCREEN,
                ),
            ],
        )

    # -------------------------------------------------------------------------------------- title
    def title(self):
        def text(y, words):
            style = "font='DejaVu Sans':fontsize=56:fontcolor=white"
            return f"drawtext={style}:x=110:y={y}:text='{words}'"

        texts = text(840, "Jane Example") + "," + text(920, "On air %{pts\\:hms}")

        def drawn(frames, sink=None):
            box = "drawbox=x=80:y=820:w=1200:h=180:color=black@0.6:t=fill"
            return ffmpeg(self.pictures(1), f"{ffmpeg_still(0)},{box},{texts}[out]", frames, sink)

        def laid(frames, sink=None):
            panel = f"color=black@0.6:s=1200x180:r={RATE},format=yuva420p"
            graph = f"{ffmpeg_still(0)}[a];{panel}[b];[a][b]overlay=80:820,{texts}[out]"
            return ffmpeg(self.pictures(1), graph, frames, sink)

        def gst_text(element, words, y):
            style = ["halignment=left", "valignment=bottom", "xpad=110", f"ypad={y}"]
            font = ["font-desc=DejaVu Sans, 42", "auto-resize=false", "shaded-background=false"]
            return [element, f"text={words}", *style, *font]

        def pango(frames, sink=None):
            # Told no colorimetry, the mixer takes the small panel for one of standard definition.
            panel = f"video/x-raw,format=I420,width=1200,height=180,framerate={RATE}/1"
            command = ["gst-launch-1.0", "-q", *gst_still(self.media.picture(0), frames)]
            command += ["m.sink_0", "videotestsrc", "pattern=black", f"num-buffers={frames}", "!"]
            command += [panel + ",colorimetry=bt709", "!", "m.sink_1", "compositor", "name=m"]
            command += ["sink_1::xpos=80", "sink_1::ypos=820", "sink_1::alpha=0.6"]
            command += ["!", commands.CAPS, "!", *gst_text("textoverlay", "Jane Example", 170)]
            command += ["!", *gst_text("timeoverlay", "On air", 90), "!"]
            return command + commands.gst_sink(sink)

        def dynamic(frames, sink=None):
            arguments = [*self.looped(0, frames), "-filter", "dynamictext"]
            arguments += ["argument=Jane Example\nOn air #timecode#", "geometry=80 820 1200 180"]
            arguments += ["bgcolour=#99000000", "fgcolour=#ffffffff", "size=56", "pad=20"]
            return melt(arguments, sink)

        return Work(
            "title",
            "Lower third with a running clock over a picture",
            self.own("bench_Titles", "--over=2000"),
            [
                Program("ffmpeg drawbox, drawtext", drawn, 1500),
                Program("ffmpeg overlay, drawtext", laid, 1500),
                Program(
                    "GStreamer compositor, textoverlay",
                    pango,
                    800,
                    needs=("textoverlay", "timeoverlay"),
                ),
                Program(
                    "melt dynamictext",
                    dynamic,
                    150,
                    environment={**commands.MELT_WITHOUT_SCREEN, "DISPLAY": ":77"},
                ),
            ],
        )

    # ---------------------------------------------------------------------------------- multiview
    def multiview(self, sources):
        def places():
            program = os.path.join(self.programs, "bench_Multiview")
            lines = run([program, f"--places={sources}"]).output.splitlines()
            return [tuple(int(word) for word in line.split()) for line in lines]

        def xstack(frames, sink=None):
            graph, layout, tiles = "", [], ""
            for i, (x, y, width, height) in enumerate(places()):
                graph += f"{ffmpeg_still(i)},scale={width}:{height}:flags=bilinear[v{i}];"
                tiles += f"[v{i}]"
                layout.append(f"{x}_{y}")
            graph += f"{tiles}xstack=inputs={sources}:layout={'|'.join(layout)}:fill=black,"
            # The stack ends where the last tile does.
            bottom = max(y + height for _, y, _, height in places())
            form = "crop" if bottom >= HEIGHT else "pad"
            graph += f"{form}={WIDTH}:{HEIGHT}[out]"
            return ffmpeg(self.pictures(sources), graph, frames, sink)

        def mixer(element, behind=()):
            def command(frames, sink=None):
                names = ("xpos", "ypos", "width", "height")
                pads = [dict(zip(names, place)) for place in places()]
                return gst_mix(element, pads, self.pictures(sources), frames, sink, behind)

            return command

        return Work(
            f"multiview{sources}",
            f"Multiview of {sources} sources of 1080p",
            self.own("bench_Multiview", f"--wall={sources}", "--frames=300"),
            [
                Program("ffmpeg xstack, bilinear", xstack, 150 if sources < 36 else 60),
                Program("GStreamer compositor", mixer("compositor"), 150 if sources < 36 else 60),
                Program(
                    "GStreamer glvideomixer",
                    mixer("glvideomixer", ["!", "gldownload", "!", "videoconvert"]),
                    10 if sources < 36 else 6,
                    needs=("glvideomixer",),
                    environment=commands.GL_WITHOUT_SCREEN,
                ),
            ],
        )

    # -------------------------------------------------------------------------------------- sound
    def sound(self):
        channels, brief, whole = 64, 2, 42

        def amix(seconds, _sink=None):
            command = ["ffmpeg", "-v", "error", "-nostdin"]
            for number in range(channels):
                path = self.media.sound(number, seconds)
                command += ["-f", "s16le", "-ar", "48000", "-ac", "2", "-i", path]
            weights = " ".join(["1"] * channels)
            graph = f"amix=inputs={channels}:normalize=0:weights={weights}"
            return command + ["-filter_complex", graph, "-f", "null", "-"]

        def audiomixer(pieces):
            def command(seconds, _sink=None):
                line = ["gst-launch-1.0", "-q", "audiomixer", "name=m"]
                line += ["output-buffer-duration=20000000", "!"]
                line += ["audio/x-raw,format=S16LE,rate=48000,channels=2", "!"]
                line += ["fakesink", "sync=false"]
                for number in range(channels):
                    path = self.media.sound(number, seconds)
                    line += ["filesrc", f"location={path}", *pieces, "rawaudioparse", "format=pcm"]
                    line += ["pcm-format=s16le", "sample-rate=48000", "num-channels=2", "!", "m."]
                return line

            return command

        # Behind something that cannot ask for more, sound is read in blocks of 20 ms, as it comes
        # from a live source; else ahead, in large blocks.
        live = ["blocksize=3840", "!", "tee", "!"]
        return Work(
            "sound",
            "Mix 64 stereo channels",
            self.own("bench_AudioMix", f"--channels={channels}", "--seconds=5"),
            [
                Program("ffmpeg amix", amix, whole, brief),
                Program("GStreamer audiomixer, blocks of 20 ms", audiomixer(live), whole, brief),
                Program("GStreamer audiomixer, large blocks", audiomixer(["!"]), whole, brief),
            ],
            unit="second of sound",
        )

    # -------------------------------------------------------------------------------- intra store
    def record(self):
        def mjpeg(frames, _sink=None):
            command = ["ffmpeg", "-v", "error", "-nostdin", "-threads", "1", *commands.RAW]
            command += [self.media.camera(), "-vf", "loop=-1:size=8,setpts=N"]
            command += ["-frames:v", str(frames), "-pix_fmt", "yuvj422p", "-c:v", "mjpeg"]
            return command + [*JPEG_SIZE, "-threads", "1", "-f", "null", "-"]

        def jpegenc(frames, _sink=None):
            command = ["gst-launch-1.0", "-q", *gst_still(self.media.camera(), frames)]
            form = "video/x-raw,format=Y42B,colorimetry=1:4:0:0"
            command += ["videoconvert", "!", form, "!", "jpegenc", "quality=95", "!"]
            return command + commands.gst_sink(None)

        return Work(
            "record",
            "Replay: record a picture (MJPEG, full-range 4:2:2, quality 86)",
            self.own("bench_Replay", "--part=record", "--frames=200"),
            [
                Program("ffmpeg mjpeg", mjpeg, 200, 8),
                Program("GStreamer jpegenc, quality 95", jpegenc, 300, needs=("jpegenc",)),
            ],
            beside={"libavcodec's MJPEG encoder alone": "encoder"},
        )

    def play(self):
        def decode(frames, sink=None):
            command = ["ffmpeg", "-v", "error", "-nostdin", "-threads", "1", "-i"]
            command += [self.media.store(), "-frames:v", str(frames), "-pix_fmt", "yuv420p"]
            return command + commands.ffmpeg_sink(sink)

        def jpegdec(frames, sink=None):
            path = self.media.stored_picture()
            command = ["gst-launch-1.0", "-q", "multifilesrc", f"location={path}", "loop=true"]
            command += [f"num-buffers={frames}", f"caps=image/jpeg,framerate={RATE}/1", "!"]
            command += ["jpegdec", "!", "videoconvert", "!", "video/x-raw,format=I420", "!"]
            return command + commands.gst_sink(sink)

        return Work(
            "play",
            "Replay: play a picture (to 4:2:0)",
            self.own("bench_Replay", "--part=play", "--seconds=5"),
            [
                Program("ffmpeg mjpeg", decode, 300),
                Program("GStreamer jpegdec", jpegdec, 300, needs=("jpegdec",)),
            ],
        )

    # ------------------------------------------------------------------------------------ convert
    def convert(self):
        output = self.media.path("converted.mp4")
        whole, brief = 250, 10

        def library(pictures, _sink=None):
            command = [os.path.join(self.programs, "bench_Convert"), f"--convert={output}"]
            clip = self.media.clip(pictures)
            return command + [f"--input={clip}", f"--width={WIDTH}", f"--height={HEIGHT}"]

        def transcode(pictures, _sink=None):
            command = ["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", self.media.clip(pictures)]
            command += ["-c:v", "libx264", "-preset", "veryfast", "-b:v", "15000k"]
            return command + ["-c:a", "aac", "-b:a", "128k", "-f", "mp4", output]

        def x264enc(pictures, _sink=None):
            command = ["gst-launch-1.0", "-q", "filesrc", f"location={self.media.clip(pictures)}"]
            command += ["!", "decodebin", "name=d", "d.", "!", "queue", "!", "x264enc"]
            command += ["speed-preset=veryfast", "bitrate=15000", "!", "m.", "d.", "!", "queue"]
            command += ["!", "audioconvert", "!", "avenc_aac", "bitrate=128000", "!", "m."]
            return command + ["mp4mux", "name=m", "!", "filesink", f"location={output}"]

        def avformat(pictures, _sink=None):
            command = ["melt", "-silent", "-profile", "atsc_1080p_25", self.media.clip(pictures)]
            command += ["-consumer", f"avformat:{output}", "real_time=-1", "vcodec=libx264"]
            return command + ["preset=veryfast", "vb=15000k", "acodec=aac", "ab=128k"]

        return Work(
            "convert",
            "Convert 1080p25 to H.264 (`veryfast`, 15 Mbit/s) and AAC",
            Program("library", library, whole, brief),
            [
                Program("ffmpeg", transcode, whole, brief),
                Program("GStreamer x264enc", x264enc, whole, brief, needs=("x264enc",)),
                Program(
                    "melt avformat",
                    avformat,
                    whole,
                    brief,
                    environment=commands.MELT_WITHOUT_SCREEN,
                ),
            ],
        )

    def all(self):
        return [
            self.compose(),
            self.crossfade(),
            self.wipe(),
            self.title(),
            *(self.multiview(sources) for sources in (4, 16, 36)),
            self.sound(),
            self.record(),
            self.play(),
            self.convert(),
        ]

