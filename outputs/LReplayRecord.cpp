// The side of a replay that is pushed into.
#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <vector>

#include "core/Clock.h"
#include "core/FrameTime.h"
#include "core/PictureCheck.h"
#include "core/Timecode.h"
#include "outputs/ReplayEncoder.h"
#include "outputs/ReplayStore.h"
#include "quolsdk/LReplay.h"

namespace {

// The source's clock has jumped when a picture would fill more slots than that; a whole day can be
// a gap.
constexpr std::int64_t longestFill = 4'320'000;
constexpr std::int64_t mostSlots = std::numeric_limits<std::int32_t>::max(); // positions are ints
constexpr std::size_t slotsAtOnce = 4096;
constexpr int bytesPerPair = 4;

// How coarse the times of a clock are that has run for long, seconds; never more than half a slot,
// however absurd they are.
double coarseness(double first, double now, double rate) {
    constexpr double halfASlot = 0.5;
    const double known = std::fabs(first) + std::fabs(now);
    return std::min(4 * std::numeric_limits<double>::epsilon() * known, halfASlot / rate);
}

// The slot of a frame at `now`, counted from `first`.
std::int64_t slotAt(double first, double now, double rate) {
    return quol::framesAt(std::max(0.0, now - first) + coarseness(first, now, rate), rate);
}

// The time of the slot that begins a rounding error away, so that sound which begins with a picture
// belongs to that picture.
double snapToSlot(double time, double rate, double coarse) {
    constexpr double roundingError = 1e-6;
    const double slot = std::round(time * rate);
    const bool isThere = std::fabs(time * rate - slot) < roundingError + coarse * rate;
    return isThere ? slot / rate : time;
}

bool isStored(const AVFrame& frame) {
    return frame.format == AV_SAMPLE_FMT_S16 && frame.ch_layout.nb_channels == 2 &&
           frame.data[0] != nullptr && frame.nb_samples > 0 &&
           frame.nb_samples <= std::numeric_limits<std::int32_t>::max() / bytesPerPair;
}

} // namespace

void LReplay::flush() {}

void LReplay::setPaused(bool /*paused*/) {}

void LReplay::pushVideoFrame(AVFrame* frame) {
    if (!recording || frame == nullptr) return;
    if (!quol::hasReadablePlanes(*frame)) return;
    try {
        const std::lock_guard lock(captureMutex);
        storePicture(*frame);
    } catch (const std::bad_alloc&) {
        // One picture less; the source knows nothing of this object's memory.
    }
}

void LReplay::pushAudioFrame(AVFrame* frame) {
    if (!recording || frame == nullptr || !isStored(*frame)) return;
    try {
        const std::lock_guard lock(soundMutex);
        storeSound(*frame);
    } catch (const std::bad_alloc&) {
    }
}

// Under `videoMutex`. The source's own time, or the time since the start for a frame without one,
// which is counted from the recording's first frame on, whether that was a picture or sound.
double LReplay::timeLocked(const AVFrame& frame) {
    const double sinceStart = static_cast<double>(quol::steadyNow() - store->startTime) /
                              static_cast<double>(quol::nanosPerSecond);
    const double time = quol::frameTime(frame).value_or(sinceStart);
    if (!store->firstTime) store->firstTime = time;
    return time;
}

// False for a picture that has no slot of its own.
bool LReplay::findSlot(const AVFrame& frame, quol::ReplaySlot& slot) {
    const double rate = quol::replayRate(LReplay::getFPS());
    const std::lock_guard lock(videoMutex);
    if (!store->videoWriter) return false;
    const double now = timeLocked(frame);
    std::int64_t target = slotAt(*store->firstTime, now, rate);
    double time = now - *store->firstTime;
    const bool fits = target > store->slots && target - store->slots <= longestFill;
    // A far jump is a mistake of one picture, or another time that the source has from now on: the
    // next one tells. Either way it gets a slot, and no gap is filled.
    if (!fits && store->otherFirstTime) {
        const double first = *store->otherFirstTime;
        const std::int64_t other = slotAt(first, now, rate);
        if (other > store->slots && other - store->slots <= longestFill) {
            store->firstTime.swap(store->otherFirstTime);
            target = other;
            time = now - first;
        }
    }
    if (target <= store->slots) return false;
    if (target - store->slots > longestFill) {
        target = store->slots + 1;
        time = static_cast<double>(target) / rate;
        store->otherFirstTime = now - time;
    }
    const std::int64_t filled = static_cast<std::int64_t>(store->pictures.size());
    if (target - store->slots > mostSlots - filled) return false;
    slot = {store->generation,   store->slots + 1, target, std::max(0.0, time), rate,
            store->startTimecode};
    return true;
}

std::string LReplay::slotTimecode(const AVFrame& frame, const Settings& now,
                                  const quol::ReplaySlot& slot) const {
    constexpr int fromClock = 0;
    constexpr int fromFrame = 1;
    if (now.timecodeSource == fromFrame) {
        const AVDictionaryEntry* entry = av_dict_get(frame.metadata, "timecode", nullptr, 0);
        const std::string text = entry != nullptr ? entry->value : "";
        if (text.size() >= quol::replayTimecodeLength)
            return text.substr(0, quol::replayTimecodeLength);
    }
    if (now.timecodeSource == fromClock) {
        quol::Timecode clock = quol::wallClockTimecode(slot.rate);
        const auto latest = static_cast<int>(std::max(0.0, slot.rate - 1.0));
        clock.frames = std::min(clock.frames, latest);
        return quol::formatTimecode(clock);
    }
    if (!slot.startTimecode.empty())
        return quol::clipTimecodeText(slot.startTimecode, slot.time, slot.rate);
    return quol::noTimecode;
}

// Under `captureMutex`. A recording begins with an encoder of its own, so that its bit rate does
// not depend on what was recorded before.
bool LReplay::prepareEncoder(const AVFrame& frame, const Settings& now,
                             const quol::ReplaySlot& slot) {
    if (encoderGeneration != slot.generation) encoder->reset();
    encoderGeneration = slot.generation;
    return encoder->fits(frame.width, frame.height) ||
           encoder->init({frame.width, frame.height, slot.rate, now.quality});
}

// Under `captureMutex`.
void LReplay::storePicture(const AVFrame& frame) {
    quol::ReplaySlot slot;
    if (!findSlot(frame, slot)) return;
    const Settings now = settingsNow();
    quol::ReplayPicture picture;
    picture.setTimecode(slotTimecode(frame, now, slot));
    // A picture in a host's own memory is copied into memory like that of all others.
    const quol::FramePtr kept = quol::cloneFrame(&frame);
    if (!kept || !prepareEncoder(frame, now, slot)) return;
    const AVPacket* jpeg = encoder->encode(*kept, slot.last);
    if (jpeg == nullptr) return;
    std::shared_ptr<quol::ReplayWriter> writer;
    {
        const std::lock_guard lock(videoMutex);
        if (store->generation == slot.generation) writer = store->videoWriter;
    }
    if (!writer) return;
    const quol::ReplayPiece piece = writer->append(jpeg->data, jpeg->size);
    picture.offset = piece.offset;
    picture.size = piece.size;
    if (storeSlots(now, slot, picture) && live) sleeper->wake();
}

// One entry for each slot, a few thousand at a time: a long gap holds nobody up. False when the
// recording has ended meanwhile.
bool LReplay::storeSlots(const Settings& now, const quol::ReplaySlot& slot,
                         quol::ReplayPicture picture) {
    const std::string own(picture.timecodeText());
    std::vector<quol::ReplayPicture> entries;
    for (std::int64_t next = slot.first; next <= slot.last;) {
        entries.clear();
        for (; next <= slot.last && entries.size() < slotsAtOnce; ++next) {
            const double time = static_cast<double>(next) / slot.rate;
            const std::int64_t extra = next - slot.first;
            if (extra > 0 && now.timecodeSource == 0) {
                picture.setTimecode(
                    quol::clipTimecodeText(own, static_cast<double>(extra) / slot.rate, slot.rate));
            } else if (extra > 0 && !slot.startTimecode.empty()) {
                picture.setTimecode(quol::clipTimecodeText(slot.startTimecode, time, slot.rate));
            }
            picture.time = time;
            entries.push_back(picture);
        }
        const std::lock_guard lock(videoMutex);
        if (store->generation != slot.generation || !store->videoWriter) return false;
        for (const quol::ReplayPicture& entry : entries) {
            store->pictures.append(entry);
            ++store->slots;
        }
    }
    return true;
}

// Under `videoMutex`. The time in the recording of sound that stands at `now`: by the other base
// where it is near to the pictures by that one alone, as the first sound behind a jump is.
double LReplay::soundTimeLocked(double now, double rate) const {
    const double newest = static_cast<double>(store->slots) / rate;
    const auto isNear = [&](double first) {
        return now >= first && now - first - newest <= static_cast<double>(longestFill) / rate;
    };
    const std::optional<double>& other = store->otherFirstTime;
    const bool isOther = !isNear(*store->firstTime) && other && isNear(*other);
    const double first = isOther ? *other : *store->firstTime;
    return snapToSlot(now - first, rate, coarseness(first, now, rate));
}

// Under `soundMutex`.
void LReplay::storeSound(const AVFrame& frame) {
    std::shared_ptr<quol::ReplayWriter> writer;
    std::uint64_t generation = 0;
    quol::ReplaySound sound;
    const double rate = quol::replayRate(LReplay::getFPS());
    {
        const std::lock_guard lock(videoMutex);
        if (!store->audioWriter) return;
        sound.time = soundTimeLocked(timeLocked(frame), rate);
        if (sound.time < 0.0) return;
        writer = store->audioWriter;
        generation = store->generation;
    }
    const quol::ReplayPiece piece = writer->append(frame.data[0], frame.nb_samples * bytesPerPair);
    sound.offset = piece.offset;
    sound.size = piece.size;
    const std::lock_guard lock(videoMutex);
    if (store->generation == generation && store->audioWriter) store->sounds.append(sound);
}
