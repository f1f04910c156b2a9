// The file player's operations on host threads; its worker is in LFileLoop.cpp.
#include "quolsdk/LFile.h"

#include <utility>

#include "core/Clock.h"
#include "core/ModeTables.h"
#include "core/PauseTimer.h"
#include "core/Props.h"
#include "core/ScalingQuality.h"
#include "core/Timecode.h"
#include "sources/LFileDecoders.h"

LFile::LFile()
    : decoders(std::make_unique<Decoders>()),
      pauseTimer(std::make_unique<quol::PauseTimer>()),
      sleeper(std::make_unique<quol::Sleeper>()) {
    videoFormat.mode = quol::modeNative;
    audioFormat.mode = quol::modeNative;
}

LFile::~LFile() {
    stop();
}

void LFile::fileNameSet(const std::string& path) {
    const std::lock_guard control(controlMutex);
    if (path == filePath) return;
    if (playing) stopLocked();
    filePath = path;
}

bool LFile::play() {
    const std::lock_guard control(controlMutex);
    return playLocked();
}

void LFile::ready() {
    const std::lock_guard control(controlMutex);
    playLocked();
    pause();
}

bool LFile::playLocked() {
    if (playing) {
        resume();
        return true;
    }
    // A worker that ended by itself is still to be joined, and its file to be closed.
    if (thread.joinable()) stopLocked();
    if (!openFile()) return false;
    eofReached = false;
    {
        const std::lock_guard turn(pauseMutex);
        {
            const std::lock_guard lock(clockMutex);
            paused = false;
            pauseTimer->cancel();
        }
        setSinksPaused(false);
    }
    flushSinks();
    sleeper->reset();
    {
        const std::lock_guard lock(clockMutex);
        clockStart = quol::steadyNow();
    }
    currentFrame = 0;
    playing = true;
    try {
        thread = std::thread(&LFile::decodeLoopInternal, this, false);
    } catch (...) { // no thread, or no memory for one
        stopLocked();
        return false;
    }
    return true;
}

void LFile::pause(double delayMs) {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        resumeDue = false;
        const std::int64_t now = quol::steadyNow();
        if (!paused) pauseTimer->begin(now);
        paused = true;
        pauseTimer->endAfter(delayMs, now);
    }
    setSinksPaused(true);
}

void LFile::resume() {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        resumeClock();
    }
    setSinksPaused(false);
}

// Under `clockMutex`. The time paused does not count.
void LFile::resumeClock() {
    if (paused && playing) clockStart += pauseTimer->lasted(quol::steadyNow());
    paused = false;
    pauseTimer->cancel();
}

// For the worker: ends a timed pause, and one that a jump from inside a push has ended.
void LFile::endPause() {
    const std::lock_guard turn(pauseMutex);
    {
        const std::lock_guard lock(clockMutex);
        const bool isDue = std::exchange(resumeDue, false);
        if (!playing) return; // who ends it has the last word to the sinks
        if (!isDue && !pauseTimer->isOver(quol::steadyNow())) return;
        resumeClock();
    }
    setSinksPaused(false);
}

void LFile::setPos(double ms) {
    {
        const std::lock_guard lock(clockMutex);
        seekTargetMs = ms;
        seekIsOfLoop = false;
        seekPending = true;
        // Inside a push a host's pause may be waiting for the push to end.
        resumeDue = paused && isWorker();
    }
    eofReached = false;
    if (paused && !isWorker()) resume();
    clearFrameQueue();
}

// For the worker: jumps by itself, unless the host has paused, stopped or sent it elsewhere
// meanwhile.
void LFile::loopTo(double ms) {
    {
        const std::lock_guard lock(clockMutex);
        if (seekPending || paused || !playing) return;
        seekTargetMs = ms;
        seekIsOfLoop = true;
        seekPending = true;
    }
    eofReached = false;
    clearFrameQueue();
}

void LFile::setPosTC(const std::string& text) {
    const Media now = mediaNow();
    if (!now.hasTimecode || !now.open || !now.hasVideo) return;
    const auto timecode = quol::parseTimecode(text);
    if (!timecode) return;
    const double fps = quol::fpsOrDefault(getFPS());
    const std::int64_t frames =
        quol::timecodeToFrames(*timecode, fps) - quol::timecodeTextToFrames(now.startTimecode, fps);
    setPos(frames > 0 ? static_cast<double>(frames) / fps * 1000.0 : 0.0);
}

void LFile::stop() {
    // Ahead of the lock: another thread may be in the middle of opening a file that does not
    // answer.
    ++stopsWaiting;
    decoders->formatContext.interrupt(true);
    const std::lock_guard control(controlMutex);
    --stopsWaiting;
    stopLocked();
    seekPending = false;
}

void LFile::stopLocked() {
    {
        const std::lock_guard lock(clockMutex);
        playing = false;
    }
    sleeper->wake();
    decoders->formatContext.interrupt(true);
    {
        const std::lock_guard turn(pauseMutex);
        {
            const std::lock_guard lock(clockMutex);
            paused = false;
            pauseTimer->cancel();
        }
        setSinksPaused(true);
    }
    flushSinks();
    if (thread.joinable()) thread.join();
    {
        const std::lock_guard lock(clockMutex);
        resumeDue = false;
        if (seekIsOfLoop) seekPending = false;
    }
    clearFrameQueue();
    flushSinks();
    closeFile();
}

void LFile::setProps(const std::string& key, const std::string& value) {
    if (key == "loop") {
        loop = quol::parseBool(value);
    } else if (key == "rate" || key == "speed") {
        rate = quol::parseDouble(value);
        rateChanged = true;
    } else if (key == "audio_gain") {
        audioGain = quol::parseInt(value);
    } else if (key == "audio_track") {
        audioTrack = quol::parseInt(value);
    } else if (key == "scale_type") {
        const std::lock_guard lock(settingsMutex);
        scaleType = value;
    } else if (key == "deinterlace") {
        deinterlace = quol::parseBool(value);
    } else if (key == "eof_hold") {
        eofHold = quol::parseBool(value);
    } else if (key == "gpu") {
        gpu = quol::parseBool(value);
    } else if (key == "scaling_quality") {
        scalingQuality = quol::parseInt(value);
        scalerFlags = quol::scalerFlags(scalingQuality, quol::LanczosNumber::four);
    } else if (key == "timecodeSource") {
        timecodeSource = quol::parseInt(value);
    }
}

void LFile::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    videoFormat = format;
    quol::expandVideoFormat(videoFormat);
}

void LFile::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = videoFormat;
}

void LFile::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    audioFormat = format;
    quol::expandAudioFormat(audioFormat);
}

void LFile::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = audioFormat;
}

void LFile::setVideoFilter(LFilter* filter) {
    const std::lock_guard lock(settingsMutex);
    videoFilter = filter;
}

void LFile::setAudioFilter(LFilter* filter) {
    const std::lock_guard lock(settingsMutex);
    audioFilter = filter;
}

void LFile::setAudioDelay(int ms) {
    audioDelayMs = ms;
}

void LFile::setVideoDelay(int ms) {
    videoDelayMs = ms;
}

LFile::Media LFile::mediaNow() {
    const std::lock_guard lock(mediaMutex);
    return media;
}

double LFile::getDurationMs() {
    const std::lock_guard lock(mediaMutex);
    return media.durationMs;
}

double LFile::getPosMs() {
    const std::lock_guard lock(mediaMutex);
    if (!media.open || !media.hasVideo || !(media.fps > 0.0)) return 0.0;
    return currentFrame / media.fps * 1000.0;
}

void LFile::InOutGet(double& in, double& out, double& duration) {
    in = inPointMs;
    out = outPointMs;
    duration = getDurationMs();
}

// The start time code plus that many frames, when there is one to count from.
std::string LFile::timecodeAt(double frames) {
    const Media now = mediaNow();
    if (!now.hasTimecode || !now.open || !now.hasVideo) return quol::noTimecode;
    const double fps = quol::fpsOrDefault(getFPS());
    return quol::framesToTimecodeText(
        quol::timecodeTextToFrames(now.startTimecode, fps) + static_cast<std::int64_t>(frames),
        fps);
}

std::string LFile::getTimeCode() {
    return timecodeAt(currentFrame);
}

std::string LFile::getPosTC() {
    return getTimeCode();
}

std::string LFile::getInTC() {
    const double fps = quol::fpsOrDefault(getFPS());
    return timecodeAt(static_cast<double>(quol::framesAt(inPointMs / 1000.0, fps)));
}

std::string LFile::getOutTC() {
    const double fps = quol::fpsOrDefault(getFPS());
    const double mark = outPointMs;
    const double out = mark > 0.0 ? mark : getDurationMs();
    return timecodeAt(static_cast<double>(quol::framesAt(out / 1000.0, fps)));
}

void LFile::statusGet(int& status) {
    status = playing ? 1 : 0;
}

double LFile::getFPS() {
    {
        const std::lock_guard lock(settingsMutex);
        if (videoFormat.fps > 0.0) return videoFormat.fps;
    }
    const std::lock_guard lock(mediaMutex);
    return quol::fpsOrDefault(media.fps);
}

int LFile::getWidth() {
    const std::lock_guard lock(mediaMutex);
    return media.width;
}

int LFile::getHeight() {
    const std::lock_guard lock(mediaMutex);
    return media.height;
}

bool LFile::initHWDecoder(AVCodecContext*) {
    return false;
}
