// The recorder's operations on host threads and on the source's thread.
#include "quolsdk/LRecorder.h"

#include <exception>

#include "core/Clock.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/PlainFile.h"
#include "core/Props.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderQueue.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "quolsdk/LObject.h"

namespace {

constexpr std::size_t maxQueue = 61; // pictures, some two seconds

} // namespace

LRecorder::LRecorder()
    : reserve(std::make_unique<quol::DiskReserve>()),
      pictures(std::make_unique<quol::EncoderPictures>()),
      queue(std::make_unique<quol::EncoderQueue>(maxQueue)),
      sound(std::make_unique<quol::EncoderSound>()) {
    settings.videoFormat.mode = quol::modeNative;
}

LRecorder::~LRecorder() {
    const std::lock_guard control(controlMutex);
    if (thread.joinable() || session) stopLocked();
}

void LRecorder::setContainer(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.container = name;
}

void LRecorder::setVideoCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.videoCodec = name;
}

void LRecorder::setAudioCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.audioCodec = name;
}

void LRecorder::setFilePath(const std::string& path) {
    const std::lock_guard lock(settingsMutex);
    settings.filePath = path;
}

void LRecorder::setVideoBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings.videoBitrate = kbps;
}

void LRecorder::setAudioBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings.audioBitrate = kbps;
}

void LRecorder::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings.videoFormat = format;
    quol::expandVideoFormat(settings.videoFormat);
}

void LRecorder::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.videoFormat;
}

void LRecorder::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings.audioFormat = format;
    quol::expandAudioFormat(settings.audioFormat);
}

void LRecorder::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.audioFormat;
}

void LRecorder::setProps(const std::string& key, const std::string& value) {
    const std::lock_guard lock(settingsMutex);
    if (key == "durationMs") {
        settings.durationMs = quol::parseDouble(value);
    } else if (key == "play_while_rec") {
        settings.playWhileRec = quol::parseBool(value);
    } else if (key == "timecodeSource") {
        settings.timecodeSource = quol::parseInt(value);
    } else if (key == "timecodeStart") {
        settings.timecodeStart = value;
    } else if (key == "timecode") {
        settings.timecode = quol::parseBool(value);
    } else if (key == "scaling_quality") {
        settings.scalingQuality = quol::parseInt(value);
    }
}

void LRecorder::customSet(const std::string& options) {
    std::map<std::string, std::string> parsed = quol::parseOptionList(options);
    const std::lock_guard lock(settingsMutex);
    for (auto& [key, value] : parsed)
        settings.options[key] = std::move(value);
}

bool LRecorder::Record() {
    const std::lock_guard control(controlMutex);
    if (recording) return false;
    // A recording that ended by itself is still to be joined, and its source to be left.
    if (thread.joinable()) stopLocked();
    {
        const std::lock_guard lock(settingsMutex);
        job = settings;
        recordedPath = job.filePath;
    }
    startClock();
    paused = false;
    recording = true;
    framesEncoded = 0;
    queue->restart();
    secondsRecorded = 0.0;
    lastVideoPts = -1;
    bool begun = false;
    try {
        LObject* from = source;
        begun = initFFmpeg(from) && startThread(from);
    } catch (const std::exception& error) { // no thread to be had, or no memory
        quol::logError("LRecorder: Could not start: %s", error.what());
        stopLocked();
    }
    if (!begun) recording = false;
    return begun;
}

bool LRecorder::startThread(LObject* from) {
    startClock();
    flush(); // what came while the encoders opened belongs to no time of the file
    if (from != nullptr) from->addSink(this);
    attachedTo = from;
    thread = std::thread(&LRecorder::encodeLoop, this);
    return true;
}

void LRecorder::Stop() {
    const std::lock_guard control(controlMutex);
    stopLocked();
}

void LRecorder::stopLocked() {
    queue->end(recording);
    if (thread.joinable()) thread.join();
    if (attachedTo != nullptr) attachedTo->removeSink(this);
    attachedTo = nullptr;
    flush();
    sound->close();
    session.reset();
    pictures->clear();
    quol::logOut("LRecorder: Stopped and resources freed.");
}

void LRecorder::Pause(bool pause) {
    const std::lock_guard lock(clockMutex);
    if (pause == paused) return;
    const std::int64_t now = quol::steadyNow() / 1000;
    if (pause) {
        pauseStart = now;
    } else {
        startTime += now - pauseStart;
    }
    paused = pause;
    quol::logOut(pause ? "LRecorder: Paused." : "LRecorder: Resumed.");
}

void LRecorder::statusGet(int& status) {
    status = recording ? 1 : 0;
}

void LRecorder::getStats(Stats& stats) {
    statusGet(stats.state);
    stats.framesWritten = framesEncoded;
    stats.framesDropped = queue->dropped();
    stats.secondsRecorded = secondsRecorded;
    {
        const std::lock_guard lock(settingsMutex);
        stats.filePath = recording ? recordedPath : settings.filePath;
    }
    stats.fileSize = quol::fileSize(stats.filePath);
}

std::vector<std::string> LRecorder::getAvailableContainers() {
    return quol::availableContainers();
}

std::vector<std::string> LRecorder::getAvailableVideoCodecs(const std::string& container) {
    return quol::availableEncoders(container, AVMEDIA_TYPE_VIDEO);
}

std::vector<std::string> LRecorder::getAvailableAudioCodecs(const std::string& container) {
    return quol::availableEncoders(container, AVMEDIA_TYPE_AUDIO);
}

void LRecorder::startClock() {
    const std::lock_guard lock(clockMutex);
    startTime = quol::steadyNow() / 1000;
    pauseStart = startTime; // a pause while the encoders opened has lasted no time of the file
}

// Recording time so far: a pause stands still.
std::int64_t LRecorder::elapsedNow() {
    const std::lock_guard lock(clockMutex);
    return (paused ? pauseStart : quol::steadyNow() / 1000) - startTime;
}

void LRecorder::pushVideoFrame(AVFrame* frame) {
    if (frame == nullptr || !recording || paused) return;
    queue->push(*frame, elapsedNow(), paused);
}

void LRecorder::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || frame->nb_samples < 1 || !recording || paused) return;
    sound->push(*frame, static_cast<double>(elapsedNow()) / 1e6, paused);
}

void LRecorder::flush() {
    queue->clear();
}
