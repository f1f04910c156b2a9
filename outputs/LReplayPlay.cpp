// The playback thread of a replay.
#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "core/Clock.h"
#include "core/ModeTables.h"
#include "core/SoundBlock.h"
#include "core/Timecode.h"
#include "outputs/ReplayDecoder.h"
#include "outputs/ReplayPacing.h"
#include "outputs/ReplayStore.h"
#include "quolsdk/LReplay.h"

namespace {

constexpr double millis = 1000.0; // in a second
constexpr int bytesPerPair = 4;

// Everything that changes what there is to do wakes the thread; this is for nothing lost.
constexpr std::int64_t rest = quol::nanosPerSecond;
constexpr std::int64_t beforeAnother = 5 * quol::nanosPerMilli; // try, when memory was short

constexpr double soundGap = 0.5;     // seconds: more than that is not played
constexpr double soundRemains = 0.1; // seconds that are played of a longer gap

quol::ReplayPiece pieceOf(const quol::ReplayPicture& entry) {
    return {entry.offset, entry.size};
}

} // namespace

void LReplay::playbackLoop() {
    Shown shown;
    while (alive) {
        sleeper->reset();
        if (!alive) break;
        std::int64_t pause = rest;
        try {
            pause = pass(shown);
        } catch (const std::bad_alloc&) {
            shown.passed = 0; // one picture less
            pause = beforeAnother;
            // Where the playback stands it is the only one: it is tried again.
            const std::lock_guard lock(videoMutex);
            if (!live && !playing && !seekPending.exchange(true)) stepFrames = 0;
        }
        sleeper->sleepFor(pause);
    }
}

// Nanoseconds until the next one, unless something happens before.
std::int64_t LReplay::pass(Shown& shown) {
    const std::int64_t now = quol::steadyNow();
    const std::int64_t elapsed = shown.passed > 0 ? now - shown.passed : 0;
    shown.passed = now;
    std::int64_t pause = 0;
    bool due = false;
    {
        const std::lock_guard lock(videoMutex);
        due = decideLocked(
            shown, static_cast<double>(elapsed) / static_cast<double>(quol::nanosPerMilli), pause);
    }
    if (due) show(shown);
    return pause;
}

// Moves the position. Whether there is a picture to show; if not, `pause` is until when.
bool LReplay::decideLocked(Shown& shown, double elapsed, std::int64_t& pause) {
    if (live) {
        pacing->reset();
        const auto last = static_cast<std::int32_t>(store->pictures.size()) - 1;
        if (last >= 0 && last != position) {
            position = last;
            return true;
        }
    } else if (seekPending) {
        pacing->reset();
        moveLocked(stepFrames);
        seekPending = false;
        return true;
    } else if (playing) {
        const double period = millis / quol::replayRate(LReplay::getFPS());
        const std::int64_t frames = pacing->advance(elapsed, speed, period);
        moveLocked(frames);
        if (frames != 0) return true;
        const double left = std::min(pacing->untilNext(speed, period), millis);
        pause = static_cast<std::int64_t>(left * quol::nanosPerMilli) + 1;
        return false;
    } else {
        pacing->reset();
    }
    shown.passed = 0;
    pause = rest;
    return false;
}

// Within what is stored; with nothing stored the position stays.
void LReplay::moveLocked(std::int64_t frames) {
    const auto last = static_cast<std::int64_t>(store->pictures.size()) - 1;
    if (last < 0) return;
    position =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(position.load() + frames, 0, last));
}

bool LReplay::soundGoesAlong() const {
    constexpr double tolerance = 0.01;
    return audioPreview && (live || std::fabs(speed - 1.0) < tolerance);
}

void LReplay::show(Shown& shown) {
    constexpr std::int64_t jump = 5; // frames
    const Settings now = settingsNow();
    const bool withSound = soundGoesAlong();
    quol::ReplayPicture entry;
    std::shared_ptr<quol::ReplayReader> reader;
    {
        const std::lock_guard lock(videoMutex);
        if (store->pictures.empty() || !store->videoReader) return;
        moveLocked(0);
        const std::int64_t at = position;
        entry = store->pictures[static_cast<std::size_t>(at)];
        reader = store->videoReader;
        const bool isOther = store->generation != shown.generation;
        const bool isJump =
            shown.position < 0 || isOther || at < shown.position || at > shown.position + jump;
        if (isJump) shown.soundFrom = entry.time;
        if (isJump || !withSound) shown.soundsSeen = store->sounds.size();
        shown.position = at;
        shown.generation = store->generation;
    }
    const bool native = now.videoFormat.mode == quol::modeNative;
    const quol::ReplaySize size =
        native ? quol::ReplaySize{}
               : quol::ReplaySize{now.videoFormat.width, now.videoFormat.height};
    const quol::FramePtr picture = decoder->picture(reader, pieceOf(entry), size);
    reader.reset();
    if (picture) {
        const double rate = quol::replayRate(now.videoFormat.fps);
        const std::string timecode(entry.timecodeText());
        av_dict_set(&picture->metadata, "timecode", timecode.c_str(), 0);
        picture->time_base = quol::replayTimeBase(rate);
        picture->pts =
            withSound ? quol::wholeFrames(std::round(entry.time * rate)) : AV_NOPTS_VALUE;
        distributeVideoFrame(picture.get());
    }
    if (withSound) playSound(shown, now);
}

// What belongs to the picture that was shown, and to those left out since the one before. At the
// live edge sound may come behind its picture: it goes out with the next one.
void LReplay::playSound(Shown& shown, const Settings& now) {
    std::vector<quol::ReplaySound> blocks;
    std::shared_ptr<quol::ReplayReader> reader;
    {
        const std::lock_guard lock(videoMutex);
        if (store->generation != shown.generation || !store->audioReader || store->sounds.empty())
            return;
        const double end = store->pictures.endOf(static_cast<std::size_t>(shown.position),
                                                 1.0 / quol::replayRate(now.videoFormat.fps));
        if (end - shown.soundFrom > soundGap) {
            shown.soundFrom = end - soundRemains;
            shown.soundsSeen = store->sounds.size(); // what came late in the gap is of it
        }
        const double from = std::min(shown.soundFrom, end);
        blocks = store->sounds.since(shown.soundsSeen, from - soundGap, from);
        const std::vector<quol::ReplaySound> own = store->sounds.within(from, end);
        blocks.insert(blocks.end(), own.begin(), own.end());
        shown.soundFrom = end;
        shown.soundsSeen = store->sounds.size();
        reader = store->audioReader;
    }
    const int rate = quol::replaySoundRate(now.audioFormat);
    for (const quol::ReplaySound& block : blocks) {
        const quol::FramePtr frame = quol::makeSilentBlock(block.size / bytesPerPair, rate);
        if (!frame || !reader->read({block.offset, block.size}, frame->data[0])) continue;
        frame->time_base = {1, rate};
        frame->pts = quol::wholeFrames(std::round(block.time * rate));
        distributeAudioFrame(frame.get());
    }
}
