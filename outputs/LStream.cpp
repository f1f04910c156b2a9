// The streamer's operations on host threads and on the source's thread.
#include "quolsdk/LStream.h"

#include <exception>
#include <utility>

#include "core/Clock.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Props.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderQueue.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "outputs/StreamCopy.h"
#include "outputs/StreamGuard.h"
#include "quolsdk/LObject.h"

namespace {

constexpr std::size_t maxQueue = 11; // pictures, less than half a second
// For all that is left to send, so that Stop takes less than a second.
constexpr std::int64_t longestEnd = 600 * quol::nanosPerMilli;

} // namespace

LStream::LStream()
    : guard(std::make_unique<quol::StreamGuard>()),
      pictures(std::make_unique<quol::EncoderPictures>()),
      queue(std::make_unique<quol::EncoderQueue>(maxQueue)),
      sound(std::make_unique<quol::EncoderSound>()) {
    settings.videoFormat.mode = quol::modeNative;
}

LStream::~LStream() {
    Stop();
}

void LStream::setStreamUrl(const std::string& url) {
    const std::lock_guard lock(settingsMutex);
    settings.url = url;
}

void LStream::setStreamKey(const std::string& key) {
    const std::lock_guard lock(settingsMutex);
    settings.key = key;
}

void LStream::setStreamClone(bool enabled) {
    const std::lock_guard lock(settingsMutex);
    settings.clone = enabled;
}

void LStream::setStreamClonePath(const std::string& folder) {
    const std::lock_guard lock(settingsMutex);
    settings.clonePath = folder;
}

void LStream::setVideoCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.videoCodec = name;
}

void LStream::setAudioCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings.audioCodec = name;
}

void LStream::setVideoBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings.videoBitrate = kbps;
}

void LStream::setAudioBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings.audioBitrate = kbps;
}

void LStream::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings.videoFormat = format;
    quol::expandVideoFormat(settings.videoFormat);
}

void LStream::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.videoFormat;
}

void LStream::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings.audioFormat = format;
    quol::expandAudioFormat(settings.audioFormat);
}

void LStream::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings.audioFormat;
}

void LStream::setProps(const std::string& key, const std::string& value) {
    const std::lock_guard lock(settingsMutex);
    settings.options[key] = value;
}

void LStream::customSet(const std::string& options) {
    std::map<std::string, std::string> parsed = quol::parseOptionList(options);
    const std::lock_guard lock(settingsMutex);
    for (auto& [key, value] : parsed)
        settings.options[key] = std::move(value);
}

bool LStream::Start() {
    const std::lock_guard control(controlMutex);
    LObject* from = source;
    if (running || from == nullptr) return false;
    {
        const std::lock_guard lock(settingsMutex);
        job = settings;
        last = {};
        last.url = job.url;
    }
    startTime = quol::steadyNow() / 1000;
    paused = false;
    running = true;
    framesSent = 0;
    bytesSent = 0;
    queue->restart();
    bool begun = false;
    try {
        begun = initFFmpeg(*from) && startThread(*from);
    } catch (const std::exception& error) { // no thread to be had, or no memory
        quol::logError("[LStream] Could not start: %s", error.what());
        if (copy) copy->discard();
    }
    if (!begun) {
        running = false;
        leaveSource();
        releaseAll();
    }
    return begun;
}

bool LStream::startThread(LObject& from) {
    startTime = quol::steadyNow() / 1000;
    flush(); // what came while the address was reached belongs to no time of the stream
    from.addSink(this);
    attachedTo = &from;
    thread = std::thread(&LStream::streamLoop, this);
    return true;
}

void LStream::leaveSource() {
    if (attachedTo != nullptr) attachedTo->removeSink(this);
    attachedTo = nullptr;
    flush();
}

void LStream::Stop() {
    guard->holdOff(); // a Start that still reaches for its address gives up
    const std::lock_guard control(controlMutex);
    guard->letGo();
    stopLocked();
}

void LStream::stopLocked() {
    if (!thread.joinable()) return;
    guard->finishes(longestEnd);
    queue->end(running);
    thread.join();
    leaveSource();
    releaseAll();
}

void LStream::releaseAll() {
    sound->close();
    guard->givesUp(); // a connection that is left over has nothing to say
    session.reset();
    copy.reset();
    pictures->clear();
    black.reset();
}

void LStream::setPaused(bool pause) {
    if (paused.exchange(pause) == pause || !pause) return;
    queue->clear();
    sound->clear();
}

void LStream::flush() {
    queue->clear();
}

void LStream::statusGet(int& status) {
    status = running ? 1 : 0;
}

void LStream::getStats(Stats& stats) {
    {
        const std::lock_guard lock(settingsMutex);
        stats = last;
        if (!running) stats.url = settings.url;
    }
    stats.framesSent = framesSent;
    stats.bytesSent = bytesSent;
    stats.framesDropped = queue->dropped();
    stats.queueLength = static_cast<int>(queue->size());
    stats.running = running;
}

std::int64_t LStream::elapsedNow() const {
    return quol::steadyNow() / 1000 - startTime;
}

void LStream::pushVideoFrame(AVFrame* frame) {
    if (frame == nullptr || !running || paused) return;
    queue->push(*frame, elapsedNow(), paused);
}

void LStream::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || frame->nb_samples < 1 || !running || paused) return;
    sound->push(*frame, static_cast<double>(elapsedNow()) / 1e6, paused);
}
