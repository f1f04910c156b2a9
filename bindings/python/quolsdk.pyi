"""Live video production: sources, mixers, titles and sinks."""
# Written by make_stub.py from the signatures of the module, in the words of pybind11 2.10.

import os
from typing import Callable, Optional, Tuple, overload

import numpy

__version__: str


class videoFormatProps:
    """Picture format: a row of the mode table (2 to 38), 0 for the fields as given, 1 for the source's own."""
    def __init__(self, mode: int = 0, width: int = 0, height: int = 0, fps: float = 0.0, pixelFormat: int = 0) -> None:
        ...
    @property
    def mode(self) -> int:
        """Row of the video mode table."""
    @mode.setter
    def mode(self, value: int) -> None: ...
    @property
    def width(self) -> int:
        """Pixels."""
    @width.setter
    def width(self, value: int) -> None: ...
    @property
    def height(self) -> int:
        """Pixels."""
    @height.setter
    def height(self, value: int) -> None: ...
    @property
    def fps(self) -> float:
        """Frames a second."""
    @fps.setter
    def fps(self, value: float) -> None: ...
    @property
    def pixelFormat(self) -> int:
        """Row of the pixel format table; 0 leaves the format untouched."""
    @pixelFormat.setter
    def pixelFormat(self, value: int) -> None: ...

class audioFormatProps:
    """Sound format: a row of the mode table (2 to 37), 0 and 1 for the fields as given."""
    def __init__(self, mode: int = 0, bitsPerSample: int = 0, sampleRate: int = 0, channels: int = 0) -> None:
        ...
    @property
    def mode(self) -> int:
        """Row of the audio mode table."""
    @mode.setter
    def mode(self, value: int) -> None: ...
    @property
    def bitsPerSample(self) -> int:
        """16, 24, or -32 for floating point."""
    @bitsPerSample.setter
    def bitsPerSample(self, value: int) -> None: ...
    @property
    def sampleRate(self) -> int:
        """Hz."""
    @sampleRate.setter
    def sampleRate(self, value: int) -> None: ...
    @property
    def channels(self) -> int:
        """Channel count."""
    @channels.setter
    def channels(self, value: int) -> None: ...

def expandVideoFormat(format: videoFormatProps) -> videoFormatProps:
    """The record with what its mode says."""

def expandAudioFormat(format: audioFormatProps) -> audioFormatProps:
    """The record with what its mode says."""

def videoModes() -> list[videoFormatProps]:
    """The rows of the video mode table, 2 to 38."""

def audioModes() -> list[audioFormatProps]:
    """The rows of the audio mode table, 2 to 37."""

class Frame:
    """A picture or a block of sound. Its data are shared with everybody who has the same frame: arrays of them are read only, and keep it alive."""
    @staticmethod
    def fromRgba(pixels: numpy.ndarray) -> Frame:
        """A picture of an array of uint8, height x width x 4; a copy."""
    @staticmethod
    def fromYuv(y: numpy.ndarray, u: numpy.ndarray, v: numpy.ndarray) -> Frame:
        """A picture of three planes of uint8, 4:2:0, 4:2:2 or 4:4:4 by their sizes; a copy."""
    @staticmethod
    def fromSound(samples: numpy.ndarray, sampleRate: int = 48000) -> Frame:
        """Sound of an array of int16, samples x 2; a copy."""
    @property
    def isPicture(self) -> bool:
        """Whether it is a picture."""
    @property
    def isSound(self) -> bool:
        """Whether it is sound."""
    @property
    def width(self) -> int:
        """Pixels."""
    @property
    def height(self) -> int:
        """Pixels."""
    @property
    def format(self) -> str:
        """FFmpeg's name of the format, "yuv420p"."""
    @property
    def sampleRate(self) -> int:
        """Hz; 0 of a picture."""
    @property
    def channels(self) -> int:
        """Channels of the sound."""
    @property
    def pts(self) -> Optional[int]:
        """Time stamp in units of timeBase; None for none."""
    @pts.setter
    def pts(self, value: Optional[int]) -> None: ...
    @property
    def timeBase(self) -> Tuple[int, int]:
        """Numerator and denominator; (0, 1) for none."""
    @timeBase.setter
    def timeBase(self, value: Tuple[int, int]) -> None: ...
    @property
    def timecode(self) -> Optional[str]:
        """Time code text; None for none."""
    @timecode.setter
    def timecode(self, value: Optional[str]) -> None: ...
    @property
    def metadata(self) -> dict[str, str]:
        """All texts that go with it, a copy."""
    @property
    def planes(self) -> tuple:
        """The planes as they lie in memory, without a copy: three arrays of planar YUV, one of height x width x 4 of RGBA."""
    @property
    def rgba(self) -> numpy.ndarray:
        """Height x width x 4, uint8: without a copy of an RGBA picture, else converted."""
    @property
    def samples(self) -> numpy.ndarray:
        """Samples x 2, int16: without a copy of 16-bit stereo, else converted."""
    def writePng(self, path: str | bytes | os.PathLike[str]) -> None:
        """Writes the picture, without its alpha, to a PNG file."""

def writePng(path: str | bytes | os.PathLike[str], pixels: numpy.ndarray) -> None:
    """Writes an array of uint8, height x width x 3 or 4, to a PNG file, without alpha."""

class LSink:
    """A consumer of pictures and sound. Derive from it and define pushVideoFrame and pushAudioFrame, which are called on the source's thread, one at a time: return soon. Exceptions go to sys.unraisablehook. A sink leaves its sources when it is collected."""
    def __init__(self) -> None:
        ...
    def pushVideoFrame(self, frame: Frame) -> None:
        """Receives one picture."""
    def pushAudioFrame(self, frame: Frame) -> None:
        """Receives one block of sound."""
    def flush(self) -> None:
        """Forget what is queued."""
    def setPaused(self, paused: bool) -> None:
        """The source is paused, or runs on."""

class LObject:
    """A source of pictures and sound. One made by itself hands on what Python gives it: distributeVideoFrame, distributeAudioFrame."""
    def __init__(self) -> None:
        ...
    def addSink(self, sink: LSink) -> None:
        """Attaches a sink, which keeps this source alive; the sink is yours to keep. One that is attached twice gets everything twice."""
    def removeSink(self, sink: LSink) -> None:
        """Detaches a sink. Waits for a push in progress."""
    def getTimeCode(self) -> str:
        """Time code of the position."""
    def canPullRender(self) -> bool:
        """Whether it renders a picture on demand."""
    def renderVideoFrame(self) -> Optional[Frame]:
        """Renders one picture now; None where a class cannot."""
    def addPullConsumer(self) -> None:
        """Registers a consumer that asks by renderVideoFrame."""
    def removePullConsumer(self) -> None:
        """Signs it off."""
    def statusGet(self) -> int:
        """The running state: 0 unless a class says otherwise."""
    def getFPS(self) -> float:
        """Frames a second; 25.0 where none is known."""
    def getWidth(self) -> int:
        """Pixels; 0 where none is known."""
    def getHeight(self) -> int:
        """Pixels; 0 where none is known."""
    def getModeName(self) -> str:
        """Name of the input mode."""
    def distributeVideoFrame(self, frame: Frame) -> None:
        """Hands a picture to all sinks."""
    def distributeAudioFrame(self, frame: Frame) -> None:
        """Hands a block of sound to all sinks."""

class LFilter(LObject):
    """A set of FFmpeg filters by name, for the pictures or the sound of a player."""
    class Type:
        """What the filters work on."""
        audio: LFilter.Type
        video: LFilter.Type
        @property
        def name(self) -> str: ...
        @property
        def value(self) -> int: ...
        def __int__(self) -> int: ...
        def __init__(self, value: int) -> None: ...
    def __init__(self, type: LFilter.Type) -> None:
        ...
    def setNotifyCallback(self, callback: Optional[Callable[..., object]]) -> None:
        """What setProps calls after each change, on the caller's thread; None for nothing."""
    def getFilterString(self) -> str:
        """The chain, filters in the alphabetical order of their names."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets the arguments of the filter `key`; True means none, False takes it out."""

class LFrame(LSink):
    """The frame tap: keeps the latest picture and the latest block of sound of a source."""
    class Video:
        """A picture and what belongs to it; yours to change."""
        @property
        def width(self) -> int:
            """Pixels; 0 until the first picture."""
        @property
        def height(self) -> int:
            """Pixels."""
        @property
        def stride(self) -> int:
            """Bytes a row, width * 4."""
        @property
        def timecode(self) -> str:
            """From the latest picture that carried one."""
        @property
        def rgba(self) -> numpy.ndarray:
            """Height x width x 4, uint8."""
    class Audio:
        """A block of sound; yours to change."""
        @property
        def channels(self) -> int:
            """2 once sound has arrived."""
        @property
        def sampleRate(self) -> int:
            """Hz."""
        @property
        def samples(self) -> int:
            """Samples a channel."""
        @property
        def audio(self) -> numpy.ndarray:
            """Samples x 2, int16."""
    def __init__(self) -> None:
        ...
    def readerObject(self, source: Optional[LObject]) -> None:
        """Looks at this source from now on; None only leaves."""
    def getVideo(self) -> LFrame.Video:
        """The latest picture; never waits for one."""
    def getAudio(self) -> LFrame.Audio:
        """The latest block of sound; never waits for one."""

class LSignal(LObject):
    """A source of one constant picture: a colour or a still image."""
    def __init__(self) -> None:
        ...
    def setColor(self, color: str) -> None:
        """Shows a colour, "#RRGGBB"."""
    def setImage(self, path: str | bytes | os.PathLike[str]) -> None:
        """Shows a still image; an empty path the colour again."""
    def Start(self) -> bool:
        """Starts; true also when it runs already."""
    def Stop(self) -> None:
        """Stops."""
    def createFrame(self) -> Optional[Frame]:
        """The picture as it stands; None when the format has no size."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""

class LFile(LObject):
    """Plays one media file or image sequence as a source."""
    def __init__(self) -> None:
        ...
    def fileNameSet(self, path: str | bytes | os.PathLike[str]) -> None:
        """Sets the file; a "%" makes it the pattern of an image sequence."""
    def play(self) -> bool:
        """Opens and starts, or resumes. False on failure."""
    def ready(self) -> None:
        """Opens and stands paused."""
    def pause(self, delayMs: float = 0.0) -> None:
        """Holds the picture; a delay above 0 lets the pause end by itself."""
    def resume(self) -> None:
        """Goes on."""
    def setPos(self, ms: float) -> None:
        """Jumps, milliseconds."""
    def setPosTC(self, timecode: str) -> None:
        """Jumps to a time code."""
    def stop(self) -> None:
        """Ends and closes the file."""
    def setVideoFilter(self, filter: Optional[LFilter]) -> None:
        """Filters for the pictures, kept alive; None for none."""
    def setAudioFilter(self, filter: Optional[LFilter]) -> None:
        """Filters for the sound, kept alive; None for none."""
    def setAudioDelay(self, ms: int) -> None:
        """Delays the sound, milliseconds."""
    def setVideoDelay(self, ms: int) -> None:
        """Stored; without effect."""
    def initHWDecoder(self) -> bool:
        """Hook for hardware decoding, which this player does not do: False."""
    def getDurationMs(self) -> float:
        """Milliseconds; 0.0 if not known."""
    def getPosMs(self) -> float:
        """Position of the latest picture."""
    def InOutGet(self) -> Tuple[float, float, float]:
        """In point, out point and duration, milliseconds."""
    def getPosTC(self) -> str:
        """Time code of the position."""
    def getInTC(self) -> str:
        """Time code of the in point."""
    def getOutTC(self) -> str:
        """Time code of the out point."""
    @property
    def rate(self) -> float:
        """Playback rate; raise rateChanged behind a change."""
    @rate.setter
    def rate(self, value: float) -> None: ...
    @property
    def rateChanged(self) -> bool:
        """The worker anchors its clock anew, and clears it."""
    @rateChanged.setter
    def rateChanged(self, value: bool) -> None: ...
    @property
    def inPointMs(self) -> float:
        """Where a loop at the out point goes, milliseconds."""
    @inPointMs.setter
    def inPointMs(self, value: float) -> None: ...
    @property
    def outPointMs(self) -> float:
        """Counts above 0 only, milliseconds."""
    @outPointMs.setter
    def outPointMs(self, value: float) -> None: ...
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LReader:
    """What a media file's container says, without playing it."""
    def __init__(self) -> None:
        ...
    def open(self, path: str | bytes | os.PathLike[str]) -> bool:
        """Opens a file; False when it is no media file."""
    def close(self) -> None:
        """Closes the file."""
    def getDurationMs(self) -> float:
        """Milliseconds."""
    def getFPS(self) -> float:
        """Average frame rate."""
    def getWidth(self) -> int:
        """Pixels as coded."""
    def getHeight(self) -> int:
        """Pixels as coded."""
    def getFileLen(self) -> int:
        """Bytes."""
    def getVideoCodec(self) -> str:
        """Decoder's name."""
    def getAudioCodec(self) -> str:
        """Decoder's name."""
    def getContainer(self) -> str:
        """Format's short name."""
    def getBitrate(self) -> int:
        """Bits a second."""
    def getAudioBitrate(self) -> int:
        """Bits a second."""
    def getAudioChannels(self) -> int:
        """0 without sound."""
    def getAspectRatio(self) -> str:
        """"16:9"; "N/A" without a picture."""
    def getColorSpace(self) -> str:
        """FFmpeg's name of the colour space."""
    def getChromaSubsampling(self) -> str:
        """"4:2:0", "4:2:2" or "4:4:4"; else "Unknown"."""
    def getBitDepth(self) -> int:
        """Bits of the first component."""
    def getScanType(self) -> str:
        """"Progressive" or "Interlaced"."""
    def getInTC(self) -> str:
        """Start time code."""
    def getOutTC(self) -> str:
        """Start time code plus the duration."""

class LLive(LObject):
    """Live inputs: cards, NDI, VTP, and a test signal."""
    def __init__(self) -> None:
        ...
    def DeviceGetCount(self) -> int:
        """Looks for cards anew and counts all devices."""
    def DeviceGetByIndex(self, index: int) -> Tuple[str, str]:
        """Name and description of a device."""
    def DeviceSet(self, index: int) -> None:
        """Chooses a device."""
    def DeviceChannelGetCount(self, device: int) -> int:
        """Counts the channels of a device."""
    def DeviceChannelGetByIndex(self, device: int, channel: int) -> Tuple[str, str]:
        """Name and description of a channel."""
    def DeviceChannelSet(self, channel: int) -> None:
        """Chooses a channel of the chosen device."""
    def DeviceFormatVideoGetCount(self, device: int, channel: int) -> int:
        """Counts the picture formats of a device."""
    def DeviceFormatVideoGetByIndex(self, device: int, channel: int, index: int) -> Tuple[str, videoFormatProps]:
        """Name and format of a row."""
    def DeviceFormatVideoSet(self, index: int) -> None:
        """Chooses a format, for cards; 0 follows the signal."""
    def setVideoFilter(self, filter: Optional[LFilter]) -> None:
        """Filters for the pictures, kept alive; None for none."""
    def setAudioFilter(self, filter: Optional[LFilter]) -> None:
        """Filters for the sound, kept alive; None for none."""
    def Start(self) -> bool:
        """Starts the chosen device. False on failure."""
    def Stop(self) -> None:
        """Stops."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LStreamPlay(LObject):
    """Plays a network stream: RTMP, SRT, UDP, HLS."""
    def __init__(self) -> None:
        ...
    def streamUrlSet(self, url: str) -> None:
        """Sets the address."""
    def play(self) -> bool:
        """Starts; False without an address."""
    def stop(self) -> None:
        """Ends and closes the stream."""
    def pause(self, delayMs: float = 0.0) -> None:
        """Stops reading; a delay above 0 lets the pause end by itself."""
    def resume(self) -> None:
        """Goes on where it paused."""
    def ready(self) -> None:
        """Flushes the sinks and sets the clock of the pictures to now."""
    def checkStream(self, url: str) -> bool:
        """Whether an address can be opened; five seconds at the most."""
    def switchAudioTrack(self, index: int) -> None:
        """Takes the sound of another stream of the address; below 0 for none."""
    def getAudioPeak(self) -> Tuple[float, float]:
        """Peaks of the latest block of sound, left and right, 0.0 to 1.0."""
    def resetAudioPeak(self) -> None:
        """Sets both to 0."""
    def setAudioDelay(self, ms: int) -> None:
        """Stored; without effect."""
    def setVideoDelay(self, ms: int) -> None:
        """Stored; without effect."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LLayerItem:
    """A layer of a mixer. Each field is read and written while no picture is in the making; LMixer.editLayer changes several with one picture. ReferenceError once the layer was removed."""
    @property
    def name(self) -> str:
        """The layer's key."""
    @property
    def visible(self) -> bool:
        """False leaves it out, sound included."""
    @visible.setter
    def visible(self, value: bool) -> None: ...
    @property
    def alpha(self) -> int:
        """Opacity, 0 to 255."""
    @alpha.setter
    def alpha(self, value: int) -> None: ...
    @property
    def x(self) -> float:
        """Left edge on the canvas, pixels."""
    @x.setter
    def x(self, value: float) -> None: ...
    @property
    def y(self) -> float:
        """Top edge on the canvas, pixels."""
    @y.setter
    def y(self, value: float) -> None: ...
    @property
    def width(self) -> float:
        """Pixels; 0 and below: the picture's own."""
    @width.setter
    def width(self, value: float) -> None: ...
    @property
    def height(self) -> float:
        """Pixels; 0 and below: the picture's own."""
    @height.setter
    def height(self, value: float) -> None: ...
    @property
    def cropTop(self) -> float:
        """Pixels taken off."""
    @cropTop.setter
    def cropTop(self, value: float) -> None: ...
    @property
    def cropBottom(self) -> float:
        """Pixels taken off."""
    @cropBottom.setter
    def cropBottom(self, value: float) -> None: ...
    @property
    def cropLeft(self) -> float:
        """Pixels taken off."""
    @cropLeft.setter
    def cropLeft(self, value: float) -> None: ...
    @property
    def cropRight(self) -> float:
        """Pixels taken off."""
    @cropRight.setter
    def cropRight(self, value: float) -> None: ...
    @property
    def borderThickness(self) -> int:
        """Pixels; 0: no border."""
    @borderThickness.setter
    def borderThickness(self, value: int) -> None: ...
    @property
    def borderAlpha(self) -> int:
        """Opacity of the border, 0 to 255."""
    @borderAlpha.setter
    def borderAlpha(self, value: int) -> None: ...
    @property
    def borderRadius(self) -> int:
        """Of the corners, percent of the smaller side."""
    @borderRadius.setter
    def borderRadius(self, value: int) -> None: ...
    @property
    def audioEnabled(self) -> bool:
        """Whether its sound joins the mix."""
    @audioEnabled.setter
    def audioEnabled(self, value: bool) -> None: ...
    @property
    def audioGain(self) -> int:
        """Percent."""
    @audioGain.setter
    def audioGain(self, value: int) -> None: ...
    @property
    def zIndex(self) -> int:
        """Higher is painted later, equal by name."""
    @zIndex.setter
    def zIndex(self, value: int) -> None: ...
    @property
    def isDSK(self) -> bool:
        """Whether it is a downstream key."""
    @property
    def borderColor(self) -> str:
        """"#RRGGBB" or "#RGB"."""
    @borderColor.setter
    def borderColor(self, value: str) -> None: ...

class LMixer(LObject):
    """Composes named layers into one picture and one block of sound a tick."""
    class Renderer:
        """What makes the pictures."""
        automatic: LMixer.Renderer
        processor: LMixer.Renderer
        graphics: LMixer.Renderer
        @property
        def name(self) -> str: ...
        @property
        def value(self) -> int: ...
        def __int__(self) -> int: ...
        def __init__(self, value: int) -> None: ...
    def __init__(self, renderer: LMixer.Renderer = Renderer.automatic) -> None:
        ...
    @overload
    def addLayer(self, name: str, source: Optional[LObject], zIndex: int = 0, x: float = 0.0, y: float = 0.0, alpha: int = 255, width: float = -1.0, height: float = -1.0, audioEnabled: bool = False, audioGain: int = 100) -> LLayerItem:
        """Adds a layer, or changes the one of that name; keeps its source alive. `source` may be None."""
    @overload
    def addLayer(self, name: str, source: Optional[LObject], zIndex: int, x: float, y: float, alpha: int, width: float, height: float, cropTop: float, cropBottom: float, cropLeft: float, cropRight: float, borderThickness: int, borderColor: str, audioEnabled: bool, audioGain: int) -> LLayerItem:
        """The same with crop and border. `source` may be None."""
    def addDSK(self, name: str, fillSource: Optional[LObject], keySource: Optional[LObject], zIndex: int = 0, x: float = 0.0, y: float = 0.0, alpha: int = 255, width: float = -1.0, height: float = -1.0) -> LLayerItem:
        """Adds or changes a downstream key; keeps both sources alive. `fillSource` and `keySource` may be None."""
    def addImage(self, name: str, path: str | bytes | os.PathLike[str], zIndex: int = 0, x: float = 0.0, y: float = 0.0, alpha: int = 255, width: float = -1.0, height: float = -1.0, cropTop: float = 0.0, cropBottom: float = 0.0, cropLeft: float = 0.0, cropRight: float = 0.0, borderThickness: int = 0, borderColor: str = '#FFFFFF') -> LLayerItem:
        """Adds a still image, or replaces the layer of that name by one."""
    def removeLayer(self, name: str) -> None:
        """Takes a layer away."""
    def getLayer(self, name: str) -> Optional[LLayerItem]:
        """None for an unknown name."""
    def getLayerCount(self) -> int:
        """Layers, visible or not."""
    def getLayerByIndex(self, index: int) -> Optional[LLayerItem]:
        """By name, from 0; None out of range."""
    def editLayer(self, name: str, edit: Callable[..., object]) -> bool:
        """Calls edit(layer) while no picture is in the making, so that several fields change with one picture. False for an unknown name. It must be quick and call nothing else of the library: RuntimeError."""
    def setLayerBorderRadius(self, name: str, radius: int) -> None:
        """Radius of the corners, percent of the smaller side."""
    def ensureRunning(self) -> None:
        """Starts the thread unless it runs."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""

class LAudioMixer(LObject):
    """Mixes named channels into stereo blocks of 20 milliseconds."""
    def __init__(self) -> None:
        ...
    def addChannel(self, name: str, source: Optional[LObject]) -> None:
        """Adds a channel, muted, in place of one of that name; None only removes."""
    def removeChannel(self, name: str) -> None:
        """Removes a channel."""
    def setChannelGain(self, name: str, percent: int) -> None:
        """Kept within 0 and 200."""
    def setChannelMute(self, name: str, mute: bool) -> None:
        """True: neither heard nor measured."""
    def setMasterVolume(self, percent: int) -> None:
        """Kept within 0 and 200."""
    def setMasterMute(self, mute: bool) -> None:
        """Silence."""
    def getChannelLevel(self, name: str) -> float:
        """The larger of the two peaks of a channel."""
    def getChannelLevels(self, name: str) -> Tuple[float, float]:
        """Peaks of a channel, left and right, 0.0 to 1.0."""
    def getMasterLevel(self) -> float:
        """The larger of the two peaks of the mix."""
    def getMasterLevels(self) -> Tuple[float, float]:
        """Peaks of the mix, left and right, 0.0 to 1.0."""
    def ensureRunning(self) -> None:
        """Starts the thread unless it runs."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""

class LStinger(LObject):
    """A short clip with alpha, held in memory."""
    def __init__(self) -> None:
        ...
    def load(self, path: str | bytes | os.PathLike[str], width: int, height: int, fps: float) -> bool:
        """Decodes the clip in that size. False when there is no picture."""
    def cancelLoad(self) -> None:
        """Ends a load, and every later one, until allowLoad."""
    def allowLoad(self) -> None:
        """Takes cancelLoad back."""
    def clear(self) -> None:
        """Frees the clip."""
    def playOnce(self) -> None:
        """Plays it from its first picture."""
    def stop(self) -> None:
        """Ends the playback."""
    def getFrameByProgress(self, progress: float) -> Optional[Frame]:
        """The picture at a progress, 0 to 1; None without one."""
    def isLoaded(self) -> bool:
        """Whether there is a clip."""
    def isPlaying(self) -> bool:
        """Whether it plays."""
    def getFrameCount(self) -> int:
        """Pictures of the clip."""
    def getPlaybackRate(self) -> float:
        """Pictures a second."""
    def setPlaybackRate(self, rate: float) -> None:
        """Counts from the next playOnce."""

class LCGColor:
    """A colour, made from a text, "#RRGGBB"."""
    @overload
    def __init__(self) -> None:
        ...
    @overload
    def __init__(self, text: str) -> None:
        ...
    def assign(self, text: str) -> None:
        """Reads a text."""
    def value(self) -> int:
        """0xAARRGGBB."""
    def red(self) -> float:
        """0.0 to 1.0."""
    def green(self) -> float:
        """0.0 to 1.0."""
    def blue(self) -> float:
        """0.0 to 1.0."""
    def alpha(self) -> float:
        """0.0 to 1.0."""

class LCGTextProps:
    """A text in a box."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def text(self) -> str:
        """UTF-8, lines parted by line feeds."""
    @text.setter
    def text(self, value: str) -> None: ...
    @property
    def font(self) -> str:
        """Family."""
    @font.setter
    def font(self, value: str) -> None: ...
    @property
    def fontSize(self) -> int:
        """Pixels."""
    @fontSize.setter
    def fontSize(self, value: int) -> None: ...
    @property
    def color(self) -> LCGColor:
        """With its alpha."""
    @color.setter
    def color(self, value: LCGColor) -> None: ...
    @property
    def textAlpha(self) -> int:
        """Opacity of the text, 0 to 255."""
    @textAlpha.setter
    def textAlpha(self, value: int) -> None: ...
    @property
    def letterSpacing(self) -> float:
        """Pixels behind each letter."""
    @letterSpacing.setter
    def letterSpacing(self, value: float) -> None: ...
    @property
    def autoShrink(self) -> bool:
        """A text's: smaller until it fits."""
    @autoShrink.setter
    def autoShrink(self, value: bool) -> None: ...
    @property
    def padding(self) -> int:
        """Pixels between box and text."""
    @padding.setter
    def padding(self, value: int) -> None: ...
    @property
    def outlineSize(self) -> int:
        """Not drawn."""
    @outlineSize.setter
    def outlineSize(self, value: int) -> None: ...
    @property
    def outlineColor(self) -> LCGColor:
        """Not drawn."""
    @outlineColor.setter
    def outlineColor(self, value: LCGColor) -> None: ...
    @property
    def hAlign(self) -> str:
        """"Center", "Right", else left."""
    @hAlign.setter
    def hAlign(self, value: str) -> None: ...
    @property
    def vAlign(self) -> str:
        """"Center", "Bottom", else top."""
    @vAlign.setter
    def vAlign(self, value: str) -> None: ...
    @property
    def textShadowOffsetX(self) -> float:
        """Not drawn."""
    @textShadowOffsetX.setter
    def textShadowOffsetX(self, value: float) -> None: ...
    @property
    def textShadowOffsetY(self) -> float:
        """Not drawn."""
    @textShadowOffsetY.setter
    def textShadowOffsetY(self, value: float) -> None: ...
    @property
    def textShadowAlpha(self) -> int:
        """Not drawn."""
    @textShadowAlpha.setter
    def textShadowAlpha(self, value: int) -> None: ...
    @property
    def textShadowColor(self) -> LCGColor:
        """Not drawn."""
    @textShadowColor.setter
    def textShadowColor(self, value: LCGColor) -> None: ...
    @property
    def bgType(self) -> str:
        """"Color" or "Gradient" draw a panel."""
    @bgType.setter
    def bgType(self, value: str) -> None: ...
    @property
    def bgColor(self) -> LCGColor:
        """Of the panel."""
    @bgColor.setter
    def bgColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientStartColor(self) -> LCGColor:
        """At the top."""
    @bgGradientStartColor.setter
    def bgGradientStartColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientEndColor(self) -> LCGColor:
        """At the bottom."""
    @bgGradientEndColor.setter
    def bgGradientEndColor(self, value: LCGColor) -> None: ...
    @property
    def bgAlpha(self) -> int:
        """Opacity of the panel, 0 to 255."""
    @bgAlpha.setter
    def bgAlpha(self, value: int) -> None: ...
    @property
    def bgRadius(self) -> int:
        """Percent of half the smaller side."""
    @bgRadius.setter
    def bgRadius(self, value: int) -> None: ...
    @property
    def bgShadowOffsetX(self) -> float:
        """Pixels."""
    @bgShadowOffsetX.setter
    def bgShadowOffsetX(self, value: float) -> None: ...
    @property
    def bgShadowOffsetY(self) -> float:
        """Pixels."""
    @bgShadowOffsetY.setter
    def bgShadowOffsetY(self, value: float) -> None: ...
    @property
    def bgShadowAlpha(self) -> int:
        """Opacity of the shadow."""
    @bgShadowAlpha.setter
    def bgShadowAlpha(self, value: int) -> None: ...
    @property
    def bgShadowColor(self) -> LCGColor:
        """Of the shadow."""
    @bgShadowColor.setter
    def bgShadowColor(self, value: LCGColor) -> None: ...
    @property
    def borderColor(self) -> LCGColor:
        """Of the border."""
    @borderColor.setter
    def borderColor(self, value: LCGColor) -> None: ...
    @property
    def borderSize(self) -> int:
        """Pixels, centred on the edge."""
    @borderSize.setter
    def borderSize(self, value: int) -> None: ...
    @property
    def borderAlpha(self) -> int:
        """Opacity of the border, 0 to 255."""
    @borderAlpha.setter
    def borderAlpha(self, value: int) -> None: ...

class LCGCrawlProps:
    """Lines that run through a box one behind the other."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def text(self) -> str:
        """UTF-8, lines parted by line feeds."""
    @text.setter
    def text(self, value: str) -> None: ...
    @property
    def font(self) -> str:
        """Family."""
    @font.setter
    def font(self, value: str) -> None: ...
    @property
    def fontSize(self) -> int:
        """Pixels."""
    @fontSize.setter
    def fontSize(self, value: int) -> None: ...
    @property
    def color(self) -> LCGColor:
        """With its alpha."""
    @color.setter
    def color(self, value: LCGColor) -> None: ...
    @property
    def textAlpha(self) -> int:
        """Opacity of the text, 0 to 255."""
    @textAlpha.setter
    def textAlpha(self, value: int) -> None: ...
    @property
    def letterSpacing(self) -> float:
        """Pixels behind each letter."""
    @letterSpacing.setter
    def letterSpacing(self, value: float) -> None: ...
    @property
    def autoShrink(self) -> bool:
        """A text's: smaller until it fits."""
    @autoShrink.setter
    def autoShrink(self, value: bool) -> None: ...
    @property
    def padding(self) -> int:
        """Pixels between box and text."""
    @padding.setter
    def padding(self, value: int) -> None: ...
    @property
    def outlineSize(self) -> int:
        """Not drawn."""
    @outlineSize.setter
    def outlineSize(self, value: int) -> None: ...
    @property
    def outlineColor(self) -> LCGColor:
        """Not drawn."""
    @outlineColor.setter
    def outlineColor(self, value: LCGColor) -> None: ...
    @property
    def hAlign(self) -> str:
        """"Center", "Right", else left."""
    @hAlign.setter
    def hAlign(self, value: str) -> None: ...
    @property
    def vAlign(self) -> str:
        """"Center", "Bottom", else top."""
    @vAlign.setter
    def vAlign(self, value: str) -> None: ...
    @property
    def textShadowOffsetX(self) -> float:
        """Not drawn."""
    @textShadowOffsetX.setter
    def textShadowOffsetX(self, value: float) -> None: ...
    @property
    def textShadowOffsetY(self) -> float:
        """Not drawn."""
    @textShadowOffsetY.setter
    def textShadowOffsetY(self, value: float) -> None: ...
    @property
    def textShadowAlpha(self) -> int:
        """Not drawn."""
    @textShadowAlpha.setter
    def textShadowAlpha(self, value: int) -> None: ...
    @property
    def textShadowColor(self) -> LCGColor:
        """Not drawn."""
    @textShadowColor.setter
    def textShadowColor(self, value: LCGColor) -> None: ...
    @property
    def bgType(self) -> str:
        """"Color" or "Gradient" draw a panel."""
    @bgType.setter
    def bgType(self, value: str) -> None: ...
    @property
    def bgColor(self) -> LCGColor:
        """Of the panel."""
    @bgColor.setter
    def bgColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientStartColor(self) -> LCGColor:
        """At the top."""
    @bgGradientStartColor.setter
    def bgGradientStartColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientEndColor(self) -> LCGColor:
        """At the bottom."""
    @bgGradientEndColor.setter
    def bgGradientEndColor(self, value: LCGColor) -> None: ...
    @property
    def bgAlpha(self) -> int:
        """Opacity of the panel, 0 to 255."""
    @bgAlpha.setter
    def bgAlpha(self, value: int) -> None: ...
    @property
    def bgRadius(self) -> int:
        """Percent of half the smaller side."""
    @bgRadius.setter
    def bgRadius(self, value: int) -> None: ...
    @property
    def bgShadowOffsetX(self) -> float:
        """Pixels."""
    @bgShadowOffsetX.setter
    def bgShadowOffsetX(self, value: float) -> None: ...
    @property
    def bgShadowOffsetY(self) -> float:
        """Pixels."""
    @bgShadowOffsetY.setter
    def bgShadowOffsetY(self, value: float) -> None: ...
    @property
    def bgShadowAlpha(self) -> int:
        """Opacity of the shadow."""
    @bgShadowAlpha.setter
    def bgShadowAlpha(self, value: int) -> None: ...
    @property
    def bgShadowColor(self) -> LCGColor:
        """Of the shadow."""
    @bgShadowColor.setter
    def bgShadowColor(self, value: LCGColor) -> None: ...
    @property
    def borderColor(self) -> LCGColor:
        """Of the border."""
    @borderColor.setter
    def borderColor(self, value: LCGColor) -> None: ...
    @property
    def borderSize(self) -> int:
        """Pixels, centred on the edge."""
    @borderSize.setter
    def borderSize(self, value: int) -> None: ...
    @property
    def borderAlpha(self) -> int:
        """Opacity of the border, 0 to 255."""
    @borderAlpha.setter
    def borderAlpha(self, value: int) -> None: ...
    @property
    def textMove(self) -> str:
        """"Vertical" runs up or down, else sideways."""
    @textMove.setter
    def textMove(self, value: str) -> None: ...
    @property
    def textSpeed(self) -> float:
        """Pixels a picture; negative to the left, or up."""
    @textSpeed.setter
    def textSpeed(self, value: float) -> None: ...
    @property
    def separatorImage(self) -> str:
        """File of an image between entries."""
    @separatorImage.setter
    def separatorImage(self, value: str) -> None: ...
    @property
    def textSeparator(self) -> str:
        """Between entries, without an image."""
    @textSeparator.setter
    def textSeparator(self, value: str) -> None: ...
    @property
    def separatorPadding(self) -> int:
        """Pixels around the separator."""
    @separatorPadding.setter
    def separatorPadding(self, value: int) -> None: ...

class LCGTickerProps:
    """Lines that are shown one at a time."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def text(self) -> str:
        """UTF-8, lines parted by line feeds."""
    @text.setter
    def text(self, value: str) -> None: ...
    @property
    def font(self) -> str:
        """Family."""
    @font.setter
    def font(self, value: str) -> None: ...
    @property
    def fontSize(self) -> int:
        """Pixels."""
    @fontSize.setter
    def fontSize(self, value: int) -> None: ...
    @property
    def color(self) -> LCGColor:
        """With its alpha."""
    @color.setter
    def color(self, value: LCGColor) -> None: ...
    @property
    def textAlpha(self) -> int:
        """Opacity of the text, 0 to 255."""
    @textAlpha.setter
    def textAlpha(self, value: int) -> None: ...
    @property
    def letterSpacing(self) -> float:
        """Pixels behind each letter."""
    @letterSpacing.setter
    def letterSpacing(self, value: float) -> None: ...
    @property
    def autoShrink(self) -> bool:
        """A text's: smaller until it fits."""
    @autoShrink.setter
    def autoShrink(self, value: bool) -> None: ...
    @property
    def padding(self) -> int:
        """Pixels between box and text."""
    @padding.setter
    def padding(self, value: int) -> None: ...
    @property
    def outlineSize(self) -> int:
        """Not drawn."""
    @outlineSize.setter
    def outlineSize(self, value: int) -> None: ...
    @property
    def outlineColor(self) -> LCGColor:
        """Not drawn."""
    @outlineColor.setter
    def outlineColor(self, value: LCGColor) -> None: ...
    @property
    def hAlign(self) -> str:
        """"Center", "Right", else left."""
    @hAlign.setter
    def hAlign(self, value: str) -> None: ...
    @property
    def vAlign(self) -> str:
        """"Center", "Bottom", else top."""
    @vAlign.setter
    def vAlign(self, value: str) -> None: ...
    @property
    def textShadowOffsetX(self) -> float:
        """Not drawn."""
    @textShadowOffsetX.setter
    def textShadowOffsetX(self, value: float) -> None: ...
    @property
    def textShadowOffsetY(self) -> float:
        """Not drawn."""
    @textShadowOffsetY.setter
    def textShadowOffsetY(self, value: float) -> None: ...
    @property
    def textShadowAlpha(self) -> int:
        """Not drawn."""
    @textShadowAlpha.setter
    def textShadowAlpha(self, value: int) -> None: ...
    @property
    def textShadowColor(self) -> LCGColor:
        """Not drawn."""
    @textShadowColor.setter
    def textShadowColor(self, value: LCGColor) -> None: ...
    @property
    def bgType(self) -> str:
        """"Color" or "Gradient" draw a panel."""
    @bgType.setter
    def bgType(self, value: str) -> None: ...
    @property
    def bgColor(self) -> LCGColor:
        """Of the panel."""
    @bgColor.setter
    def bgColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientStartColor(self) -> LCGColor:
        """At the top."""
    @bgGradientStartColor.setter
    def bgGradientStartColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientEndColor(self) -> LCGColor:
        """At the bottom."""
    @bgGradientEndColor.setter
    def bgGradientEndColor(self, value: LCGColor) -> None: ...
    @property
    def bgAlpha(self) -> int:
        """Opacity of the panel, 0 to 255."""
    @bgAlpha.setter
    def bgAlpha(self, value: int) -> None: ...
    @property
    def bgRadius(self) -> int:
        """Percent of half the smaller side."""
    @bgRadius.setter
    def bgRadius(self, value: int) -> None: ...
    @property
    def bgShadowOffsetX(self) -> float:
        """Pixels."""
    @bgShadowOffsetX.setter
    def bgShadowOffsetX(self, value: float) -> None: ...
    @property
    def bgShadowOffsetY(self) -> float:
        """Pixels."""
    @bgShadowOffsetY.setter
    def bgShadowOffsetY(self, value: float) -> None: ...
    @property
    def bgShadowAlpha(self) -> int:
        """Opacity of the shadow."""
    @bgShadowAlpha.setter
    def bgShadowAlpha(self, value: int) -> None: ...
    @property
    def bgShadowColor(self) -> LCGColor:
        """Of the shadow."""
    @bgShadowColor.setter
    def bgShadowColor(self, value: LCGColor) -> None: ...
    @property
    def borderColor(self) -> LCGColor:
        """Of the border."""
    @borderColor.setter
    def borderColor(self, value: LCGColor) -> None: ...
    @property
    def borderSize(self) -> int:
        """Pixels, centred on the edge."""
    @borderSize.setter
    def borderSize(self, value: int) -> None: ...
    @property
    def borderAlpha(self) -> int:
        """Opacity of the border, 0 to 255."""
    @borderAlpha.setter
    def borderAlpha(self, value: int) -> None: ...
    @property
    def textMove(self) -> str:
        """"Up" or "Down"."""
    @textMove.setter
    def textMove(self, value: str) -> None: ...
    @property
    def textMoveDuration(self) -> float:
        """Seconds that a line rests."""
    @textMoveDuration.setter
    def textMoveDuration(self, value: float) -> None: ...

class LCGRectProps:
    """A panel. At its default type it draws nothing."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def bgType(self) -> str:
        """"Color" or "Gradient" draw a panel."""
    @bgType.setter
    def bgType(self, value: str) -> None: ...
    @property
    def bgColor(self) -> LCGColor:
        """Of the panel."""
    @bgColor.setter
    def bgColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientStartColor(self) -> LCGColor:
        """At the top."""
    @bgGradientStartColor.setter
    def bgGradientStartColor(self, value: LCGColor) -> None: ...
    @property
    def bgGradientEndColor(self) -> LCGColor:
        """At the bottom."""
    @bgGradientEndColor.setter
    def bgGradientEndColor(self, value: LCGColor) -> None: ...
    @property
    def bgAlpha(self) -> int:
        """Opacity of the panel, 0 to 255."""
    @bgAlpha.setter
    def bgAlpha(self, value: int) -> None: ...
    @property
    def bgRadius(self) -> int:
        """Percent of half the smaller side."""
    @bgRadius.setter
    def bgRadius(self, value: int) -> None: ...
    @property
    def bgShadowOffsetX(self) -> float:
        """Pixels."""
    @bgShadowOffsetX.setter
    def bgShadowOffsetX(self, value: float) -> None: ...
    @property
    def bgShadowOffsetY(self) -> float:
        """Pixels."""
    @bgShadowOffsetY.setter
    def bgShadowOffsetY(self, value: float) -> None: ...
    @property
    def bgShadowAlpha(self) -> int:
        """Opacity of the shadow."""
    @bgShadowAlpha.setter
    def bgShadowAlpha(self, value: int) -> None: ...
    @property
    def bgShadowColor(self) -> LCGColor:
        """Of the shadow."""
    @bgShadowColor.setter
    def bgShadowColor(self, value: LCGColor) -> None: ...
    @property
    def borderColor(self) -> LCGColor:
        """Of the border."""
    @borderColor.setter
    def borderColor(self, value: LCGColor) -> None: ...
    @property
    def borderSize(self) -> int:
        """Pixels, centred on the edge."""
    @borderSize.setter
    def borderSize(self, value: int) -> None: ...
    @property
    def borderAlpha(self) -> int:
        """Opacity of the border, 0 to 255."""
    @borderAlpha.setter
    def borderAlpha(self, value: int) -> None: ...

class LCGImageProps:
    """A still image."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def path(self) -> str:
        """File."""
    @path.setter
    def path(self, value: str) -> None: ...

class LCGVideoProps:
    """A clip, at the generator's rate."""
    def __init__(self, **kwargs) -> None:
        ...
    @property
    def path(self) -> str:
        """File; counts when the item is added."""
    @path.setter
    def path(self, value: str) -> None: ...

class LCGItem:
    """An item of a character generator. ReferenceError once it was removed."""
    @property
    def id(self) -> str:
        """Name."""
    @property
    def x(self) -> float:
        """Left edge now, pixels."""
    @x.setter
    def x(self, value: float) -> None: ...
    @property
    def y(self) -> float:
        """Top edge now, pixels."""
    @y.setter
    def y(self, value: float) -> None: ...
    @property
    def startX(self) -> float:
        """Left edge at home."""
    @startX.setter
    def startX(self, value: float) -> None: ...
    @property
    def startY(self) -> float:
        """Top edge at home."""
    @startY.setter
    def startY(self, value: float) -> None: ...
    @property
    def w(self) -> int:
        """Pixels."""
    @w.setter
    def w(self, value: int) -> None: ...
    @property
    def h(self) -> int:
        """Pixels."""
    @h.setter
    def h(self, value: int) -> None: ...
    @property
    def show(self) -> bool:
        """Visible."""
    @show.setter
    def show(self, value: bool) -> None: ...
    @property
    def alpha(self) -> float:
        """Opacity, 0.0 to 1.0."""
    @alpha.setter
    def alpha(self, value: float) -> None: ...
    @property
    def moveSpeed(self) -> float:
        """Pixels a picture, signed."""
    @moveSpeed.setter
    def moveSpeed(self, value: float) -> None: ...
    @property
    def moveLoop(self) -> bool:
        """Beyond the edge: come in at the other side, or hide and go home."""
    @moveLoop.setter
    def moveLoop(self, value: bool) -> None: ...
    @property
    def moveType(self) -> str:
        """"Horizontal" or "Vertical": the item drifts."""
    @moveType.setter
    def moveType(self, value: str) -> None: ...
    @property
    def group(self) -> Optional[LCGGroup]:
        """The group it is in; None for none."""

class LCGGroup:
    """Items that are shown, hidden and moved together. ReferenceError once the group was ended."""
    @property
    def name(self) -> str:
        """Key of the group."""
    @property
    def show(self) -> bool:
        """Of all members, beside their own."""
    @show.setter
    def show(self, value: bool) -> None: ...
    @property
    def x(self) -> float:
        """Added to every member's position, pixels."""
    @x.setter
    def x(self, value: float) -> None: ...
    @property
    def y(self) -> float:
        """Added to every member's position, pixels."""
    @y.setter
    def y(self, value: float) -> None: ...
    @property
    def items(self) -> list[LCGItem]:
        """The members."""

class LCGTextItem(LCGItem):
    """Lines in a box."""
    @property
    def props(self) -> LCGTextProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""

class LCGCrawlItem(LCGItem):
    """Lines that run through a box."""
    @property
    def props(self) -> LCGCrawlProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""
    @property
    def scrollX(self) -> float:
        """Left edge of the running text."""
    @property
    def scrollY(self) -> float:
        """Top edge of the running text."""

class LCGTickerItem(LCGItem):
    """Lines in a box, one at a time."""
    @property
    def props(self) -> LCGTickerProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""

class LCGImageItem(LCGItem):
    """A still image."""
    @property
    def props(self) -> LCGImageProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""

class LCGVideoItem(LCGItem):
    """A clip, a picture a tick."""
    @property
    def props(self) -> LCGVideoProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""

class LCGRectItem(LCGItem):
    """A panel."""
    @property
    def props(self) -> LCGRectProps:
        """What it shows, and how: a copy. LCharacter.updateItem changes it."""

class LCharacter(LObject):
    """Titles, crawls, tickers, images and panels as pictures with alpha."""
    def __init__(self) -> None:
        ...
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGTextProps) -> LCGItem:
        """Adds an item on top; a size of 0 is the picture's, or the image's own."""
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGCrawlProps) -> LCGItem:
        """Adds an item on top; a size of 0 is the picture's, or the image's own."""
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGTickerProps) -> LCGItem:
        """Adds an item on top; a size of 0 is the picture's, or the image's own."""
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGRectProps) -> LCGItem:
        """Adds an item on top; a size of 0 is the picture's, or the image's own."""
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGImageProps) -> LCGItem:
        """Adds an item on top; a size of 0 is the picture's, or the image's own."""
    @overload
    def addItem(self, id: str, x: int, y: int, w: int, h: int, props: LCGVideoProps) -> Optional[LCGItem]:
        """Adds an item on top; a size of 0 is the picture's own. None, and no item, for a video that cannot be played."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGTextProps) -> None:
        """Changes an item of the kind that fits the record."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGCrawlProps) -> None:
        """Changes an item of the kind that fits the record."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGTickerProps) -> None:
        """Changes an item of the kind that fits the record."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGRectProps) -> None:
        """Changes an item of the kind that fits the record."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGImageProps) -> None:
        """Changes an item of the kind that fits the record."""
    @overload
    def updateItem(self, id: str, x: int, y: int, w: int, h: int, alpha: float, show: bool, props: LCGVideoProps) -> None:
        """Changes an item of the kind that fits the record."""
    def showItem(self, id: str, show: bool) -> None:
        """Shows or hides an item, or a group."""
    def remove(self, id: str) -> None:
        """Takes the first item of that id away."""
    def group(self, ids: list[str]) -> str:
        """Makes a group of these items and returns its name."""
    def unGroup(self, name: str) -> None:
        """Ends a group; its items stay."""
    def deleteGroup(self, name: str) -> None:
        """Ends a group with its items."""
    def getItemCount(self) -> int:
        """Items on the list."""
    def getItemByIndex(self, index: int) -> Optional[LCGItem]:
        """In drawing order; None out of range."""
    def getItem(self, id: str) -> Optional[LCGItem]:
        """None for an unknown id."""
    def getGroupCount(self) -> int:
        """Groups."""
    def getGroupByIndex(self, index: int) -> Optional[LCGGroup]:
        """In name order; None out of range."""
    def getGroup(self, id: str) -> str:
        """Name of an item's group; empty without one."""
    def getGroupObject(self, name: str) -> Optional[LCGGroup]:
        """None for an unknown name."""
    def groupItemCount(self, name: str) -> int:
        """0 for an unknown name."""
    def getGroupItemByIndex(self, name: str, index: int) -> Optional[LCGItem]:
        """None out of range."""
    def hasVisibleItem(self) -> bool:
        """Whether the latest picture had a visible item."""
    def isDynamic(self) -> bool:
        """Whether the scene is drawn at every tick."""
    def forceUpdate(self) -> None:
        """Draws it at the next tick."""
    def setFPS(self, fps: float) -> None:
        """Pictures a second."""
    def saveToXMLFile(self, path: str | bytes | os.PathLike[str]) -> None:
        """Writes the scene to a text file."""
    def insertFromXMLFile(self, path: str | bytes | os.PathLike[str]) -> None:
        """Puts a file's items into the scene."""
    def loadFromXMLFile(self, path: str | bytes | os.PathLike[str]) -> None:
        """Puts a file's items in place of the scene."""
    @staticmethod
    def hexToUint(text: str) -> int:
        """As LCGColor reads it."""
    @staticmethod
    def uintToHex(color: int) -> str:
        """"#RRGGBB", without the alpha."""

class SwitcherPreviewObject(LObject):
    """The preview output of a switcher. A sink of its addSink gets what the source on preview makes; one of LObject.addSink(preview, sink) gets the preview as the switcher renders it."""
    def addSink(self, sink: LSink) -> None:
        """A sink that is there already is left alone."""
    def removeSink(self, sink: LSink) -> None:
        """One that is not there is ignored."""

class LSwitcher(LObject):
    """A programme, a preview, and every way from the one to the other. Keeps the sources of its two layers alive."""
    class SwitcherStats:
        """What the switcher does, at one moment."""
        @property
        def renderRate(self) -> float:
            """Frames a second, measured."""
        @property
        def activeSource(self) -> str:
            """"SubA", "SubB", "Transition"."""
        @property
        def position(self) -> float:
            """Of the transition, percent."""
        @property
        def frameCount(self) -> int:
            """Since the clock was started."""
        @property
        def timecode(self) -> str:
            """Of the next frame."""
        @property
        def peakA(self) -> float:
            """Of the sound of layer A, 0 to 1."""
        @property
        def peakB(self) -> float:
            """Of layer B."""
        @property
        def masterPeak(self) -> float:
            """Of the sound sent."""
        @property
        def audioDelay(self) -> float:
            """Milliseconds of sound that wait."""
        @property
        def drift(self) -> float:
            """Milliseconds by which pictures outlast sound."""
    def __init__(self) -> None:
        ...
    def setProgram(self, source: Optional[LObject]) -> None:
        """Gives the programme another source, kept alive; None for none."""
    def setPreview(self, source: Optional[LObject]) -> None:
        """Gives the preview another source, kept alive; None for none."""
    def removeSource(self, source: LObject) -> None:
        """Takes a source away wherever it is, in the sound too."""
    def getCurrentPreviewSource(self) -> Optional[LObject]:
        """None for none."""
    def getPreviewObject(self) -> SwitcherPreviewObject:
        """The preview output, a part of the switcher, which it keeps alive."""
    def setExtAudio(self, on: bool) -> None:
        """Whether the sound is that of the external source."""
    def setExtAudioObject(self, source: Optional[LObject]) -> None:
        """The external source of sound; None for none."""
    def flushExtAudio(self) -> None:
        """Drops the external sound that waits."""
    def setTransitionType(self, type: str, parameter: str = '') -> None:
        """What happens between the layers; the colour of a "dip"."""
    def setTransition(self, position: float) -> None:
        """Moves the transition by hand, 0 to 1."""
    def setCutTransition(self) -> None:
        """The layers change places."""
    def setAutoTransition(self, durationMs: float) -> None:
        """Takes the transition to its other end within that time; does not wait."""
    def setStinger(self, path: str | bytes | os.PathLike[str]) -> None:
        """Loads a clip with alpha; does not wait."""
    def setStingerDuration(self, milliseconds: int) -> None:
        """What the clip lasts on air."""
    def triggerStinger(self) -> None:
        """Plays the stinger, with a cut behind it."""
    def setProgAudioGain(self, percent: int) -> None:
        """How loud the programme's source is."""
    def setPrevAudioGain(self, percent: int) -> None:
        """How loud the preview's source is."""
    def setMasterGain(self, percent: int) -> None:
        """Of all sound, within 0 and 200."""
    def setMasterMute(self, mute: bool) -> None:
        """Silences all sound."""
    def addCG(self, character: Optional[LCharacter]) -> None:
        """Puts titles on top, kept alive. None is ignored."""
    def removeCG(self, character: LCharacter) -> None:
        """Takes titles away."""
    def getCGCount(self) -> int:
        """Titles that lie on top."""
    def getCGByIndex(self, index: int) -> Optional[LCharacter]:
        """The lowest is 0; None out of range."""
    def getStats(self) -> LSwitcher.SwitcherStats:
        """Waits for the picture in the making."""
    def getTimecodeString(self, frame: int, fps: float) -> str:
        """"hh:mm:ss:ff" of a frame."""
    def ensureRunning(self) -> None:
        """Starts the thread unless it runs."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class MultiviewOrientation:
    """Where the grid of small windows lies."""
    gridBelow: MultiviewOrientation
    gridAbove: MultiviewOrientation
    gridRight: MultiviewOrientation
    gridLeft: MultiviewOrientation
    @property
    def name(self) -> str: ...
    @property
    def value(self) -> int: ...
    def __int__(self) -> int: ...
    def __init__(self, value: int) -> None: ...

class LMultiview(LObject):
    """A control room's monitor wall in one picture."""
    class Renderer:
        """What makes the pictures."""
        automatic: LMultiview.Renderer
        processor: LMultiview.Renderer
        graphics: LMultiview.Renderer
        @property
        def name(self) -> str: ...
        @property
        def value(self) -> int: ...
        def __int__(self) -> int: ...
        def __init__(self, value: int) -> None: ...
    class LayoutInfo:
        """A tile; position and size are fractions of the picture."""
        @property
        def key(self) -> str:
            """"PVW", "PGM", or as "2_3"."""
        @property
        def name(self) -> str:
            """The label."""
        @property
        def x(self) -> float:
            """Left edge."""
        @property
        def y(self) -> float:
            """Upper edge."""
        @property
        def w(self) -> float:
            """Width."""
        @property
        def h(self) -> float:
            """Height."""
        @property
        def tally(self) -> int:
            """0 none, 1 preview, 2 programme."""
    def __init__(self, renderer: LMultiview.Renderer = Renderer.automatic) -> None:
        ...
    def setupGrid(self, orientation: MultiviewOrientation, gridSize: int) -> None:
        """Lays the wall out; all tiles of the grid go."""
    def setPGMSource(self, source: Optional[LObject]) -> None:
        """Source of the programme's window; None for none."""
    def setPVWSource(self, source: Optional[LObject]) -> None:
        """Source of the preview's window; None for none."""
    def setGridPos(self, source: Optional[LObject], row: int, col: int, span: int = 0, name: str = '') -> None:
        """Puts a source into a tile, or None; rows and columns from 1."""
    def removeGridPos(self, row: int, col: int) -> None:
        """Takes a tile of the grid away."""
    def setGridPGM(self, row: int, col: int) -> None:
        """Marks a tile red."""
    def setGridPVW(self, row: int, col: int) -> None:
        """Marks a tile green."""
    def clearTally(self, row: int, col: int) -> None:
        """Takes the mark off."""
    @overload
    def setGridName(self, row: int, col: int, name: str) -> None:
        """Sets a tile's label."""
    @overload
    def setGridName(self, key: str, name: str) -> None:
        """The same by key, "PVW" say."""
    def getLayoutInfo(self) -> list[LMultiview.LayoutInfo]:
        """All tiles, in the order of their keys."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""

class LAnimation(LObject):
    """Lottie templates as a source with alpha."""
    def __init__(self) -> None:
        ...
    def loadTemplate(self, id: int, path: str | bytes | os.PathLike[str]) -> bool:
        """Loads a file into a layer and plays it. False when it cannot be read."""
    def update(self, id: int, layerName: str, text: str) -> None:
        """Sets the text of the first text layer of that name."""
    def updateColor(self, id: int, layerName: str, color: str, color2: str = '', param: str = '') -> None:
        """Sets a colour, "#RRGGBB"; with color2 a gradient. ValueError for no digits."""
    def updateImage(self, id: int, name: str, imagePath: str | bytes | os.PathLike[str]) -> None:
        """Puts another image file in the place of an image."""
    def addMarker(self, id: int, name: str, frame: int) -> None:
        """Sets a marker, "IN", "LOOP", "STOP" or "OUT"."""
    def play(self, id: int) -> None:
        """Goes on from where it is."""
    def stop(self, id: int) -> None:
        """Leaves through OUT, or plays to the end."""
    def close(self, id: int) -> None:
        """Leaves through OUT; without one it is gone at once."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""

class OutputStats:
    """How an output stands."""
    @property
    def width(self) -> int:
        """Pixels of the pictures put out."""
    @property
    def height(self) -> int:
        """Pixels."""
    @property
    def frameRate(self) -> float:
        """Frames a second."""
    @property
    def audioChannels(self) -> int:
        """Channels of the sound."""
    @property
    def audioRate(self) -> int:
        """Hz."""
    @property
    def framesDropped(self) -> int:
        """Lost: the device fell behind."""
    @property
    def framesQueued(self) -> int:
        """Pictures that wait."""
    @property
    def framesSent(self) -> int:
        """Pictures it is done with."""

class LOutput(LSink):
    """Pictures and sound to a card, NDI or VTP."""
    def __init__(self) -> None:
        ...
    def setSource(self, source: Optional[LObject]) -> None:
        """What it puts out, kept alive; None for nothing."""
    def setEnabled(self, enabled: bool) -> None:
        """Starts or stops the selected device."""
    def getStats(self) -> OutputStats:
        """Never waits for the device."""
    def startNDI(self) -> bool:
        """A step of setEnabled."""
    def stopNDI(self) -> None:
        """A step of setEnabled."""
    def startVTP(self) -> bool:
        """A step of setEnabled."""
    def stopVTP(self) -> None:
        """A step of setEnabled."""
    def startDeckLink(self) -> bool:
        """A step of setEnabled."""
    def stopDeckLink(self) -> None:
        """A step of setEnabled."""
    def popAudioSamplesForPts(self, pts: float, count: int) -> Tuple[int, numpy.ndarray]:
        """Takes up to so many stereo samples of the sound that waits: how many there were, and an array of int16, count x 2, filled up with silence."""
    def setDevice(self, index: int) -> None:
        """Selects a device of the table."""
    def DeviceGetCount(self) -> int:
        """Looks for cards; cards that can play + 2."""
    def DeviceGetByIndex(self, index: int) -> Tuple[str, str]:
        """Name and description of a device."""
    def DeviceChannelGetCount(self, device: int) -> int:
        """Connectors of a card; else 1."""
    def DeviceChannelGetByIndex(self, device: int, channel: int) -> Tuple[str, str]:
        """Name and description of a connector."""
    def DeviceChannelSet(self, channel: int) -> None:
        """Picks a connector."""
    def updateDeckLinkLines(self, device: int) -> None:
        """Reads the connectors of a card anew."""
    def DeviceFormatVideoGetCount(self, device: int, channel: int) -> int:
        """Modes of a card; else 35."""
    def DeviceFormatVideoGetByIndex(self, device: int, channel: int, index: int) -> Tuple[str, videoFormatProps]:
        """Name and record of a format."""
    def DeviceFormatVideoSet(self, index: int) -> None:
        """Picks a format of the selected device."""
    def DeviceFormatAudioSet(self, format: audioFormatProps) -> None:
        """Rate and channel count of the sound."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LRecorder(LSink):
    """One source into one movie file. A recording that runs at the end of the script is finished."""
    class Stats:
        """How a recording stands."""
        @property
        def state(self) -> int:
            """As statusGet."""
        @property
        def framesWritten(self) -> int:
            """Pictures encoded."""
        @property
        def framesDropped(self) -> int:
            """Lost, whatever the reason."""
        @property
        def secondsRecorded(self) -> float:
            """Length of the picture track."""
        @property
        def fileSize(self) -> int:
            """Bytes."""
        @property
        def filePath(self) -> str:
            """Of the recording that runs, else as set."""
    def __init__(self) -> None:
        ...
    @property
    def source(self) -> Optional[LObject]:
        """What to record, kept alive; counts from the next Record. None for none."""
    @source.setter
    def source(self, value: Optional[LObject]) -> None: ...
    def setFilePath(self, path: str | bytes | os.PathLike[str]) -> None:
        """File to write; an existing one is replaced."""
    def customSet(self, options: str) -> None:
        """Adds encoder options, "preset=fast crf=20"."""
    def Record(self) -> bool:
        """Starts. False when it records already, or the file cannot be begun."""
    def Stop(self) -> None:
        """Finishes the file and leaves the source."""
    def Pause(self, pause: bool) -> None:
        """Pauses, or goes on."""
    def getStats(self) -> LRecorder.Stats:
        """How the recording stands."""
    def statusGet(self) -> int:
        """1 while recording, paused included, else 0."""
    def setContainer(self, name: str) -> None:
        """Muxer, "mp4" unless set; empty: by the file's ending."""
    @staticmethod
    def getAvailableContainers() -> list[str]:
        """Names of all muxers, sorted."""
    @staticmethod
    def getAvailableVideoCodecs(container: str) -> list[str]:
        """Names of all picture encoders that a container takes."""
    @staticmethod
    def getAvailableAudioCodecs(container: str) -> list[str]:
        """Names of all sound encoders that a container takes."""
    def setVideoCodec(self, name: str) -> None:
        """Picture encoder."""
    def setAudioCodec(self, name: str) -> None:
        """Sound encoder."""
    def setVideoBitrate(self, kbps: int) -> None:
        """Kilobits a second of the pictures."""
    def setAudioBitrate(self, kbps: int) -> None:
        """Kilobits a second of the sound."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LStream(LSink):
    """One source live to a network address."""
    class Stats:
        """How a stream stands."""
        @property
        def framesSent(self) -> int:
            """Pictures handed to the network."""
        @property
        def bytesSent(self) -> int:
            """Of the packets handed to it."""
        @property
        def width(self) -> int:
            """Of the encoded pictures."""
        @property
        def height(self) -> int:
            """Of the encoded pictures."""
        @property
        def fps(self) -> float:
            """Of the encoded pictures."""
        @property
        def framesDropped(self) -> int:
            """Lost on the way."""
        @property
        def queueLength(self) -> int:
            """Pictures that wait for the encoder."""
        @property
        def url(self) -> str:
            """Without the key."""
        @property
        def running(self) -> bool:
            """As statusGet."""
    def __init__(self) -> None:
        ...
    @property
    def source(self) -> Optional[LObject]:
        """What to stream, kept alive; counts from the next Start. None for none."""
    @source.setter
    def source(self, value: Optional[LObject]) -> None: ...
    def setStreamUrl(self, url: str) -> None:
        """Where to, without the key."""
    def setStreamKey(self, key: str) -> None:
        """The stream's name behind the URL."""
    def setStreamClone(self, enabled: bool) -> None:
        """Whether a copy goes into a file as well."""
    def setStreamClonePath(self, folder: str | bytes | os.PathLike[str]) -> None:
        """The folder of the copy."""
    def customSet(self, options: str) -> None:
        """Sets encoder options, "preset=fast g=50"."""
    def Start(self) -> bool:
        """Reaches the address and starts. False when it cannot, after five seconds."""
    def Stop(self) -> None:
        """Sends what is queued and leaves the source."""
    def getStats(self) -> LStream.Stats:
        """How the stream stands."""
    def statusGet(self) -> int:
        """1 while it streams, paused included, else 0."""
    def setVideoCodec(self, name: str) -> None:
        """Picture encoder."""
    def setAudioCodec(self, name: str) -> None:
        """Sound encoder."""
    def setVideoBitrate(self, kbps: int) -> None:
        """Kilobits a second of the pictures."""
    def setAudioBitrate(self, kbps: int) -> None:
        """Kilobits a second of the sound."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets an option of the video encoder for the next start; what that does not know goes to the protocol and the container."""

class LReplay(LObject, LSink):
    """Stores what it is given as a sink and plays it back as a source. Feed it by source.addSink(replay)."""
    def __init__(self) -> None:
        ...
    def setRecordPath(self, path: str | bytes | os.PathLike[str], name: str) -> None:
        """Folder of the next recording, and the beginning of its files' names."""
    def setExportPath(self, path: str | bytes | os.PathLike[str], name: str) -> None:
        """Where an export without a file name goes, and its base name."""
    def startRecording(self) -> bool:
        """Begins. False when the files cannot be made."""
    def stopRecording(self) -> None:
        """Ends recording."""
    def clearRecording(self) -> None:
        """Ends recording, forgets everything and removes the files."""
    def exportRange(self, first: int, last: int, file: str | bytes | os.PathLike[str]) -> bool:
        """Writes the frames, both included, into a movie."""
    def exportRangeMs(self, firstMs: float, lastMs: float, file: str | bytes | os.PathLike[str]) -> bool:
        """The same by times, milliseconds."""
    def play(self) -> None:
        """Plays at the speed set."""
    def pause(self) -> None:
        """Stands still."""
    def setModeLive(self) -> None:
        """Shows the newest picture."""
    def setModeTrim(self) -> None:
        """Stands still, takes seeks."""
    def setSpeed(self, speed: float) -> None:
        """Below 0 backward."""
    def posSet(self, frame: int) -> None:
        """Goes to a frame."""
    def posSetMs(self, milliseconds: float) -> None:
        """Goes to the frame nearest to that time."""
    def posSetTC(self, timecode: str) -> None:
        """Goes to the last frame of that time code."""
    def stepForward(self, frames: int) -> None:
        """Goes so many frames on."""
    def stepBackward(self, frames: int) -> None:
        """Goes so many frames back."""
    def getTotalFrames(self) -> int:
        """Frames stored."""
    def getDurationMs(self) -> float:
        """Time of the last frame."""
    def getCurrentFrame(self) -> int:
        """Position, in frames."""
    def getPos(self) -> int:
        """Position, in frames."""
    def getPosMs(self) -> float:
        """Time at the position."""
    def getPosTC(self) -> str:
        """Time code at the position."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored. ValueError where a number is wanted and the value is none."""

class LConvert:
    """Media files, joined, into one new file."""
    def __init__(self) -> None:
        ...
    def setFilePath(self, path: str | bytes | os.PathLike[str]) -> None:
        """The file to write."""
    def addInputFile(self, path: str | bytes | os.PathLike[str]) -> None:
        """Behind those there."""
    def removeInputFile(self, path: str | bytes | os.PathLike[str]) -> None:
        """All of that name."""
    def clearInputFiles(self) -> None:
        """None is left."""
    def Start(self) -> bool:
        """Starts; does not wait."""
    def Stop(self) -> None:
        """Ends the conversion where it is."""
    @property
    def progress(self) -> float:
        """How far it is, 0.0 to 1.0."""
    def statusGet(self) -> int:
        """0 idle or finished, 1 converting, -1 the output failed to open."""
    def setContainer(self, name: str) -> None:
        """Muxer, "mp4" unless set; empty: by the file's ending."""
    @staticmethod
    def getAvailableContainers() -> list[str]:
        """Names of all muxers, sorted."""
    @staticmethod
    def getAvailableVideoCodecs(container: str) -> list[str]:
        """Names of all picture encoders that a container takes."""
    @staticmethod
    def getAvailableAudioCodecs(container: str) -> list[str]:
        """Names of all sound encoders that a container takes."""
    def setVideoCodec(self, name: str) -> None:
        """Picture encoder."""
    def setAudioCodec(self, name: str) -> None:
        """Sound encoder."""
    def setVideoBitrate(self, kbps: int) -> None:
        """Kilobits a second of the pictures."""
    def setAudioBitrate(self, kbps: int) -> None:
        """Kilobits a second of the sound."""
    def setVideoFormat(self, format: videoFormatProps) -> None:
        """Sets the picture format."""
    def getVideoFormat(self) -> videoFormatProps:
        """The picture format, a copy."""
    def setAudioFormat(self, format: audioFormatProps) -> None:
        """Sets the sound format."""
    def getAudioFormat(self) -> audioFormatProps:
        """The sound format, a copy."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored."""

class LPreview:
    """Shows one source in a window of the host."""
    def __init__(self) -> None:
        ...
    def previewEnable(self, nativeWindow: int, audio: bool, video: bool) -> None:
        """Shows the picture in that window: the number of an X window, or the address of a toolkit's widget."""
    def previewObject(self, object: Optional[LObject]) -> None:
        """The source to show, kept alive; None for none."""
    def clear(self) -> None:
        """Frees the pictures that wait."""
    def setName(self, name: str) -> None:
        """Text of the label."""
    def setStatus(self, status: str) -> None:
        """"program", "record", "preview", "live", "trim" or "ready"."""
    def setAudio(self, enabled: bool) -> None:
        """Plays the sound."""
    def mute(self, muted: bool) -> None:
        """The opposite of setAudio."""
    def statusGet(self) -> int:
        """1 while it has a surface to draw on, else 0."""
    def setProps(self, key: str, value: str | bool | int | float) -> None:
        """Sets a property; a key that is none is ignored."""

def get_version() -> str:
    """The library's version."""
