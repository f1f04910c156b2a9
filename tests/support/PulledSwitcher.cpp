#include "support/PulledSwitcher.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "compositing/PictureFit.h"
#include "core/Scaler.h"
#include "support/Frames.h"

namespace test {

namespace {

// Keeps the thread that pushes until it is let go.
class Barrier : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override {}
    void pushAudioFrame(AVFrame* /*frame*/) override {
        std::unique_lock lock(mutex_);
        isReached_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }

    void waitUntilReached() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isReached_; });
    }
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    bool isReached_ = false;
    bool isOpen_ = false;
};

} // namespace

// The switcher's own thread is held in the middle of a tick while the consumer signs on, so that it
// cannot be about to begin another: that tick is its last.
PulledSwitcher::PulledSwitcher(const videoFormatProps& format) {
    Barrier barrier;
    switcher.addSink(&barrier);
    barrier.waitUntilReached();
    switcher.addPullConsumer();
    barrier.open();
    switcher.removeSink(&barrier);
    switcher.setVideoFormat(format);
    // It may still be on its way out of that tick; a request waits for that, but not for long.
    EXPECT_TRUE(waitUntil([this] {
        const std::int64_t before = stats().frameCount;
        tick();
        return stats().frameCount == before + 1;
    }));
    switcher.addSink(&sink);
}

PulledSwitcher::~PulledSwitcher() {
    while (LCharacter* const titles = switcher.getCGByIndex(0))
        switcher.removeCG(titles);
    switcher.setProgram(nullptr);
    switcher.setPreview(nullptr);
    switcher.setExtAudioObject(nullptr);
    switcher.removeSink(&sink);
    switcher.removePullConsumer();
}

LSwitcher::SwitcherStats PulledSwitcher::stats() {
    LSwitcher::SwitcherStats read;
    switcher.getStats(read);
    return read;
}

quol::FramePtr noisePicture(unsigned seed, int width, int height, AVPixelFormat format) {
    return makePicture(width, height, format, 0, {1, 25}, seed);
}

namespace {

// Copies what lies on the canvas, sample by sample; the rest is black.
void copyPlane(const AVFrame& scaled, const quol::PicturePlace& place, int plane, AVFrame& canvas) {
    const int size = plane == 0 ? 1 : 2;
    for (int y = 0; y < canvas.height / size; ++y) {
        for (int x = 0; x < canvas.width / size; ++x) {
            const int column = x - place.left / size;
            const int row = y - place.top / size;
            const bool isInside = column >= 0 && row >= 0 &&
                                  column < (place.width + size - 1) / size &&
                                  row < (place.height + size - 1) / size;
            canvas.data[plane][y * canvas.linesize[plane] + x] =
                isInside ? scaled.data[plane][row * scaled.linesize[plane] + column]
                         : static_cast<std::uint8_t>(plane == 0 ? 0 : 128);
        }
    }
}

} // namespace

quol::FramePtr fittedByHand(const AVFrame& source, int mode, int width, int height, int flags) {
    const quol::PicturePlace place =
        quol::placeOf(quol::scaleModeOf(mode), source.width, source.height, width, height);
    const quol::FramePtr scaled = plainPicture(place.width, place.height, {});
    quol::FramePtr canvas = plainPicture(width, height, {});
    if (!scaled || !canvas || !quol::Scaler().scale(source, *scaled, flags)) return nullptr;
    for (int plane = 0; plane < 3; ++plane)
        copyPlane(*scaled, place, plane, *canvas);
    return canvas;
}

bool sharesMemory(const quol::FramePtr& one, const quol::FramePtr& other) {
    return one && other && one->data[0] == other->data[0];
}

} // namespace test
