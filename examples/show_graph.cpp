#include "show_graph.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "show_script.h"

namespace show {

namespace {

constexpr int titlesOrder = 20;
constexpr int openingOrder = 30;

videoFormatProps format(std::uint32_t mode = 0) {
    return {mode, pictureWidth, pictureHeight, picturesPerSecond, 0};
}

bool openCamera(LFile& camera, CountSink& listener, const std::string& path) {
    camera.addSink(&listener);
    camera.fileNameSet(path);
    camera.setProps("loop", "true");
    if (!camera.play()) {
        std::printf("  CANNOT PLAY %s\n", path.c_str());
        return false;
    }
    // Behind the start, which puts the clip's own size and rate in the place of a custom format's.
    camera.setVideoFormat({0, pictureWidth, pictureHeight, picturesPerSecond, 1});
    return true;
}

} // namespace

bool Graph::openCameras(const Files& files) {
    if (!openCamera(camera1, fromCamera1, files.camera1) ||
        !openCamera(camera2, fromCamera2, files.camera2))
        return false;
    int devices = 0;
    bars.DeviceGetCount(devices);
    bars.DeviceSet(devices - 1); // the test signal is always the last
    bars.DeviceChannelSet(0);
    bars.setVideoFormat({0, pictureWidth, pictureHeight, picturesPerSecond, 1});
    bars.setProps("timecode", "true");
    return bars.Start();
}

void Graph::openTitles(const Files& files) {
    titles.setFPS(picturesPerSecond);
    if (!files.titles.empty()) titles.loadFromXMLFile(files.titles);
    for (const char* name : {"lowerthird", "crawl", "logo"})
        titles.showItem(name, false);
    opening.setVideoFormat(format());
}

void Graph::openSwitcher(const Files& files) {
    switcher.setVideoFormat(format());
    switcher.setProgram(&camera1);
    switcher.setPreview(&camera2);
    if (!files.stinger.empty()) switcher.setStinger(files.stinger);
    switcher.setStingerDuration(static_cast<int>(stingerSeconds * 1000.0));
}

// The clean feed is what a replay repeats: titles and inset belong to the moment.
void Graph::openReplay() {
    std::error_code error;
    const auto base = std::filesystem::temp_directory_path(error);
    std::string folder = (base / "show_XXXXXX").string();
    if (error || mkdtemp(folder.data()) == nullptr) {
        std::printf("  NO REPLAY: there is no place to store it\n");
        return;
    }
    replayFolder_ = folder;
    replay.setVideoFormat(format());
    replay.setProps("quality", "30"); // 60 Mbit/s, in the programme's own thread
    replay.setRecordPath(folder, "clean");
    if (replay.startRecording()) switcher.addSink(&replay);
}

void Graph::openMixer() {
    mixer.setVideoFormat({0, pictureWidth, pictureHeight, picturesPerSecond, 1});
    mixer.addLayer("switcher", &switcher, 0, 0.0F, 0.0F, 255, pictureWidth, pictureHeight, true);
    mixer.addLayer("titles", &titles, titlesOrder, 0.0F, 0.0F, 255, pictureWidth, pictureHeight);
    mixer.addLayer("opening", &opening, openingOrder);
}

// A picture of the programme goes into the tick of the movie that is nearest to its arrival. The
// recording's clock is set going, by a pause, so that they arrive well before the middle between
// two ticks: one that is late by less than most of a period still finds its own.
bool Graph::startRecording(const Files& files) {
    constexpr double headStart = 0.015; // seconds
    constexpr int watched = picturesPerSecond;
    recorder.source = &mixer;
    recorder.setFilePath(files.recording);
    recorder.setVideoFormat(format());
    // Bits in place of the encoder's pains: these would be the programme's processors.
    recorder.setVideoBitrate(12000);
    recorder.customSet("preset=ultrafast g=25");
    recorder.setProps("timecode", "true");
    if (!recorder.Record()) {
        std::printf("  CANNOT RECORD to %s: the error above says why\n", files.recording.c_str());
        return false;
    }
    recorder.Pause(true);
    switcher.addSink(&cleanFeed);
    mixer.addSink(&programme);
    programme.waitUntilDue(watched, 1.0 / picturesPerSecond, headStart);
    recorder.Pause(false);
    return true;
}

bool Graph::open(const Files& files) {
    isOpen_ = true;
    if (!openCameras(files)) return false;
    openTitles(files);
    openSwitcher(files);
    openReplay();
    openMixer();
    stream.source = &mixer;
    stream.setStreamUrl(files.server);
    stream.setVideoFormat(format());
    return true;
}

void Graph::beginLive() {
    isLive_ = true;
    liveFrom_ = liveTo_ = static_cast<std::int64_t>(programme.arrivals().size());
}

void Graph::endLive() {
    if (std::exchange(isLive_, false))
        liveTo_ = static_cast<std::int64_t>(programme.arrivals().size());
    stream.Stop(); // gives up what has not begun yet, too
}

void Graph::finish() {
    recorder.Stop();
    endLive();
}

Graph::~Graph() {
    if (!isOpen_) return;
    finish();
    mixer.removeSink(&programme);
    for (const char* layer : {"inset", "replay", "opening", "titles", "switcher"})
        mixer.removeLayer(layer);
    switcher.removeSink(&replay);
    switcher.removeSink(&cleanFeed);
    switcher.setProgram(nullptr);
    switcher.setPreview(nullptr);
    camera1.removeSink(&fromCamera1);
    camera2.removeSink(&fromCamera2);
    replay.clearRecording();
    std::error_code error;
    if (!replayFolder_.empty()) std::filesystem::remove(replayFolder_, error);
}

LObject* Graph::source(const std::string& name) {
    if (name == "camera1") return &camera1;
    if (name == "camera2") return &camera2;
    if (name == "bars") return &bars;
    return nullptr;
}

} // namespace show
