// Pictures of one colour and sound of one level: what comes out of them can be told beforehand.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "core/Handles.h"

namespace test {

struct Levels {
    int y = -1;
    int u = 128;
    int v = 128;
    bool operator==(const Levels&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Levels& levels);

constexpr Levels blackLevels{0, 128, 128}; // of a canvas that nothing lies on
// To tell sources by.
constexpr Levels grey{100, 90, 160};
constexpr Levels bright{200, 140, 110};
constexpr Levels dark{50, 120, 130};

// A planar 8-bit picture; `alpha` counts where the format has a plane of it.
quol::FramePtr plainPicture(int width, int height, const Levels& levels,
                            AVPixelFormat format = AV_PIX_FMT_YUV420P, std::uint8_t alpha = 255);

// Of a planar 4:2:0 picture at one of its pixels; -1 for a null picture and one that is not planar.
Levels levelsAt(const AVFrame* picture, int x, int y);

// 16-bit stereo from `pts` samples on.
quol::FramePtr plainSound(int samples, std::int16_t left, std::int16_t right, std::int64_t pts = 0,
                          int sampleRate = 48000);

// All samples of interleaved 16-bit sound, behind each other.
std::vector<std::int16_t> samplesOf(const AVFrame& sound);

} // namespace test
