// The steps of the worker that pictures and sound share: the loop, seeking, pacing, the end.
#include "sources/LFileLoop.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/ClipInput.h"
#include "core/Clock.h"
#include "core/HadMemory.h"
#include "core/PauseTimer.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr std::size_t maxQueue = 15; // pictures that wait while no sink is attached
constexpr std::int64_t idleSleep = 10 * quol::nanosPerMilli;
constexpr std::int64_t backPressureSleep = 5 * quol::nanosPerMilli;
constexpr std::int64_t idleJumpSleep = 40 * quol::nanosPerMilli;
constexpr std::int64_t endSleep = 20 * quol::nanosPerMilli;
constexpr double farthestApart = 2.0; // seconds that a container lays between sound and picture

constexpr double longestPicture = 10.0; // seconds that count of one

// Beyond this (some 30 years) a time stamp is damage; it keeps clock arithmetic within 64 bits.
constexpr double longestSeconds = 1e9;

double bounded(double seconds) {
    return std::isfinite(seconds) ? std::clamp(seconds, -longestSeconds, longestSeconds) : 0.0;
}

thread_local const LFile* workedFor = nullptr; // the player whose worker this thread is

} // namespace

bool LFile::isWorker() const {
    return workedFor == this;
}

void LFile::decodeLoopInternal(bool scrub) {
    workedFor = this;
    if (!quol::hadMemory([&] { DecodeLoop(*this, scrub).run(); })) playing = false;
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
    if (video != nullptr && video->avg_frame_rate.num > 0)
        pictureLength = std::min(1.0 / av_q2d(video->avg_frame_rate), longestPicture);
    // A cover picture is one picture for all of the sound.
    pacedBySound = video == nullptr || (video->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (!media.formatContext) return;
    path = media.formatContext->url;
    if (media.formatContext->start_time == AV_NOPTS_VALUE) return;
    constexpr double primingAtMost = 1.0; // seconds of sound that a container may lay before 0
    const double start = static_cast<double>(media.formatContext->start_time) / AV_TIME_BASE;
    if (start > 0.0 || start < -primingAtMost) mediaStart = bounded(start);
}

void LFile::DecodeLoop::run() {
    if (!media.formatContext || !ready()) {
        file.playing = false;
        return;
    }
    anchor(mediaStart);
    while (file.playing) {
        if (!quol::hadMemory([this] { step(); })) dropAtHand();
    }
    quol::hadMemory([this] { drainGraph(); });
}

// Where memory is short what was in the making is lost. The rest comes after a while: a file must
// not race to its end because nothing of it can be shown.
void LFile::DecodeLoop::dropAtHand() {
    draining = false;
    av_packet_unref(packet.get());
    for (AVFrame* frame : {decoded.get(), filtered.get(), audioFiltered.get()})
        av_frame_unref(frame);
    file.sleeper->sleepFor(idleSleep);
}

void LFile::DecodeLoop::step() {
    if (idle()) return;
    if (file.seekPending) seek();
    if (heldBack()) return;
    if (!media.formatContext || av_read_frame(media.formatContext.get(), packet.get()) < 0) {
        endOfFile();
        return;
    }
    seekUntold = false;
    drained = false;
    if (packet->stream_index == media.videoStreamIndex) {
        videoPacket(packet.get());
        pictureWentIn();
    } else if (packet->stream_index == media.audioStreamIndex) {
        soundPacket(*packet);
    }
    av_packet_unref(packet.get());
}

// True while the player is paused; ends a timed pause.
bool LFile::DecodeLoop::idle() {
    file.endPause();
    if (!file.paused) return false;
    // Also a jump that was just made, when the pause came before its picture.
    scrub = scrub || file.seekPending || firstSinceSeek;
    if (scrub) return false;
    file.sleeper->sleepFor(idleSleep);
    return true;
}

// Whether to go on with the frames at hand, of which one packet may give any number: waits out a
// pause, and says no when the player jumps or ends.
bool LFile::DecodeLoop::goOn() {
    while (file.playing && !file.seekPending) {
        if (!idle()) return true;
    }
    return false;
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
    const bool moved = media.formatContext && seekInFile(stamp);
    if (media.videoCodecContext) avcodec_flush_buffers(media.videoCodecContext.get());
    if (media.audioCodecContext) avcodec_flush_buffers(media.audioCodecContext.get());
    videoGraph.reset();
    audioGraph.reset();
    heldSound.clear();
    nextVideoPts = AV_NOPTS_VALUE;
    nextAudioPts = AV_NOPTS_VALUE;
    lastSkipped.reset();
    mediaEnd = seconds;
    videoTarget = moved ? std::optional(seconds) : std::nullopt;
    audioTarget = videoTarget;
    drained = false;
    seekUntold = true;
    firstSinceSeek = true;
    soundEnd.reset();
    latestPicture.reset();
    file.flushSinks();
    anchor(std::max(seconds, mediaStart));
    anchorPending = true;
}

// Moves the demuxer to a key picture at or before `target`, in microseconds. Demuxers with an index
// find it by themselves. Others stop at whatever lies near the target, or round to a picture behind
// it: they are sent further back until a key picture at or before it comes first. False when there
// is no seeking.
bool LFile::DecodeLoop::seekInFile(std::int64_t target) {
    AVFormatContext* input = media.formatContext.get();
    const auto moveTo = [input](std::int64_t place) {
        return avformat_seek_file(input, -1, INT64_MIN, place, INT64_MAX, 0) >= 0;
    };
    if (!moveTo(target)) return false;
    if (pacedBySound) return true;
    const auto start = static_cast<std::int64_t>(mediaStart * AV_TIME_BASE);
    const std::int64_t end = input->duration > 0 ? av_sat_add64(start, input->duration) : INT64_MAX;
    const std::int64_t latest = std::min(target, end);
    // Some count in times of decoding, which lie before those of showing.
    const std::int64_t earliest = start - AV_TIME_BASE;
    std::int64_t place = target;
    for (std::int64_t step = AV_TIME_BASE / 2;
         file.playing && place > earliest && nextKeyPictureIsBehind(target); step *= 2) {
        place = std::max(earliest, latest - step);
        if (!moveTo(place)) break;
    }
    return moveTo(place);
}

// Reads on, for seekInFile to go back.
bool LFile::DecodeLoop::nextKeyPictureIsBehind(std::int64_t target) {
    while (av_read_frame(media.formatContext.get(), packet.get()) >= 0) {
        const bool picture = packet->stream_index == media.videoStreamIndex;
        const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        const std::int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        av_packet_unref(packet.get());
        if (!picture) continue;
        const bool behind = stamp != AV_NOPTS_VALUE &&
                            av_rescale_q(stamp, videoTimeBase, AV_TIME_BASE_Q) > target + 1;
        if (key || behind) return behind;
    }
    return true;
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
    scrub = false; // there was no picture to show
    firstSinceSeek = false;
    file.eofReached = true;
    if (file.loop) {
        startAgain();
    } else if (file.eofHold) {
        file.sleeper->sleepFor(endSleep);
    } else {
        file.playing = false;
    }
}

void LFile::DecodeLoop::startAgain() {
    if (anchorPending) {
        file.sleeper->sleepFor(endSleep); // nothing in it could be played: do not spin
    } else {
        // The last picture stands as long as any other, and what was ahead of the clock is heard.
        const double left = mediaEnd - mediaTime();
        if (left > 0.0 && left <= farthestApart) {
            waitFor(mediaEnd);
            return; // the end of the file comes again
        }
    }
    // Most files begin at 0; time stamps that count up to 0 begin before it.
    file.loopTo(std::min(0.0, mediaStart) * 1000.0);
}

// Some demuxers take a seek and then have nothing more to give (that of single pictures does).
// Opened afresh they read from the start. False for an image sequence, whose seeks can be relied
// on, and for a file that has gone meanwhile, which is at its end.
bool LFile::DecodeLoop::reopen() {
    if (path.empty() || quol::isImageSequence(path)) return false;
    if (!media.formatContext.open(path) || !media.formatContext.findStreamInfo()) return false;
    media.discardUnused();
    return true;
}

// Decoders keep the latest frames back until they are told that no more will come. Flushed, they
// take packets again, should the file grow.
void LFile::DecodeLoop::drainDecoders() {
    const bool soundWaits = !heldSound.empty();
    if (!soundWaits) finishSound();
    if (!media.videoCodecContext) return;
    draining = true;
    videoPacket(nullptr);
    draining = false;
    avcodec_flush_buffers(media.videoCodecContext.get());
    if (soundWaits) {
        releaseSound(true);
        finishSound();
    }
    // The target lies behind the last picture: that one it is.
    videoTarget.reset();
    showSkipped();
    finishGraph();
}

double LFile::DecodeLoop::playRate() const {
    const double rate = file.rate;
    return rate > 0.0 && std::isfinite(rate) ? rate : 1.0;
}

// Sets the clock so that `seconds` plays now, at the rate that is set.
void LFile::DecodeLoop::anchor(double seconds) {
    file.rateChanged = false; // ahead of reading the rate, or a change in between would be lost
    const auto offset = static_cast<std::int64_t>(bounded(seconds / playRate()) * 1000000.0) * 1000;
    const std::lock_guard lock(file.clockMutex);
    const std::int64_t now = quol::steadyNow();
    file.clockStart = now - offset;
    file.pauseTimer->begin(now); // what a pause has lasted so far is behind the new clock
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
    if (!file.loop) {
        file.playing = false;
        return;
    }
    // An in point behind the out point would have it jump from picture to picture without a pause.
    if (firstSinceSeek) file.sleeper->sleepFor(idleJumpSleep);
    file.loopTo(file.inPointMs);
}

// Seconds of media time that have passed on the clock.
double LFile::DecodeLoop::mediaTime() const {
    const std::lock_guard lock(file.clockMutex);
    return static_cast<double>(quol::steadyNow() - file.clockStart) / 1e9 * playRate();
}

// Holds a frame until its time. One that is late goes at once, and so does one a second or more
// early: a gap in the time stamps is no reason to stand still. Behind such a gap, and behind the
// time that opening or a seek took, the clock goes on from the frame, or all others would rush.
void LFile::DecodeLoop::pace(double seconds) {
    const double early = (seconds - mediaTime()) / playRate();
    const bool late = anchorPending && early < 0.0;
    anchorPending = false;
    if (late || early >= 1.0) {
        anchor(seconds);
        return;
    }
    waitFor(seconds);
}

// Sleeps until that media time, or for a second.
void LFile::DecodeLoop::waitFor(double seconds) {
    const double early = (seconds - mediaTime()) / playRate();
    if (!(early > 0.0)) return;
    const double wait = std::min(early, 1.0) * static_cast<double>(quol::nanosPerSecond);
    file.sleeper->sleepFor(std::min(static_cast<std::int64_t>(wait), quol::nanosPerSecond - 1));
}

// Sound goes out as it is read, just ahead of its pictures, which hold it back. Where there are
// none beside it, or none that can be decoded, it is held back itself.
void LFile::DecodeLoop::paceSound(double seconds, double length) {
    if (pacedBySound) {
        if (file.rateChanged) anchor(seconds);
        checkOutPoint(seconds);
        pace(seconds);
        scrub = false;
        firstSinceSeek = false;
        return;
    }
    constexpr double gap = 1.0; // seconds
    const bool jumped = soundEnd && std::fabs(seconds - *soundEnd) > gap;
    soundEnd = seconds + length;
    if (!latestPicture) latestPicture = seconds;
    if (seconds <= *latestPicture + farthestApart) return;
    checkOutPoint(seconds);
    showSkipped(); // no other picture comes for this place
    scrub = false;
    firstSinceSeek = false;
    const bool late = std::exchange(anchorPending, false) && seconds < mediaTime();
    if (late || jumped || file.rateChanged) anchor(seconds);
    waitFor(seconds);
}
