#include "support/SteppedAnimation.h"

#include <cmath>
#include <cstdlib>

namespace test {

videoFormatProps lottieFormat(double fps) {
    videoFormatProps format;
    format.width = lottieWidth;
    format.height = lottieHeight;
    format.fps = fps;
    return format;
}

SteppedAnimation::SteppedAnimation(double fps) {
    animation.setVideoFormat(lottieFormat(fps));
    animation.addSink(&gate_);
}

SteppedAnimation::~SteppedAnimation() {
    gate_.open();
    animation.removeSink(&gate_);
}

bool SteppedAnimation::load(int id, const std::string& json) {
    const std::string path = writeFile("template " + std::to_string(id) + ".json", json);
    return animation.loadTemplate(id, path) && picture();
}

LottiePixel pixelAt(const quol::FramePtr& picture, int x, int y) {
    const AVFrame* const frame = picture.get();
    return {sampleAt(frame, 0, x, y), sampleAt(frame, 1, x, y), sampleAt(frame, 2, x, y),
            sampleAt(frame, 3, x, y)};
}

LottiePixel middleOf(const quol::FramePtr& picture) {
    return pixelAt(picture, lottieWidth / 2, lottieHeight / 2);
}

LottiePixel pixelOf(int red, int green, int blue, int alpha) {
    const double r = red / 255.0;
    const double g = green / 255.0;
    const double b = blue / 255.0;
    const auto rounded = [](double value) { return static_cast<int>(std::lround(value)); };
    return {rounded(16.0 + 65.481 * r + 128.553 * g + 24.966 * b),
            rounded(128.0 - 37.797 * r - 74.203 * g + 112.0 * b),
            rounded(128.0 + 112.0 * r - 93.786 * g - 18.214 * b), alpha};
}

bool operator==(const LottiePixel& one, const LottiePixel& other) {
    const auto near = [](int a, int b) { return std::abs(a - b) <= 3; };
    return near(one.y, other.y) && near(one.u, other.u) && near(one.v, other.v) &&
           near(one.alpha, other.alpha);
}

std::ostream& operator<<(std::ostream& out, const LottiePixel& pixel) {
    return out << pixel.y << ' ' << pixel.u << ' ' << pixel.v << " alpha " << pixel.alpha;
}

bool isTransparent(const quol::FramePtr& picture) {
    if (!picture) return false;
    for (int y = 0; y < picture->height; ++y) {
        for (int x = 0; x < picture->width; ++x) {
            const LottiePixel pixel = pixelAt(picture, x, y);
            if (pixel.y != 16 || pixel.u != 128 || pixel.v != 128 || pixel.alpha != 0) return false;
        }
    }
    return true;
}

int columnOf(const quol::FramePtr& picture) {
    int shown = -1;
    for (int i = 0; i < lottieWidth / 8; ++i) {
        if (alphaAt(picture, i * 8 + 4, lottieHeight / 2) < 128) continue;
        if (shown != -1) return -2;
        shown = i;
    }
    return shown;
}

} // namespace test
