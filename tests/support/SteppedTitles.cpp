#include "support/SteppedTitles.h"

#include <chrono>

namespace test {

namespace {

constexpr std::chrono::seconds limit(20);
constexpr double soon = 1000.0; // pictures a second, so that no test waits for the clock

} // namespace

void GateSink::pushVideoFrame(AVFrame* frame) {
    std::unique_lock lock(mutex_);
    picture_ = quol::cloneFrame(frame);
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_ || !picture_; });
}

void GateSink::pushAudioFrame(AVFrame* /*frame*/) {}

quol::FramePtr GateSink::waitForPicture(std::unique_lock<std::mutex>& lock) {
    changed_.wait_for(lock, limit, [this] { return picture_ != nullptr; });
    return quol::cloneFrame(picture_.get());
}

quol::FramePtr GateSink::held() {
    std::unique_lock lock(mutex_);
    return waitForPicture(lock);
}

quol::FramePtr GateSink::next() {
    std::unique_lock lock(mutex_);
    waitForPicture(lock);
    picture_.reset();
    changed_.notify_all();
    return waitForPicture(lock);
}

void GateSink::open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
}

SteppedTitles::SteppedTitles() {
    character.setFPS(soon);
    character.addSink(&gate_);
    gate_.held();
}

SteppedTitles::~SteppedTitles() {
    gate_.open();
    character.removeSink(&gate_);
}

quol::FramePtr SteppedTitles::step(int times) {
    quol::FramePtr latest;
    for (int i = 0; i < times; ++i)
        latest = step();
    return latest;
}

LCGRectProps panelOf(const char* color) {
    LCGRectProps props;
    props.bgType = "Color";
    props.bgColor = color;
    return props;
}

int sampleAt(const AVFrame* picture, int plane, int x, int y) {
    if (picture == nullptr) return -1;
    const int shift = plane == 1 || plane == 2 ? 1 : 0;
    return picture->data[plane][(y >> shift) * picture->linesize[plane] + (x >> shift)];
}

bool samePicture(const quol::FramePtr& one, const quol::FramePtr& other) {
    return one && other && one->data[0] == other->data[0];
}

std::vector<std::uint8_t> samplesShown(const AVFrame& picture) {
    std::vector<std::uint8_t> all;
    for (int plane = 0; plane < 4; ++plane) {
        const int shift = plane == 1 || plane == 2 ? 1 : 0;
        for (int row = 0; row < picture.height >> shift; ++row) {
            const std::uint8_t* const begin =
                picture.data[plane] + static_cast<std::ptrdiff_t>(row) * picture.linesize[plane];
            all.insert(all.end(), begin, begin + (picture.width >> shift));
        }
    }
    return all;
}

int inked(const quol::FramePtr& picture, int left, int top, int right, int bottom) {
    int count = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x)
            count += alphaAt(picture, x, y) > 0 ? 1 : 0;
    return count;
}

} // namespace test
