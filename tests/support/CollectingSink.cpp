#include "support/CollectingSink.h"

#include <thread>

#include "core/FrameTime.h"

namespace test {

namespace {

std::int64_t now() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

void CollectingSink::pushVideoFrame(AVFrame* frame) {
    const std::lock_guard lock(mutex_);
    PictureSeen seen;
    seen.pts = frame->pts;
    seen.seconds = quol::frameTime(*frame).value_or(-1.0);
    seen.width = frame->width;
    seen.height = frame->height;
    seen.format = frame->format;
    const AVDictionaryEntry* entry = av_dict_get(frame->metadata, "timecode", nullptr, 0);
    if (entry != nullptr) seen.timecode = entry->value;
    seen.arrived = now();
    pictures_.push_back(seen);
    if (keep_ > 0) {
        keptPictures_.push_back(quol::cloneFrame(frame));
        if (keptPictures_.size() > keep_) keptPictures_.erase(keptPictures_.begin());
    }
    changed_.notify_all();
}

void CollectingSink::pushAudioFrame(AVFrame* frame) {
    const std::lock_guard lock(mutex_);
    sounds_.push_back({quol::frameTime(*frame).value_or(-1.0), frame->nb_samples,
                       frame->sample_rate, frame->ch_layout.nb_channels, frame->format, now()});
    if (keep_ > 0) {
        keptSounds_.push_back(quol::cloneFrame(frame));
        if (keptSounds_.size() > keep_) keptSounds_.erase(keptSounds_.begin());
    }
    changed_.notify_all();
}

void CollectingSink::flush() {
    const std::lock_guard lock(mutex_);
    events_.emplace_back("flush");
    ++flushes_;
    picturesAtFlush_ = pictures_.size();
    soundsAtFlush_ = sounds_.size();
    changed_.notify_all();
}

void CollectingSink::setPaused(bool paused) {
    const std::lock_guard lock(mutex_);
    events_.emplace_back(paused ? "paused" : "running");
}

std::vector<PictureSeen> CollectingSink::pictures() const {
    const std::lock_guard lock(mutex_);
    return pictures_;
}

std::vector<SoundSeen> CollectingSink::sounds() const {
    const std::lock_guard lock(mutex_);
    return sounds_;
}

std::vector<std::string> CollectingSink::events() const {
    const std::lock_guard lock(mutex_);
    return events_;
}

std::size_t CollectingSink::pictureCount() const {
    const std::lock_guard lock(mutex_);
    return pictures_.size();
}

std::size_t CollectingSink::soundCount() const {
    const std::lock_guard lock(mutex_);
    return sounds_.size();
}

std::vector<PictureSeen> CollectingSink::picturesSinceFlush() const {
    const std::lock_guard lock(mutex_);
    return {pictures_.begin() + static_cast<std::ptrdiff_t>(picturesAtFlush_), pictures_.end()};
}

std::vector<SoundSeen> CollectingSink::soundsSinceFlush() const {
    const std::lock_guard lock(mutex_);
    return {sounds_.begin() + static_cast<std::ptrdiff_t>(soundsAtFlush_), sounds_.end()};
}

std::size_t CollectingSink::flushCount() const {
    const std::lock_guard lock(mutex_);
    return flushes_;
}

namespace {

std::vector<quol::FramePtr> cloneAll(const std::vector<quol::FramePtr>& frames) {
    std::vector<quol::FramePtr> clones;
    for (const quol::FramePtr& frame : frames)
        clones.push_back(quol::cloneFrame(frame.get()));
    return clones;
}

} // namespace

std::vector<quol::FramePtr> CollectingSink::keptPictures() const {
    const std::lock_guard lock(mutex_);
    return cloneAll(keptPictures_);
}

std::vector<quol::FramePtr> CollectingSink::keptSounds() const {
    const std::lock_guard lock(mutex_);
    return cloneAll(keptSounds_);
}

quol::FramePtr CollectingSink::latestPicture() const {
    const std::lock_guard lock(mutex_);
    return keptPictures_.empty() ? nullptr : quol::cloneFrame(keptPictures_.back().get());
}

quol::FramePtr CollectingSink::latestSound() const {
    const std::lock_guard lock(mutex_);
    return keptSounds_.empty() ? nullptr : quol::cloneFrame(keptSounds_.back().get());
}

void CollectingSink::clear() {
    const std::lock_guard lock(mutex_);
    pictures_.clear();
    sounds_.clear();
    events_.clear();
    picturesAtFlush_ = 0;
    soundsAtFlush_ = 0;
    keptPictures_.clear();
    keptSounds_.clear();
}

bool CollectingSink::waitForPictures(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return pictures_.size() >= count; });
}

bool CollectingSink::waitForSounds(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return sounds_.size() >= count; });
}

void SlowSink::pushVideoFrame(AVFrame* frame) {
    CollectingSink::pushVideoFrame(frame);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

void PauseGateSink::pushAudioFrame(AVFrame* frame) {
    CollectingSink::pushAudioFrame(frame);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

void PauseGateSink::setPaused(bool paused) {
    CollectingSink::setPaused(paused);
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return !closed_; });
}

void PauseGateSink::close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
}

void PauseGateSink::open() {
    const std::lock_guard lock(mutex_);
    closed_ = false;
    opened_.notify_all();
}

std::string pauseToldLast(const CollectingSink& sink) {
    std::string latest;
    for (const std::string& event : sink.events()) {
        if (event != "flush") latest = event;
    }
    return latest;
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace test
