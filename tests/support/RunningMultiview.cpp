#include "support/RunningMultiview.h"

#include <cmath>
#include <cstdlib>

namespace test {

Levels onWall(const Levels& levels) {
    const auto held = [](double level) {
        return static_cast<int>(std::lround(std::fmin(std::fmax(level, 0.0), 255.0)));
    };
    return {held((levels.y - 16.0) * 1.16438), held((levels.u - 127.5) * 1.13843 + 127.5),
            held((levels.v - 127.5) * 1.13843 + 127.5)};
}

RunningMultiview::RunningMultiview(int width, int height, double fps, LMultiview::Renderer renderer)
    : multiview(renderer), sink(1) {
    multiview.setVideoFormat(customVideo(width, height, fps));
    multiview.addSink(&sink);
    // The tick in the making may still be of the format that a new multiview has.
    waitUntil([&] {
        const quol::FramePtr picture = sink.latestPicture();
        return picture && picture->width == width && picture->height == height;
    });
}

RunningMultiview::~RunningMultiview() {
    multiview.removeSink(&sink);
}

// One that is in the making may still be of before the call; the one behind it is not.
quol::FramePtr RunningMultiview::nextPicture() {
    return sink.waitForPictures(sink.pictureCount() + 2) ? sink.latestPicture() : nullptr;
}

bool RunningMultiview::shows(int x, int y, const Levels& levels) {
    return waitUntil([&] {
        const quol::FramePtr picture = sink.latestPicture();
        const Levels seen = levelsAt(picture.get(), x, y);
        return std::abs(seen.y - levels.y) <= 1 && std::abs(seen.u - levels.u) <= 1 &&
               std::abs(seen.v - levels.v) <= 1;
    });
}

LMultiview::LayoutInfo RunningMultiview::tile(const std::string& key) {
    for (const LMultiview::LayoutInfo& info : multiview.getLayoutInfo()) {
        if (info.key == key) return info;
    }
    return {};
}

quol::FramePtr MultiviewConsumer::picture() {
    quol::FramePtr got;
    waitUntil([&] { return (got = ask()) != nullptr; });
    return got;
}

} // namespace test
