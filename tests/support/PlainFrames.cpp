#include "support/PlainFrames.h"

#include <ostream>

#include "support/Frames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

std::ostream& operator<<(std::ostream& out, const Levels& levels) {
    return out << levels.y << ' ' << levels.u << ' ' << levels.v;
}

quol::FramePtr plainPicture(int width, int height, const Levels& levels, AVPixelFormat format,
                            std::uint8_t alpha) {
    quol::FramePtr picture = makePicture(width, height, format);
    if (!picture) return nullptr;
    fillPlane(*picture, 0, static_cast<std::uint8_t>(levels.y));
    fillPlane(*picture, 1, static_cast<std::uint8_t>(levels.u));
    fillPlane(*picture, 2, static_cast<std::uint8_t>(levels.v));
    fillPlane(*picture, 3, alpha);
    return picture;
}

Levels levelsAt(const AVFrame* picture, int x, int y) {
    if (picture == nullptr || picture->data[2] == nullptr) return {-1, -1, -1};
    const auto at = [picture](int plane, int column, int row) {
        return picture->data[plane][row * picture->linesize[plane] + column];
    };
    return {at(0, x, y), at(1, x / 2, y / 2), at(2, x / 2, y / 2)};
}

quol::FramePtr plainSound(int samples, std::int16_t left, std::int16_t right, std::int64_t pts,
                          int sampleRate) {
    quol::FramePtr sound = makeSound(samples, sampleRate, 2, AV_SAMPLE_FMT_S16, pts, 0.0);
    if (!sound) return nullptr;
    auto* values = reinterpret_cast<std::int16_t*>(sound->data[0]);
    for (int i = 0; i < samples; ++i) {
        *values++ = left;
        *values++ = right;
    }
    return sound;
}

std::vector<std::int16_t> samplesOf(const AVFrame& sound) {
    const auto* values = reinterpret_cast<const std::int16_t*>(sound.data[0]);
    const auto count = static_cast<std::ptrdiff_t>(sound.nb_samples) * sound.ch_layout.nb_channels;
    return {values, values + count};
}

} // namespace test
