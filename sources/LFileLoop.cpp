// The steps of the worker that pictures and sound share: the loop, seeking, pacing, the end.
#include "sources/LFileLoop.h"

#include <algorithm>
#include <cmath>

#include "core/Clock.h"

namespace {

constexpr std::size_t maxQueue = 15; // pictures that wait while no sink is attached
constexpr std::int64_t idleSleep = 10 * quol::nanosPerMilli;
constexpr std::int64_t backPressureSleep = 5 * quol::nanosPerMilli;
constexpr std::int64_t endSleep = 20 * quol::nanosPerMilli;

// Beyond this (some 30 years) a time stamp is damage; it keeps clock arithmetic within 64 bits.
constexpr double longestSeconds = 1e9;

double bounded(double seconds) {
    return std::isfinite(seconds) ? std::clamp(seconds, -longestSeconds, longestSeconds) : 0.0;
}

} // namespace

void LFile::decodeLoopInternal(bool scrub) {
    DecodeLoop(*this, scrub).run();
}

LFile::DecodeLoop::DecodeLoop(LFile& file, bool scrub)
    : file(file),
      media(*file.decoders),
      scrub(scrub),
      packet(quol::makePacket()),
      decoded(quol::makeFrame()),
      filtered(quol::makeFrame()),
      audioFiltered(quol::makeFrame()) {
    const AVStream* video = media.formatContext.stream(media.videoStreamIndex);
    const AVStream* audio = media.formatContext.stream(media.audioStreamIndex);
    if (video != nullptr) videoTimeBase = video->time_base;
    if (audio != nullptr) audioTimeBase = audio->time_base;
    // A cover picture is one picture for all of the sound.
    pacedBySound = video == nullptr || (video->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (media.formatContext && media.formatContext->start_time != AV_NOPTS_VALUE) {
        mediaStart =
            std::max(0.0, static_cast<double>(media.formatContext->start_time) / AV_TIME_BASE);
    }
}

void LFile::DecodeLoop::run() {
    if (!media.formatContext || !ready()) {
        file.playing = false;
        return;
    }
    anchor(mediaStart);
    while (file.playing)
        step();
    drainGraph();
}

void LFile::DecodeLoop::step() {
    if (idle()) return;
    if (file.seekPending) seek();
    if (heldBack()) return;
    if (av_read_frame(media.formatContext.get(), packet.get()) < 0) {
        endOfFile();
        return;
    }
    seekUntold = false;
    if (packet->stream_index == media.videoStreamIndex) {
        videoPacket(packet.get());
    } else if (packet->stream_index == media.audioStreamIndex) {
        audioPacket(packet.get());
    }
    av_packet_unref(packet.get());
}

// True while the player is paused; ends a timed pause.
bool LFile::DecodeLoop::idle() {
    bool over = false;
    {
        const std::lock_guard lock(file.clockMutex);
        over = file.timedPause && quol::steadyNow() >= file.pauseUntil;
    }
    if (over) file.resume();
    if (!file.paused) return false;
    scrub = scrub || file.seekPending;
    if (scrub) return false;
    file.sleeper->sleepFor(idleSleep);
    return true;
}

// Jumps to the pending target. The demuxer goes to the key picture before it; what lies between is
// decoded but neither shown nor heard, and filters that remember pictures or sound start afresh.
void LFile::DecodeLoop::seek() {
    double targetMs = 0.0;
    {
        const std::lock_guard lock(file.clockMutex);
        targetMs = file.seekTargetMs;
        file.seekPending = false;
    }
    const double seconds = bounded(targetMs / 1000.0);
    const auto stamp = static_cast<std::int64_t>(seconds * AV_TIME_BASE);
    const bool moved =
        avformat_seek_file(media.formatContext.get(), -1, INT64_MIN, stamp, INT64_MAX, 0) >= 0;
    if (media.videoCodecContext) avcodec_flush_buffers(media.videoCodecContext.get());
    if (media.audioCodecContext) avcodec_flush_buffers(media.audioCodecContext.get());
    videoGraph.reset();
    audioGraph.reset();
    audioChainTried = false;
    nextVideoPts = AV_NOPTS_VALUE;
    nextAudioPts = AV_NOPTS_VALUE;
    lastSkipped.reset();
    mediaEnd = seconds;
    videoTarget = moved ? std::optional(seconds) : std::nullopt;
    audioTarget = videoTarget;
    drained = false;
    seekUntold = true;
    file.flushSinks();
    anchor(std::max(seconds, mediaStart));
}

// True while nobody takes the pictures.
bool LFile::DecodeLoop::heldBack() {
    if (file.queuedFrames() < maxQueue) return false;
    file.sleeper->sleepFor(backPressureSleep);
    return true;
}

void LFile::DecodeLoop::endOfFile() {
    if (seekUntold) {
        seekUntold = false;
        if (reopen()) return;
    }
    if (!drained) {
        drainDecoders();
        drained = true;
        // What was just shown may have paused the player, made it jump or ended it.
        if (file.paused || file.seekPending || !file.playing) return;
    }
    file.eofReached = true;
    if (file.loop) {
        if (anchorPending) {
            file.sleeper->sleepFor(endSleep); // nothing in it could be played: do not spin
        } else {
            pace(mediaEnd); // the last picture stands as long as any other
        }
        file.setPos(0.0);
        file.eofReached = false;
    } else if (file.eofHold) {
        file.sleeper->sleepFor(endSleep);
    } else {
        file.playing = false;
    }
}

// Some demuxers take a seek and then have nothing more to give (that of single pictures does).
// Opened afresh they read from the start. False for an image sequence, whose seeks can be relied
// on.
bool LFile::DecodeLoop::reopen() {
    const std::string path = media.formatContext->url;
    if (path.find('%') != std::string::npos) return false;
    // A file that has gone meanwhile is at its end.
    if (!media.formatContext.open(path) || !media.formatContext.findStreamInfo())
        file.playing = false;
    return true;
}

// Decoders keep the latest frames back until they are told that no more will come. Flushed, they
// take packets again, should the file grow.
void LFile::DecodeLoop::drainDecoders() {
    if (media.audioCodecContext) {
        audioPacket(nullptr);
        avcodec_flush_buffers(media.audioCodecContext.get());
    }
    if (!media.videoCodecContext) return;
    videoPacket(nullptr);
    avcodec_flush_buffers(media.videoCodecContext.get());
    // The target lies behind the last picture: that one it is.
    videoTarget.reset();
    showSkipped();
}

double LFile::DecodeLoop::playRate() const {
    const double rate = file.rate;
    return rate > 0.0 && std::isfinite(rate) ? rate : 1.0;
}

// Sets the clock so that `seconds` plays now.
void LFile::DecodeLoop::anchor(double seconds) {
    const auto offset = static_cast<std::int64_t>(bounded(seconds / playRate()) * 1000000.0) * 1000;
    const std::lock_guard lock(file.clockMutex);
    file.clockStart = quol::steadyNow() - offset;
    anchorPending = true;
}

// Whether a frame lies before the target of a seek. The first that does not ends the question: time
// stamps that later fall back are no reason to stay dark.
bool LFile::DecodeLoop::beforeTarget(std::optional<double>& target, double start, double length) {
    constexpr double roundingError = 1e-6;
    if (target && start + length <= *target + roundingError) return true;
    target.reset();
    return false;
}

void LFile::DecodeLoop::checkOutPoint(double seconds) {
    const double outPointMs = file.outPointMs;
    if (!(outPointMs > 0.0) || outPointMs > seconds * 1000.0) return;
    if (file.loop) {
        file.setPos(file.inPointMs);
    } else {
        file.playing = false;
    }
}

// Holds a frame until its time. One that is late goes at once, and so does one a second or more
// early: a gap in the time stamps is no reason to stand still.
void LFile::DecodeLoop::pace(double seconds) {
    const double rate = playRate();
    std::int64_t clockStart = 0;
    {
        const std::lock_guard lock(file.clockMutex);
        clockStart = file.clockStart;
    }
    const double mediaTime = static_cast<double>(quol::steadyNow() - clockStart) / 1e9 * rate;
    if (anchorPending) {
        anchorPending = false;
        // Opening and decoding took their time; the frames behind must not rush to make it good.
        if (mediaTime > seconds) {
            anchor(seconds);
            anchorPending = false;
            return;
        }
    }
    const double wait = (seconds - mediaTime) / rate;
    if (!(wait > 0.0) || wait >= 1.0) return;
    const auto nanoseconds =
        static_cast<std::int64_t>(wait * static_cast<double>(quol::nanosPerSecond));
    file.sleeper->sleepFor(std::min(nanoseconds, quol::nanosPerSecond - 1));
}
