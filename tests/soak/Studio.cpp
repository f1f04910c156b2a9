#include "soak/Studio.h"

#include <unistd.h>

#include <filesystem>
#include <thread>

#include "support/CollectingSink.h"

namespace soak {

namespace {

using namespace std::chrono_literals;

constexpr const char* stingerLoaded = "[LSwitcher] Async Stinger loaded successfully: *";
constexpr int vtpFormat = 2; // of the output's list: 1280x720

std::string senderName() {
    return numbered("soak ", getpid());
}

} // namespace

videoFormatProps programmeFormat() {
    return {0, 1280, 720, programmeRate, 1};
}

std::vector<LObject*> Studio::watched() {
    return {&signal,    &camera, &vtpIn, &player, &titles, &board,
            &animation, &mixer,  &wall,  &sound,  &replay};
}

Studio::Studio(Desk& desk, test::RtmpServer* server, test::XServer* screen)
    : desk(desk), server(server), screen(screen) {
    picturesUpsideDown.setProps("vflip", "");
    for (LFile& file : players)
        file.addSink(&lamp);
    for (LObject* const object : watched())
        object->addSink(&lamp);

    signal.setVideoFormat(programmeFormat());
    for (LLive* const live : {&camera, &toneCamera}) {
        int count = 0;
        live->DeviceGetCount(count);
        live->DeviceSet(count - 1);
        live->setVideoFormat(programmeFormat());
    }
    int devices = 0;
    vtpIn.DeviceGetCount(devices);
    vtpDevice = devices - 2;
    vtpIn.DeviceSet(vtpDevice);
    vtpIn.setVideoFormat(programmeFormat());

    titles.setFPS(programmeRate);
    board.setFPS(programmeRate);
    animation.setVideoFormat(programmeFormat());
    setPictureFormat(programmeFormat());
    replay.setProps("quality", "10");
    replay.setRecordPath(desk.folder, "replay");
    mixer.addSink(&replay);

    switcher.addSink(&programmeWatch);
    switcher.addCG(&titles);
    toneMixer.addSink(&toneWatch);
    toneMixer.addChannel("tone", &toneCamera);
    toneMixer.setChannelMute("tone", false);
    toneCamera.Start();

    int outputs = 0;
    vtpOut.DeviceGetCount(outputs);
    vtpOut.setDevice(outputs - 1);
    vtpOut.DeviceFormatVideoSet(vtpFormat);
    vtpOut.setProps("stream_name", senderName());
    vtpOut.setSource(&switcher);
    recorder.setVideoFormat(programmeFormat());
    recorder.customSet("preset=ultrafast");
    stream.setVideoFormat(programmeFormat());
    openViews();
    rest();
}

Studio::~Studio() {
    spares.clear();
    convert.Stop();
    recorder.Stop();
    stream.Stop();
    vtpOut.setEnabled(false);
    vtpOut.setSource(nullptr);
    tap.readerObject(nullptr);
    for (auto& view : views)
        view.reset();
    for (auto& window : windows)
        window.reset();
    mixer.removeSink(&replay);
    replay.clearRecording();
    wall.setPGMSource(nullptr);
    wall.setPVWSource(nullptr);
    wall.setupGrid(MultiviewOrientation::gridBelow, 2);
    switcher.removeSink(&programmeWatch);
    switcher.removeCG(&titles);
    switcher.setExtAudioObject(nullptr);
    switcher.setProgram(nullptr);
    switcher.setPreview(nullptr);
    toneMixer.removeChannel("tone");
    toneMixer.removeSink(&toneWatch);
    for (const char* const channel : {"a", "b", "c"})
        sound.removeChannel(channel);
    while (LLayerItem* const layer = mixer.getLayerByIndex(0))
        mixer.removeLayer(layer->name);
    player.stop();
    vtpIn.Stop();
    camera.Stop();
    toneCamera.Stop();
    signal.Stop();
    for (LFile& file : players) {
        file.stop();
        file.removeSink(&lamp);
    }
    for (LObject* const object : watched())
        object->removeSink(&lamp);
}

// All windows first: libXau, which looks up who may connect to the X server, is not made for two
// threads at once, and the host's connections are not known to the library's previews.
void Studio::openViews() {
    if (screen == nullptr) return;
    for (int index = 0; index < 2; ++index)
        windows[index] = std::make_unique<test::HostWindow>(480, 270, index * 500);
    for (int index = 0; index < 2; ++index)
        openView(index);
}

void Studio::openView(int index) {
    views[index] = std::make_unique<LPreview>();
    LPreview& view = *views[index];
    view.setProps("ui_framework", "x11");
    view.setProps("audio_meter", "true");
    view.previewEnable(windows[index]->handle(), index == 0, true);
    const auto isOpen = [&] {
        int status = 0;
        view.statusGet(status);
        return status == 1;
    };
    desk.check(test::waitUntil(isOpen, 120s), "a preview finds its window");
}

LObject* Studio::source(int number) {
    LObject* const all[sourceCount] = {&players[0], &players[1], &signal, &camera,    &vtpIn,
                                       &player,     &replay,     &board,  &animation, &mixer};
    return all[number];
}

void Studio::setPictureFormat(const videoFormatProps& format) {
    mixer.setVideoFormat(format);
    switcher.setVideoFormat(format);
    wall.setVideoFormat(format);
    replay.setVideoFormat(format);
}

// Compositors keep the memory of as many pictures as were out at once of late, which tells how
// crowded the machine has been, not what has been lost. Another size makes them give it back.
void Studio::emptyPools() {
    setPictureFormat({0, 640, 360, programmeRate, 1});
    std::this_thread::sleep_for(500ms);
    setPictureFormat(programmeFormat());
}

void Studio::restSources() {
    for (int index = 0; index < 2; ++index) {
        LFile& file = players[index];
        file.setVideoFilter(nullptr);
        file.stop();
        file.rate = 1.0;
        file.rateChanged = true;
        file.inPointMs = 0.0;
        file.outPointMs = 0.0;
        file.setProps("loop", "true");
        file.setProps("deinterlace", "false");
        file.setProps("scale_type", "letter-box");
        file.setVideoFormat(programmeFormat());
        file.fileNameSet(desk.media.clips[static_cast<std::size_t>(index)]);
        desk.check(desk.slow("file.play", [&] { return file.play(); }), "rest: a clip plays");
    }
    signal.setColor("#305080");
    signal.Start();
    camera.setVideoFormat(programmeFormat());
    desk.check(camera.Start(), "rest: the test signal starts");
}

void Studio::restPictures() {
    while (LLayerItem* const layer = mixer.getLayerByIndex(0))
        mixer.removeLayer(layer->name);
    mixer.addLayer("back", &players[0], 0, 0.0F, 0.0F, 255, 1280.0F, 720.0F, true, 100);
    mixer.addLayer("pip", &players[1], 2, 60.0F, 60.0F, 255, 480.0F, 270.0F, 0.0F, 0.0F, 0.0F, 0.0F,
                   4, "#FFFFFF", true, 50);
    mixer.addLayer("board", &board, 8, 0.0F, 0.0F, 255, 1280.0F, 720.0F);
    mixer.addLayer("lottie", &animation, 9);
    switcher.setExtAudio(false);
    switcher.setExtAudioObject(nullptr);
    switcher.setTransitionType("fade");
    switcher.setTransition(0.0F);
    switcher.setProgram(&mixer);
    switcher.setPreview(&players[1]);
    switcher.setMasterGain(100);
    switcher.setMasterMute(false);
    if (switcher.getCGCount() == 0) switcher.addCG(&titles);
    switcher.setStingerDuration(600);
    // The loader gives way to everything else: on a crowded machine it takes its time.
    const std::int64_t loaded = desk.log.count(stingerLoaded);
    switcher.setStinger(desk.media.stingers[0]);
    desk.check(test::waitUntil([&] { return desk.log.count(stingerLoaded) > loaded; }, 600s),
               "rest: the stinger is loaded");

    wall.setupGrid(MultiviewOrientation::gridBelow, 2);
    wall.setPGMSource(&switcher);
    wall.setPVWSource(switcher.getPreviewObject());
    for (int tile = 0; tile < 8; ++tile)
        wall.setGridPos(source(tile), tile / 4 + 1, tile % 4 + 1, 0, numbered("tile ", tile));
    for (const char* const channel : {"a", "b", "c"})
        sound.removeChannel(channel);
    sound.addChannel("a", &players[0]);
    sound.addChannel("b", &players[1]);
    sound.setChannelMute("a", false);
    sound.setChannelMute("b", false);
    tap.readerObject(&switcher);
    for (int index = 0; index < 2; ++index) {
        if (!views[index]) continue;
        windows[index]->map();
        windows[index]->resize(480, 270);
        views[index]->previewObject(index == 0 ? static_cast<LObject*>(&switcher) : &wall);
        views[index]->setAudio(index == 0);
    }
}

void Studio::restTitles() {
    titles.loadFromXMLFile(desk.media.titles);
    while (board.getItemCount() > 0)
        board.remove(board.getItemByIndex(0)->id);
    LCGTextProps clock;
    clock.text = "%time::HH:mm:ss%";
    clock.bgType = "Color";
    board.addItem("clock", 1560, 40, 300, 80, clock);
    LCGCrawlProps crawl;
    crawl.text = "The programme has been on air for a while\nand goes on";
    crawl.bgType = "Color";
    crawl.bgAlpha = 160;
    board.addItem("crawl", 0, 980, 1920, 70, crawl);
    animation.loadTemplate(1, desk.media.lottie);
}

void Studio::rest() {
    spares.clear();
    desk.slow("convert.Stop", [&] { convert.Stop(); });
    if (recording) stopRecorder();
    desk.slow("stream.Stop", [&] { stream.Stop(); });
    streaming = false;
    desk.slow("player.stop", [&] { player.stop(); });
    desk.slow("vtpIn.Stop", [&] { vtpIn.Stop(); });
    desk.slow("vtpOut.setEnabled", [&] { vtpOut.setEnabled(false); });
    desk.slow("replay.clearRecording", [&] { replay.clearRecording(); });
    vtpOut.setSource(&switcher);
    replay.setModeTrim();
    replay.setSpeed(1.0);
    for (int layer = 2; layer <= 4; ++layer)
        animation.close(layer);
    restSources();
    restTitles();
    restPictures();
    emptyPools();
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(desk.folder, ignored))
        std::filesystem::remove(entry.path(), ignored);
    recordedFile.clear();
}

void Studio::goOnAir() {
    refillReplay();
    desk.check(sendOverNetwork(), "the sender is found by the receiver");
    startStream();
    startPlayer();
}

bool Studio::sendOverNetwork() {
    desk.slow("vtpOut.setEnabled", [&] { vtpOut.setEnabled(true); });
    const std::string wanted = senderName() + " ";
    const bool found = test::waitUntil(
        [&] {
            int count = 0;
            desk.quick("vtpIn.DeviceChannelGetCount",
                       [&] { vtpIn.DeviceChannelGetCount(vtpDevice, count); });
            for (int channel = 0; channel < count; ++channel) {
                std::string name;
                std::string description;
                vtpIn.DeviceChannelGetByIndex(vtpDevice, channel, name, description);
                if (!name.starts_with(wanted)) continue;
                vtpIn.DeviceChannelSet(channel);
                return true;
            }
            return false;
        },
        20s);
    if (found)
        desk.check(desk.slow("vtpIn.Start", [&] { return vtpIn.Start(); }), "a VTP input starts");
    return found;
}

void Studio::startStream() {
    if (server == nullptr || streaming) return;
    stream.setStreamUrl(server->url());
    stream.setStreamKey("programme");
    stream.source = &switcher;
    streaming = true;
    desk.check(desk.slow("stream.Start", [&] { return stream.Start(); }), "the stream starts");
}

void Studio::startPlayer() {
    if (server == nullptr) return;
    player.streamUrlSet(server->url("programme"));
    desk.check(desk.slow("player.play", [&] { return player.play(); }), "the stream player plays");
}

void Studio::refillReplay() {
    desk.slow("replay.clearRecording", [&] { replay.clearRecording(); });
    desk.check(desk.slow("replay.startRecording", [&] { return replay.startRecording(); }),
               "the replay records");
}

} // namespace soak
