#include "support/RunningMixer.h"

#include <filesystem>
#include <iterator>
#include <utility>

#include "compositing/LayerState.h"
#include "core/ScaledPicture.h"

namespace test {

void WatchedSource::addSink(LSink* sink) {
    ++added;
    HandSource::addSink(sink);
}

void WatchedSource::removeSink(LSink* sink) {
    ++removed;
    HandSource::removeSink(sink);
}

std::size_t WatchedSource::sinkCount() {
    const std::lock_guard lock(sinksMutex);
    return sinks.size();
}

AVFrame* PulledSource::renderVideoFrame() {
    ++renders;
    const std::lock_guard lock(mutex_);
    return quol::cloneFrame(picture_.get()).release();
}

void PulledSource::show(quol::FramePtr picture) {
    const std::lock_guard lock(mutex_);
    picture_ = std::move(picture);
}

RunningMixer::RunningMixer(const videoFormatProps& format, std::size_t keep) : sink(keep) {
    mixer.setVideoFormat(format);
    mixer.addSink(&sink);
    // The tick in the making may still be of the format that a new mixer has.
    sink.waitForSounds(3);
    sink.clear();
}

RunningMixer::~RunningMixer() {
    mixer.removeSink(&sink);
}

// One that is in the making may still be of before the call; the one behind it is not.
quol::FramePtr RunningMixer::nextPicture() {
    return sink.waitForPictures(sink.pictureCount() + 2) ? sink.latestPicture() : nullptr;
}

quol::FramePtr RunningMixer::nextSound() {
    return sink.waitForSounds(sink.soundCount() + 2) ? sink.latestSound() : nullptr;
}

bool RunningMixer::give(const std::string& layer, LObject& source, const quol::FramePtr& picture) {
    return waitUntil([&] {
        source.distributeVideoFrame(picture.get());
        bool taken = false;
        mixer.editLayer(layer, [&](LLayerItem& item) {
            const quol::FramePtr& last = item.state->picture.lastFrame;
            const quol::FramePtr& key = item.state->key.lastFrame;
            taken = (last && item.source == &source && quol::isSamePicture(*last, *picture)) ||
                    (key && item.keySource == &source && quol::isSamePicture(*key, *picture));
        });
        return taken;
    });
}

bool RunningMixer::shows(int x, int y, const Levels& levels) {
    return waitUntil([&] { return test::levelsAt(sink.latestPicture().get(), x, y) == levels; });
}

} // namespace test
