#include "quolsdk/LStinger.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "compositing/StingerClip.h"
#include "core/Clock.h"
#include "core/Log.h"
#include "core/MediaInput.h"
#include "core/Timecode.h"

namespace {

// The stinger whose playback the current thread is.
thread_local const LStinger* playedHere = nullptr;

// How long a picture stands: whole microseconds, an hour at most.
std::int64_t frameNanos(double rate) {
    constexpr double longest = 3600e6;
    const double micros = std::min(1e6 / quol::fpsOrDefault(rate), longest);
    return static_cast<std::int64_t>(micros) * 1000;
}

const char* describe(quol::StingerClip::Outcome outcome) {
    using Outcome = quol::StingerClip::Outcome;
    switch (outcome) {
        case Outcome::tooLarge:
            return "does not fit into memory";
        case Outcome::cancelled:
            return "was cancelled";
        default:
            return "could not be decoded";
    }
}

} // namespace

LStinger::LStinger()
    : input(std::make_unique<quol::MediaInput>()),
      playbackRate(quol::defaultFps),
      sleeper(std::make_unique<quol::Sleeper>()) {}

LStinger::~LStinger() {
    cancelLoad();
    stop();
    const std::lock_guard lock(loadMutex);
}

bool LStinger::load(const std::string& path, int width, int height, double fps) {
    const std::lock_guard lock(loadMutex);
    setPlaybackRate(fps);
    // The flag first: no playback begins behind the stop.
    loaded = false;
    stop();
    clear();
    quol::StingerClip clip(*input, loadCancelled);
    const quol::StingerClip::Outcome outcome = clip.read({path, width, height, fps});
    if (outcome != quol::StingerClip::Outcome::decoded) {
        quol::logError("[LStinger] Clip %s: %s", describe(outcome), path.c_str());
        return false;
    }
    replaceFrames(clip.takeFrames());
    return true;
}

void LStinger::cancelLoad() {
    loadCancelled = true;
    input->interrupt(true);
}

void LStinger::allowLoad() {
    input->interrupt(false);
    loadCancelled = false;
}

void LStinger::clear() {
    replaceFrames({});
}

// The old pictures are freed behind the lock: a clip is more than a gigabyte at times, and a
// compositor asks for a picture under a deadline.
void LStinger::replaceFrames(std::vector<quol::FramePtr> clip) {
    const std::lock_guard lock(frameMutex);
    frames.swap(clip);
    loaded = !frames.empty();
}

void LStinger::playOnce() {
    if (playedHere == this) return;
    const std::lock_guard lock(threadMutex);
    endPlayback();
    if (!loaded) return;
    sleeper->reset();
    playing = true;
    try {
        thread = std::thread(&LStinger::playbackLoop, this);
    } catch (const std::exception& error) { // no thread, or no memory for one
        playing = false;
        quol::logError("[LStinger] No thread: %s", error.what());
    }
}

void LStinger::stop() {
    if (playedHere == this) {
        playing = false;
        return;
    }
    const std::lock_guard lock(threadMutex);
    endPlayback();
}

// Under `threadMutex`.
void LStinger::endPlayback() {
    playing = false;
    sleeper->wake();
    if (thread.joinable()) thread.join();
}

// Ends behind the last picture, and when the clip has been cleared. Each picture has its time from
// the start on: what one sleep or one sink takes too long does not move the cut behind it, nor does
// a picture that there is no memory to hand out.
void LStinger::playbackLoop() {
    playedHere = this;
    const std::int64_t step = frameNanos(playbackRate);
    std::int64_t due = quol::steadyNow();
    for (std::size_t index = 0; playing; ++index) {
        if (index >= static_cast<std::size_t>(getFrameCount())) break;
        const quol::FramePtr frame = frameAt(index);
        distributeVideoFrame(frame.get());
        due += step;
        const std::int64_t left = due - quol::steadyNow();
        if (playing && left > 0) sleeper->sleepFor(left);
    }
    playing = false;
}

quol::FramePtr LStinger::frameAt(std::size_t index) {
    const std::lock_guard lock(frameMutex);
    return index < frames.size() ? quol::cloneFrame(frames[index].get()) : nullptr;
}

AVFrame* LStinger::getFrameByProgress(double progress) {
    const double position = progress > 0.0 ? std::min(progress, 1.0) : 0.0;
    const std::lock_guard lock(frameMutex);
    if (frames.empty()) return nullptr;
    const auto last = static_cast<double>(frames.size() - 1);
    return quol::cloneFrame(frames[static_cast<std::size_t>(last * position)].get()).release();
}

bool LStinger::isLoaded() const {
    return loaded;
}

bool LStinger::isPlaying() const {
    return playing;
}

int LStinger::getFrameCount() {
    const std::lock_guard lock(frameMutex);
    return static_cast<int>(frames.size());
}

double LStinger::getPlaybackRate() const {
    return playbackRate;
}

void LStinger::setPlaybackRate(double rate) {
    playbackRate = rate;
}

void LStinger::statusGet(int& status) {
    status = playing ? 1 : 0;
}

double LStinger::getFPS() {
    return quol::fpsOrDefault(playbackRate);
}
