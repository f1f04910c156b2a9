"""Each class at its work."""

import os
import time

import numpy as np
import pytest

import quolsdk
from conftest import wait_until


def small(fps=50):
    return quolsdk.videoFormatProps(width=64, height=36, fps=fps)


def signal(color):
    source = quolsdk.LSignal()
    source.setColor(color)
    source.setVideoFormat(small())
    assert source.Start()
    return source


def color_at(rgba, x, y):
    return tuple(int(c) > 128 for c in rgba[y, x, :3])


RED, GREEN, BLUE = (True, False, False), (False, True, False), (False, False, True)


def shows(tap, color, x=32, y=18):
    def check():
        video = tap.getVideo()
        return video.width > 0 and color_at(video.rgba, x, y) == color
    return check


def test_tap_before_and_behind_the_first_picture():
    tap = quolsdk.LFrame()
    video, audio = tap.getVideo(), tap.getAudio()
    assert (video.width, video.height, video.stride, video.timecode) == (0, 0, 0, "00:00:00:00")
    assert video.rgba.shape == (0, 0, 4) and audio.audio.shape == (0, 2)
    source = signal("#FF0000")
    tap.readerObject(source)
    wait_until(shows(tap, RED))
    assert tap.getVideo().stride == 64 * 4
    tap.readerObject(None)
    source.Stop()


def test_sound_of_a_file_reaches_the_tap(clip):
    file, tap = quolsdk.LFile(), quolsdk.LFrame()
    file.fileNameSet(clip)
    file.setProps("loop", True)
    tap.readerObject(file)
    assert file.play() and file.statusGet() == 1
    wait_until(lambda: tap.getAudio().samples > 0)
    audio = tap.getAudio()
    assert audio.audio.shape == (audio.samples, 2) and audio.audio.dtype == np.int16
    assert audio.channels == 2 and audio.sampleRate == 44100
    assert file.getWidth() == 160 and file.getDurationMs() == pytest.approx(2000, abs=100)
    file.rate, file.inPointMs, file.outPointMs = 2.0, 100.0, 900.0
    assert file.rate == 2.0 and file.InOutGet()[:2] == (100.0, 900.0)
    file.stop()


def test_filters_of_a_file(clip):
    calls = []
    filters = quolsdk.LFilter(quolsdk.LFilter.Type.video)
    filters.setNotifyCallback(lambda: calls.append(filters.getFilterString()))
    filters.setProps("HFlip", True)
    assert calls == ["hflip"]
    filters.setNotifyCallback(None)
    filters.setProps("hue", "s=0")
    assert filters.getFilterString() == "hflip,hue=s=0" and len(calls) == 1
    file, tap = quolsdk.LFile(), quolsdk.LFrame()
    file.fileNameSet(clip)
    file.setVideoFilter(filters)
    del filters  # the file keeps it
    tap.readerObject(file)
    assert file.play()
    grey = lambda v: v.width > 0 and np.ptp(v.rgba[..., :3].astype(int), axis=2).max() < 8
    wait_until(lambda: grey(tap.getVideo()))
    file.setVideoFilter(None)


def test_reader(clip):
    reader = quolsdk.LReader()
    assert not reader.open(clip.parent / "none.mov") and reader.getWidth() == 0
    assert reader.open(clip)
    assert (reader.getWidth(), reader.getHeight(), reader.getFPS()) == (160, 96, 25.0)
    assert reader.getVideoCodec() == "h264" and reader.getChromaSubsampling() == "4:2:0"
    reader.close()
    assert reader.getContainer() == "Unknown"


def test_mixer_layers():
    mixer = quolsdk.LMixer(quolsdk.LMixer.Renderer.processor)
    mixer.setVideoFormat(small())
    tap = quolsdk.LFrame()
    tap.readerObject(mixer)
    back = mixer.addLayer("back", signal("#FF0000"))
    mixer.addLayer("front", signal("#0000FF"), zIndex=1, x=32, width=32, height=36)
    wait_until(lambda: shows(tap, RED, 8)() and shows(tap, BLUE, 48)())
    assert mixer.getLayerCount() == 2
    assert [mixer.getLayerByIndex(i).name for i in range(2)] == ["back", "front"]
    assert mixer.getLayerByIndex(2) is None and mixer.getLayer("none") is None
    front = mixer.getLayer("front")
    front.x = 0
    wait_until(shows(tap, BLUE, 8))
    assert (front.x, front.zIndex, front.visible, front.borderColor) == (0, 1, True, "#FFFFFF")

    def edit(layer):
        layer.visible = False
        layer.borderColor = "#123456"
        with pytest.raises(RuntimeError):
            mixer.getLayerCount()
        edit.kept = layer

    assert mixer.editLayer("front", edit) and front.borderColor == "#123456"
    with pytest.raises(ReferenceError):
        edit.kept.x  # was the edit's alone
    assert not mixer.editLayer("none", edit)
    with pytest.raises(ZeroDivisionError):
        mixer.editLayer("front", lambda layer: 1 / 0)
    wait_until(shows(tap, RED, 8))
    mixer.removeLayer("front")
    with pytest.raises(ReferenceError):
        front.x = 1
    assert back.alpha == 255


def test_mixer_pull_keys_and_images(tmp_path):
    quolsdk.writePng(tmp_path / "green.png", np.full((36, 64, 3), (0, 255, 0), np.uint8))
    mixer = quolsdk.LMixer(quolsdk.LMixer.Renderer.processor)
    mixer.setVideoFormat(small())
    mixer.addImage("image", tmp_path / "green.png")
    key = mixer.addDSK("key", signal("#FF0000"), signal("#FFFFFF"), zIndex=2)
    assert key.isDSK and mixer.canPullRender()
    mixer.addPullConsumer()
    wait_until(lambda: (f := mixer.renderVideoFrame()) and color_at(f.rgba, 9, 9) == RED)
    mixer.removeLayer("key")
    wait_until(lambda: (f := mixer.renderVideoFrame()) and color_at(f.rgba, 9, 9) == GREEN)
    mixer.removePullConsumer()


def test_switcher_cuts_and_keeps_its_sources():
    switcher = quolsdk.LSwitcher()
    switcher.setVideoFormat(small())
    tap, preview = quolsdk.LFrame(), quolsdk.LFrame()
    tap.readerObject(switcher)
    preview.readerObject(switcher.getPreviewObject())
    switcher.setProgram(signal("#FF0000"))
    switcher.setPreview(signal("#0000FF"))
    wait_until(lambda: shows(tap, RED)() and shows(preview, BLUE)())
    switcher.setCutTransition()
    wait_until(lambda: shows(tap, BLUE)() and shows(preview, RED)())
    assert isinstance(switcher.getCurrentPreviewSource(), quolsdk.LSignal)
    switcher.setTransitionType("fade")
    switcher.setAutoTransition(40)
    wait_until(lambda: shows(tap, RED)())
    stats = wait_until(switcher.getStats)
    assert stats.activeSource in ("SubA", "SubB", "Transition") and stats.frameCount > 0
    for index in range(8):
        switcher.setPreview(signal("#00FF00"))
    switcher.setCutTransition()
    wait_until(shows(tap, GREEN))
    rendered = quolsdk.LFrame()
    quolsdk.LObject.addSink(switcher.getPreviewObject(), rendered)
    wait_until(lambda: rendered.getVideo().width == 64)


def test_switcher_lets_go_of_what_no_layer_has():
    def threads():
        return len(os.listdir("/proc/self/task"))

    switcher = quolsdk.LSwitcher()
    switcher.setProgram(signal("#FF0000"))
    switcher.setPreview(signal("#0000FF"))
    two = threads()
    for index in range(8):  # each takes the place of the one before, which goes with its thread
        switcher.setPreview(signal("#00FF00"))
        switcher.setCutTransition()
    wait_until(lambda: threads() <= two)
    assert isinstance(switcher.getCurrentPreviewSource(), quolsdk.LSignal)
    switcher.setPreview(None)
    switcher.setProgram(None)
    wait_until(lambda: threads() <= two - 2)


def test_preview_sink_attached_twice_is_there_once():
    switcher, tap = quolsdk.LSwitcher(), quolsdk.LFrame()
    switcher.setPreview(signal("#0000FF"))
    output = switcher.getPreviewObject()
    output.addSink(tap)
    output.addSink(tap)
    wait_until(shows(tap, BLUE))
    output.removeSink(tap)
    before = len(os.listdir("/proc/self/task"))
    del output, switcher  # nothing of it is held by the sink
    wait_until(lambda: len(os.listdir("/proc/self/task")) < before)


def test_switcher_titles():
    switcher, title = quolsdk.LSwitcher(), quolsdk.LCharacter()
    switcher.addCG(title)
    switcher.addCG(title)
    assert switcher.getCGCount() == 2 and switcher.getCGByIndex(1) is title
    switcher.removeCG(title)
    del title
    assert isinstance(switcher.getCGByIndex(0), quolsdk.LCharacter)
    switcher.removeCG(switcher.getCGByIndex(0))
    assert switcher.getCGCount() == 0 and switcher.getCGByIndex(0) is None


def test_stinger(clip):
    stinger = quolsdk.LStinger()
    assert stinger.load(clip, 32, 18, 25) and stinger.getFrameCount() == 50
    assert stinger.getFrameByProgress(0.5).width == 32
    stinger.clear()
    assert stinger.getFrameByProgress(0.5) is None


def test_audio_mixer_hears_python():
    mixer, tap, source = quolsdk.LAudioMixer(), quolsdk.LFrame(), quolsdk.LObject()
    mixer.addChannel("mic", source)
    mixer.setChannelMute("mic", False)
    tap.readerObject(mixer)
    loud = quolsdk.Frame.fromSound(np.full((960, 2), 16384, np.int16))

    def heard():
        source.distributeAudioFrame(loud)
        return mixer.getMasterLevel() > 0.4 and (tap.getAudio().audio == 16384).any()

    wait_until(heard)
    left, right = mixer.getChannelLevels("mic")
    assert left == right and len(mixer.getMasterLevels()) == 2
    assert mixer.getChannelLevel("none") == 0.0
    mixer.removeChannel("mic")


def test_multiview():
    wall, tap = quolsdk.LMultiview(quolsdk.LMultiview.Renderer.processor), quolsdk.LFrame()
    wall.setVideoFormat(quolsdk.videoFormatProps(width=320, height=180, fps=25))
    wall.setupGrid(quolsdk.MultiviewOrientation.gridBelow, 2)
    wall.setPGMSource(signal("#FF0000"))
    wall.setGridPos(signal("#0000FF"), 1, 1, name="one")
    wall.setGridPGM(1, 1)
    wall.setGridName("PGM", "programme")
    tap.readerObject(wall)
    wait_until(lambda: (v := tap.getVideo()).width == 320
               and (v.rgba[..., 0] > 200).any() and (v.rgba[..., 2] > 200).any())
    info = {tile.key: tile for tile in wall.getLayoutInfo()}
    assert info["PGM"].name == "programme" and info["1_1"].tally == 2
    wall.removeGridPos(1, 1)


def test_character_items():
    character = quolsdk.LCharacter()
    item = character.addItem("title", 10, 20, 300, 80,
                             quolsdk.LCGTextProps(text="Hello", fontSize=60, color="#FF8000"))
    assert isinstance(item, quolsdk.LCGTextItem)
    assert item.props.text == "Hello" and item.props.color == quolsdk.LCGColor("#FF8000")
    item.x = 15.5
    item.moveType = "Horizontal"
    assert (item.id, item.x, item.w, item.moveType) == ("title", 15.5, 300, "Horizontal")
    kinds = [(quolsdk.LCGCrawlProps(text="a\nb"), quolsdk.LCGCrawlItem),
             (quolsdk.LCGTickerProps(text="a\nb"), quolsdk.LCGTickerItem),
             (quolsdk.LCGRectProps(bgType="Color"), quolsdk.LCGRectItem),
             (quolsdk.LCGImageProps(path="none.png"), quolsdk.LCGImageItem)]
    for index, (props, kind) in enumerate(kinds):
        assert isinstance(character.addItem(f"i{index}", 0, 0, 100, 50, props), kind)
    assert character.addItem("v", 0, 0, 0, 0, quolsdk.LCGVideoProps(path="none.mov")) is None
    assert character.getItemCount() == 5
    name = character.group(["title", "i2"])
    group = item.group
    group.x = 5
    assert group.name == name and [i.id for i in group.items] == ["title", "i2"]
    character.unGroup(name)
    with pytest.raises(ReferenceError):
        group.show
    assert item.group is None and character.getGroupByIndex(0) is None
    character.updateItem("title", 1, 2, 3, 4, 0.5, True, quolsdk.LCGTextProps(text="Bye"))
    assert (item.props.text, item.h, item.alpha) == ("Bye", 4, 0.5)
    character.remove("title")
    for use in (lambda: item.x, lambda: item.props, lambda: setattr(item, "x", 1)):
        with pytest.raises(ReferenceError):
            use()
    assert character.getItem("i2").w == 100 and character.getItem("title") is None


def test_character_video_and_files(clip, tmp_path):
    character = quolsdk.LCharacter()
    video = character.addItem("v", 0, 0, 0, 0, quolsdk.LCGVideoProps(path=str(clip)))
    assert isinstance(video, quolsdk.LCGVideoItem) and video.w == 160
    character.addItem("t", 0, 0, 99, 50, quolsdk.LCGTextProps(text="kept"))
    character.saveToXMLFile(tmp_path / "scene.xml")
    character.loadFromXMLFile(tmp_path / "scene.xml")
    with pytest.raises(ReferenceError):
        video.w
    assert character.getItem("t").props.text == "kept"
    wait_until(character.hasVisibleItem)


def test_replay_is_fed_from_a_source_and_is_one(tmp_path):
    replay, source, tap = quolsdk.LReplay(), signal("#FF0000"), quolsdk.LFrame()
    replay.setVideoFormat(small())
    replay.setRecordPath(tmp_path, "take")
    assert isinstance(replay, quolsdk.LSink) and isinstance(replay, quolsdk.LObject)
    assert replay.startRecording() and replay.statusGet() == 2
    source.addSink(replay)
    wait_until(lambda: replay.getTotalFrames() >= 10)
    tap.readerObject(replay)
    replay.setModeLive()
    wait_until(shows(tap, RED))
    source.removeSink(replay)
    replay.stopRecording()
    assert replay.exportRange(0, 9, tmp_path / "take.mov")
    assert (tmp_path / "take.mov").stat().st_size > 1000
    replay.clearRecording()
    assert replay.getTotalFrames() == 0


def test_recorder(tmp_path):
    recorder = quolsdk.LRecorder()
    recorder.source = signal("#00FF00")
    assert isinstance(recorder.source, quolsdk.LSignal)
    recorder.setFilePath(tmp_path / "out.mp4")
    recorder.customSet("preset=ultrafast")
    recorder.setVideoFormat(small(25))
    assert recorder.Record() and not recorder.Record()
    wait_until(lambda: recorder.getStats().framesWritten > 5)
    recorder.source = None  # counts from the next one
    recorder.Stop()
    assert recorder.source is None and recorder.statusGet() == 0
    reader = quolsdk.LReader()
    assert reader.open(tmp_path / "out.mp4") and reader.getWidth() == 64
    assert "mp4" in quolsdk.LRecorder.getAvailableContainers()
    assert "libx264" in quolsdk.LRecorder.getAvailableVideoCodecs("mp4")
    assert "aac" in quolsdk.LRecorder.getAvailableAudioCodecs("mp4")


def test_stream_to_a_file(tmp_path):
    stream = quolsdk.LStream()
    assert not stream.Start()
    stream.source = signal("#00FF00")
    stream.setStreamUrl(str(tmp_path / "live.ts"))
    stream.setVideoFormat(small(25))
    assert stream.Start() and stream.statusGet() == 1
    wait_until(lambda: stream.getStats().framesSent > 3)
    stream.Stop()
    assert stream.getStats().width == 64 and not stream.getStats().running


def test_convert(clip, tmp_path):
    convert = quolsdk.LConvert()
    assert not convert.Start()
    convert.addInputFile(clip)
    convert.setFilePath(tmp_path / "joined.mp4")
    convert.setVideoFormat(small(25))
    convert.setProps("preset", "ultrafast")
    assert convert.Start()
    wait_until(lambda: convert.statusGet() != 1)
    assert convert.statusGet() == 0 and convert.progress == 1.0


def test_live_test_signal_and_output_devices():
    live, tap, output = quolsdk.LLive(), quolsdk.LFrame(), quolsdk.LOutput()
    count = live.DeviceGetCount()
    names = [live.DeviceGetByIndex(i)[0] for i in range(count)]
    assert names[-3:] == ["NDI Receiver", "VTP Receiver", "Test Signal"]
    live.DeviceSet(count - 1)
    live.DeviceChannelSet(0)
    tap.readerObject(live)
    assert live.Start()
    wait_until(lambda: tap.getVideo().width > 0 and tap.getAudio().samples > 0)
    live.Stop()
    outputs = output.DeviceGetCount()
    assert [output.DeviceGetByIndex(i)[0] for i in range(outputs)][-2:] == ["NDI Output",
                                                                           "VTP Output"]
    name, row = output.DeviceFormatVideoGetByIndex(outputs - 1, 0, 0)
    assert name and row.width > 0
    taken, samples = output.popAudioSamplesForPts(0.0, 10)
    assert taken == 0 and samples.shape == (10, 2) and not samples.any()
    assert output.getStats().framesSent == 0
    output.setSource(live)
    output.setSource(None)


def test_preview_without_a_window():
    preview = quolsdk.LPreview()
    preview.setProps("name", "camera 1")
    preview.previewObject(signal("#FF0000"))
    preview.setName("camera 2")
    assert preview.statusGet() == 0
    preview.previewObject(None)


def test_animation_and_stream_player_refuse_what_is_not_there(tmp_path):
    animation = quolsdk.LAnimation()
    assert not animation.loadTemplate(1, tmp_path / "none.json")
    player = quolsdk.LStreamPlay()
    assert not player.play() and player.getAudioPeak() == (0.0, 0.0)
    assert not player.checkStream(str(tmp_path / "none.ts"))


def test_mode_tables():
    video, audio = quolsdk.videoModes(), quolsdk.audioModes()
    assert (len(video), len(audio)) == (37, 36)
    assert (video[4 - 2].width, video[4 - 2].height, video[4 - 2].fps) == (1280, 720, 50.0)
    assert (audio[6 - 2].sampleRate, audio[6 - 2].channels) == (48000, 2)
    beyond = quolsdk.expandVideoFormat(quolsdk.videoFormatProps(mode=39, width=5))
    assert (beyond.width, beyond.height, beyond.fps) == (0, 0, 0.0)
    native = quolsdk.videoFormatProps(mode=1, width=5)
    assert quolsdk.expandVideoFormat(native) == native
    assert quolsdk.expandAudioFormat(quolsdk.audioFormatProps(mode=38)).sampleRate == 0


def test_a_waiting_call_lets_other_threads_run(clip):
    import threading
    beats = 0
    done = threading.Event()

    def beat():
        nonlocal beats
        while not done.is_set():
            beats += 1
            time.sleep(0.001)

    thread = threading.Thread(target=beat)
    thread.start()
    wait_until(lambda: beats > 0)
    before = beats
    stinger = quolsdk.LStinger()
    for _ in range(3):
        assert stinger.load(clip, 640, 360, 25)  # decodes on this thread
    during = beats - before
    done.set()
    thread.join()
    assert during >= 3
