// The recorder's operations on host threads and on the source's thread.
#include "quolsdk/LRecorder.h"

#include <sys/stat.h>

#include "core/Clock.h"
#include "core/FrameTime.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/PicturePool.h"
#include "core/Props.h"
#include "core/Resampler.h"
#include "core/Scaler.h"
#include "outputs/AudioTrack.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderSession.h"
#include "quolsdk/LObject.h"

namespace {

constexpr std::size_t maxQueue = 61; // pictures, some two seconds

} // namespace

LRecorder::LRecorder()
    : reserve(std::make_unique<quol::DiskReserve>()),
      pool(std::make_unique<quol::PicturePool>()),
      scaler(std::make_unique<quol::Scaler>()),
      resampler(std::make_unique<quol::Resampler>(quol::Resampler::Input::frozen)) {
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
    framesDropped = 0;
    secondsRecorded = 0.0;
    lastVideoPts = -1;
    resampler->reset();
    LObject* from = source;
    if (!initFFmpeg(from)) {
        recording = false;
        return false;
    }
    startClock();
    flush(); // what came while the encoders opened belongs to no time of the file
    attachedTo = from;
    if (attachedTo != nullptr) attachedTo->addSink(this);
    thread = std::thread(&LRecorder::encodeLoop, this);
    return true;
}

void LRecorder::Stop() {
    const std::lock_guard control(controlMutex);
    stopLocked();
}

void LRecorder::stopLocked() {
    {
        const std::lock_guard lock(queueMutex);
        recording = false;
    }
    queueFilled.notify_all();
    if (thread.joinable()) thread.join();
    if (attachedTo != nullptr) attachedTo->removeSink(this);
    attachedTo = nullptr;
    flush();
    {
        const std::lock_guard lock(audioMutex);
        audioTrack.reset();
    }
    session.reset();
    pool->clear();
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
    stats.framesDropped = framesDropped;
    stats.secondsRecorded = secondsRecorded;
    {
        const std::lock_guard lock(settingsMutex);
        stats.filePath = recording ? recordedPath : settings.filePath;
    }
    struct stat status {};
    stats.fileSize = stat(stats.filePath.c_str(), &status) == 0 ? status.st_size : 0;
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
    QueuedFrame record{quol::cloneFrame(frame), elapsedNow()};
    if (!record.frame) return;
    {
        const std::lock_guard lock(queueMutex);
        if (queue.size() >= maxQueue) {
            ++framesDropped;
            return;
        }
        queue.push_back(std::move(record));
    }
    queueFilled.notify_one();
}

void LRecorder::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || frame->nb_samples < 1 || !recording || paused) return;
    const std::lock_guard lock(audioMutex);
    if (!audioTrack) return;
    quol::AudioRecord record;
    record.pts = quol::frameTime(*frame).value_or(static_cast<double>(elapsedNow()) / 1e6);
    if (quol::isStereoS16(*frame, audioRate)) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data[0]);
        record.samples.assign(samples,
                              samples + static_cast<std::ptrdiff_t>(frame->nb_samples) * 2);
    } else {
        if (!resampler->prepare(*frame, {2, AV_SAMPLE_FMT_S16, audioRate})) return;
        record.samples = resampler->convertS16(*frame);
    }
    audioTrack->push(std::move(record));
}

void LRecorder::flush() {
    std::deque<QueuedFrame> dropped;
    const std::lock_guard lock(queueMutex);
    dropped.swap(queue);
}
