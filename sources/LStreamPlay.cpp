// The operations on host threads; the worker is in LStreamPlayLoop.cpp.
#include "quolsdk/LStreamPlay.h"

#include "core/Clock.h"
#include "core/MediaInput.h"
#include "core/ModeTables.h"
#include "core/PauseTimer.h"
#include "core/Props.h"
#include "core/ScalingQuality.h"
#include "core/Timecode.h"
#include "sources/LStreamPlayLoop.h"
#include "sources/StreamPacing.h"

LStreamPlay::LStreamPlay()
    : input(std::make_unique<quol::MediaInput>()),
      pacing(std::make_unique<quol::StreamPacing>()),
      pauseTimer(std::make_unique<quol::PauseTimer>()),
      wantedTrack(quol::noTrackWanted),
      sleeper(std::make_unique<quol::Sleeper>()) {
    videoFormat.mode = quol::modeNative;
    audioFormat.mode = quol::modeNative;
    input->setLongestWait(quol::longestStreamSilence);
}

LStreamPlay::~LStreamPlay() {
    stop();
}

void LStreamPlay::streamUrlSet(const std::string& newUrl) {
    const std::lock_guard control(controlMutex);
    if (newUrl == url) return;
    if (playing) stopLocked();
    url = newUrl;
}

bool LStreamPlay::play() {
    const std::lock_guard control(controlMutex);
    if (playing) return true;
    if (url.empty()) return false;
    input->interrupt(false);
    sleeper->reset();
    wantedTrack = quol::noTrackWanted;
    forgetPause();
    playing = true;
    try {
        thread = std::thread(&LStreamPlay::decodeLoopInternal, this);
    } catch (...) { // no thread, or no memory for one
        playing = false;
        return false;
    }
    return true;
}

void LStreamPlay::stop() {
    const std::lock_guard control(controlMutex);
    if (playing) stopLocked();
}

void LStreamPlay::stopLocked() {
    playing = false;
    input->interrupt(true);
    sleeper->wake();
    if (thread.joinable()) thread.join();
}

void LStreamPlay::pause(double delayMs) {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        const std::int64_t now = quol::steadyNow();
        if (!paused) pauseTimer->begin(now);
        paused = true;
        pauseTimer->endAfter(delayMs, now);
    }
    setSinksPaused(true);
}

void LStreamPlay::resume() {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        resumeClock();
    }
    setSinksPaused(false);
}

// Under `clockMutex`. The time paused does not count.
void LStreamPlay::resumeClock() {
    if (paused && playing) pacing->skip(pauseTimer->lasted(quol::steadyNow()));
    paused = false;
    pauseTimer->cancel();
}

// For the worker.
void LStreamPlay::endTimedPause() {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        if (!pauseTimer->isOver(quol::steadyNow())) return;
        resumeClock();
    }
    setSinksPaused(false);
}

// A pause does not outlast its run: nobody else would tell the sinks that it is over.
void LStreamPlay::forgetPause() {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        pauseTimer->cancel();
    }
    if (!paused) return;
    setSinksPaused(false);
    paused = false;
}

void LStreamPlay::ready() {
    flushSinks();
    const std::lock_guard lock(clockMutex);
    const std::int64_t now = quol::steadyNow();
    pacing->anchor(now);
    pauseTimer->begin(now); // what a pause has lasted so far is behind the new clock
}

bool LStreamPlay::checkStream(const std::string& address) {
    constexpr std::int64_t longest = 5 * quol::nanosPerSecond;
    quol::MediaInput probe;
    probe.setLongestWait(longest);
    quol::Dictionary options;
    quol::askForLive(options);
    return !address.empty() && probe.open(address, nullptr, &options);
}

void LStreamPlay::switchAudioTrack(int index) {
    if (playing) wantedTrack = index;
}

void LStreamPlay::getAudioPeak(float& left, float& right) {
    left = audioPeakLeft;
    right = audioPeakRight;
}

void LStreamPlay::resetAudioPeak() {
    audioPeakLeft = 0.0F;
    audioPeakRight = 0.0F;
}

void LStreamPlay::setAudioDelay(int ms) {
    audioDelayMs = ms;
}

void LStreamPlay::setVideoDelay(int ms) {
    videoDelayMs = ms;
}

void LStreamPlay::setProps(const std::string& key, const std::string& value) {
    if (key == "audio_gain") {
        audioGain = quol::parseInt(value);
    } else if (key == "audio_track") {
        audioTrack = quol::parseInt(value);
    } else if (key == "scale_type") {
        const std::lock_guard lock(settingsMutex);
        scaleType = value;
    } else if (key == "scaling_quality") {
        scalingQuality = quol::parseInt(value);
        scalerFlags = quol::scalerFlags(scalingQuality, quol::LanczosNumber::three);
    }
}

void LStreamPlay::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    videoFormat = format;
    quol::expandVideoFormat(videoFormat);
}

void LStreamPlay::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = videoFormat;
}

void LStreamPlay::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    audioFormat = format;
    quol::expandAudioFormat(audioFormat);
    audioFormat.bitsPerSample = format.bitsPerSample; // 16 whatever it says
}

void LStreamPlay::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = audioFormat;
}

std::string LStreamPlay::getTimeCode() {
    return quol::noTimecode;
}

void LStreamPlay::statusGet(int& status) {
    status = playing ? 1 : 0;
}

double LStreamPlay::getFPS() {
    const std::lock_guard lock(settingsMutex);
    return videoFormat.fps > 0.0 ? videoFormat.fps : quol::fpsOrDefault(sourceFps);
}

int LStreamPlay::getWidth() {
    const std::lock_guard lock(settingsMutex);
    return sourceWidth;
}

int LStreamPlay::getHeight() {
    const std::lock_guard lock(settingsMutex);
    return sourceHeight;
}
