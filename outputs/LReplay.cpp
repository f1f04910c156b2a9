#include "quolsdk/LReplay.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>

#include "core/Clock.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Props.h"
#include "core/Timecode.h"
#include "outputs/ReplayDecoder.h"
#include "outputs/ReplayEncoder.h"
#include "outputs/ReplayPacing.h"
#include "outputs/ReplayStore.h"

namespace {

constexpr double millis = 1000.0; // in a second

std::string asFolder(const std::string& path) {
    return path.empty() || path.back() == '/' ? path : path + "/";
}

// Keeps two objects in one folder apart.
std::string numberOf(const LReplay* replay) {
    constexpr std::uintptr_t lowBits = 0xFFFFFF;
    return std::to_string(reinterpret_cast<std::uintptr_t>(replay) & lowBits);
}

// A start time code of the clock begins with a whole second.
std::string clockStart() {
    quol::Timecode now = quol::wallClockTimecode(1.0);
    now.frames = 0;
    return quol::formatTimecode(now);
}

} // namespace

LReplay::LReplay()
    : store(std::make_unique<quol::ReplayStore>()),
      encoder(std::make_unique<quol::ReplayEncoder>()),
      decoder(std::make_unique<quol::ReplayDecoder>()),
      pacing(std::make_unique<quol::ReplayPacing>()),
      sleeper(std::make_unique<quol::Sleeper>()) {
    settings.videoFormat.mode = 13;
    quol::expandVideoFormat(settings.videoFormat);
    settings.audioFormat = {0, 16, 48000, 2};
    startPlayback();
}

LReplay::~LReplay() {
    alive = false;
    sleeper->wake();
    if (thread.joinable()) thread.join();
}

// A machine that has no thread to give costs the playback, not the host: the next recording asks
// again. Under `controlMutex`, but for the constructor.
void LReplay::startPlayback() {
    if (thread.joinable()) return;
    try {
        thread = std::thread(&LReplay::playbackLoop, this);
    } catch (const std::system_error& error) {
        quol::logError("LReplay: No thread: %s", error.what());
    }
}

// ------------------------------------------------------------------------------- settings

LReplay::Settings LReplay::settingsNow() {
    const std::lock_guard lock(settingsMutex);
    return settings;
}

void LReplay::setRecordPath(const std::string& path, const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.recordPath = path.empty() ? "./" : asFolder(path);
    settings.recordName = name.empty() ? "replay" : name;
}

void LReplay::setExportPath(const std::string& path, const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.exportPath = asFolder(path);
    settings.exportName = name;
}

void LReplay::setVideoFormat(const videoFormatProps& format) {
    {
        const std::lock_guard lock(settingsMutex);
        settings.videoFormat = format;
        quol::expandVideoFormat(settings.videoFormat);
    }
    sleeper->wake(); // to the new rate
}

void LReplay::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.videoFormat;
}

void LReplay::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings.audioFormat = format;
}

void LReplay::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.audioFormat;
}

void LReplay::setProps(const std::string& key, const std::string& value) {
    const std::lock_guard lock(settingsMutex);
    if (key == "quality") {
        settings.quality = std::clamp(quol::parseInt(value), 1, 100);
    } else if (key == "timecode") {
        settings.timecode = quol::parseBool(value);
    } else if (key == "timecodeSource") {
        settings.timecodeSource = quol::parseInt(value);
    } else if (key == "timecodeStart") {
        settings.timecodeStart = value;
    } else if (key == "audio.preview") {
        audioPreview = quol::parseBool(value);
    } else if (key == "name") {
        settings.name = value;
    }
}

double LReplay::getFPS() {
    const std::lock_guard lock(settingsMutex);
    return settings.videoFormat.fps;
}

int LReplay::getWidth() {
    const std::lock_guard lock(settingsMutex);
    return settings.videoFormat.width;
}

int LReplay::getHeight() {
    const std::lock_guard lock(settingsMutex);
    return settings.videoFormat.height;
}

std::string LReplay::getModeName() {
    return "Replay";
}

void LReplay::statusGet(int& status) {
    constexpr int whenPlaying = 1;
    constexpr int whenRecording = 2;
    status = playing ? whenPlaying : recording ? whenRecording : 0;
}

// ------------------------------------------------------------------------------ recording

// Opening, emptying and removing files may take a disk long: `videoMutex` is not held meanwhile.
bool LReplay::startRecording() {
    bool started = false;
    return quol::hadMemory([&] { started = beginRecording(); }) && started;
}

bool LReplay::beginRecording() {
    const Settings now = settingsNow();
    const std::lock_guard control(controlMutex);
    startPlayback();
    std::string videoPath = store->videoPath;
    std::string audioPath = store->audioPath;
    if (!recording) {
        const std::string base =
            now.recordPath + now.recordName + "_" + (now.name.empty() ? numberOf(this) : now.name);
        videoPath = base + "_v.bin";
        audioPath = base + "_a.bin";
    }
    endRecording();
    std::shared_ptr<quol::ReplayWriter> video = quol::ReplayWriter::create(videoPath);
    std::shared_ptr<quol::ReplayWriter> audio =
        video ? quol::ReplayWriter::create(audioPath) : nullptr;
    if (!audio) {
        if (video) dropNewFile(*video, videoPath);
        return false;
    }
    std::shared_ptr<quol::ReplayReader> videoReader = quol::ReplayReader::open(videoPath);
    std::shared_ptr<quol::ReplayReader> audioReader = quol::ReplayReader::open(audioPath);
    const bool fromText = now.timecodeSource == 2;
    std::string startTimecode = !now.timecode ? "" : fromText ? now.timecodeStart : clockStart();
    const std::lock_guard lock(videoMutex);
    ++store->generation;
    store->videoPath.swap(videoPath);
    store->audioPath.swap(audioPath);
    store->videoWriter = video;
    store->audioWriter = audio;
    store->videoReader.swap(videoReader);
    store->audioReader.swap(audioReader);
    store->startTime = quol::steadyNow();
    rewind(*store);
    store->startTimecode.swap(startTimecode);
    recording = true;
    return true;
}

// The second file could not be made. One that was there before is empty now: what was begun over
// its old bytes does not go on. Under `controlMutex`.
void LReplay::dropNewFile(const quol::ReplayWriter& writer, const std::string& path) {
    if (writer.isNew()) {
        unlink(path.c_str());
        return;
    }
    const std::lock_guard lock(videoMutex);
    ++store->generation;
}

// Under `controlMutex`.
void LReplay::endRecording() {
    std::shared_ptr<quol::ReplayWriter> video;
    std::shared_ptr<quol::ReplayWriter> audio;
    const std::lock_guard lock(videoMutex);
    recording = false;
    store->videoWriter.swap(video);
    store->audioWriter.swap(audio);
}

void LReplay::stopRecording() {
    const std::lock_guard control(controlMutex);
    endRecording();
}

void LReplay::clearRecording() {
    const std::lock_guard control(controlMutex);
    endRecording();
    std::shared_ptr<quol::ReplayReader> videoReader;
    std::shared_ptr<quol::ReplayReader> audioReader;
    std::string videoPath;
    std::string audioPath;
    {
        const std::lock_guard lock(videoMutex);
        ++store->generation;
        store->pictures.clear();
        store->sounds.clear();
        rewind(*store);
        position = 0;
        store->videoReader.swap(videoReader);
        store->audioReader.swap(audioReader);
        store->videoPath.swap(videoPath);
        store->audioPath.swap(audioPath);
    }
    for (const std::string& path : {videoPath, audioPath})
        if (!path.empty()) unlink(path.c_str());
}

// ------------------------------------------------------------------------ modes and seeks

void LReplay::setMode(bool isPlaying, bool isLive) {
    {
        const std::lock_guard lock(videoMutex);
        playing = isPlaying;
        live = isLive;
    }
    sleeper->wake();
}

void LReplay::play() {
    setMode(true, false);
}

void LReplay::pause() {
    setMode(false, false);
}

void LReplay::setModeLive() {
    setMode(false, true);
}

void LReplay::setModeTrim() {
    setMode(false, false);
}

void LReplay::setSpeed(double newSpeed) {
    constexpr double fastest = 1e6;
    {
        const std::lock_guard lock(videoMutex);
        speed = std::isnan(newSpeed) ? 0.0 : std::clamp(newSpeed, -fastest, fastest);
        live = false;
    }
    sleeper->wake();
}

void LReplay::seekLocked(std::int64_t wanted) {
    const auto last = static_cast<std::int64_t>(store->pictures.size()) - 1;
    position = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(wanted, 0, std::max<std::int64_t>(0, last)));
    seekPending = true;
    stepFrames = 0;
    live = false;
    sleeper->wake();
}

void LReplay::posSet(int frame) {
    const std::lock_guard lock(videoMutex);
    seekLocked(frame);
}

void LReplay::posSetMs(double milliseconds) {
    const std::lock_guard lock(videoMutex);
    seekLocked(static_cast<std::int64_t>(store->pictures.nearest(milliseconds / millis)));
}

void LReplay::posSetTC(const std::string& timecode) {
    const std::lock_guard lock(videoMutex);
    if (const auto found = store->pictures.lastOf(timecode))
        seekLocked(static_cast<std::int64_t>(*found));
}

void LReplay::step(std::int64_t frames) {
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    {
        const std::lock_guard lock(videoMutex);
        stepFrames = static_cast<std::int32_t>(std::clamp(frames, -most, most));
        seekPending = true;
        live = false;
    }
    sleeper->wake();
}

void LReplay::stepForward(int frames) {
    step(frames);
}

void LReplay::stepBackward(int frames) {
    step(-std::int64_t{frames});
}

// ------------------------------------------------------------------------- what is stored

int LReplay::getTotalFrames() {
    const std::lock_guard lock(videoMutex);
    return static_cast<int>(store->pictures.size());
}

double LReplay::getDurationMs() {
    const std::lock_guard lock(videoMutex);
    return store->pictures.empty() ? 0.0 : store->pictures.back().time * millis;
}

int LReplay::getCurrentFrame() {
    return position;
}

int LReplay::getPos() {
    return position;
}

double LReplay::getPosMs() {
    const std::lock_guard lock(videoMutex);
    const auto at = static_cast<std::size_t>(position.load());
    return at < store->pictures.size() ? store->pictures[at].time * millis : 0.0;
}

std::string LReplay::getPosTC() {
    const std::lock_guard lock(videoMutex);
    const auto at = static_cast<std::size_t>(position.load());
    return at < store->pictures.size() ? std::string(store->pictures[at].timecodeText())
                                       : quol::noTimecode;
}

std::string LReplay::getTimeCode() {
    return getPosTC();
}
