// What the tests of a mixer's pictures share: samples looked at, and images made on the spot.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "support/CapturedStream.h"
#include "support/PlainFrames.h"

namespace test {

// Four components of a pixel of a packed picture.
inline std::array<int, 4> packedAt(const AVFrame& picture, int x, int y) {
    const std::uint8_t* const pixel = picture.data[0] + y * picture.linesize[0] + x * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

// What a blend of the processor path makes of one sample.
inline int blended(int under, int over, int alpha) {
    return ((255 - alpha) * under + alpha * over) >> 8;
}

inline Levels blended(const Levels& under, const Levels& over, int alpha) {
    return {blended(under.y, over.y, alpha), blended(under.u, over.u, alpha),
            blended(under.v, over.v, alpha)};
}

// Levels all over a picture that must be plain; -1 in all where it is not.
inline Levels levelsOf(const AVFrame* picture) {
    const Levels first = levelsAt(picture, 0, 0);
    for (int y = 0; picture != nullptr && y < picture->height; ++y) {
        for (int x = 0; x < picture->width; ++x) {
            if (levelsAt(picture, x, y) != first) return {-1, -1, -1};
        }
    }
    return first;
}

// A file with these bytes, in the test's own folder.
inline std::string fileOf(const std::string& name, const std::string& bytes) {
    const std::string path = temporaryPath(name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

// An image file of one colour, 64x48.
inline std::string plainImage(const std::string& name, std::uint8_t level) {
    return fileOf(
        name, "P6\n64 48\n255\n" + std::string(std::size_t{64} * 48 * 3, static_cast<char>(level)));
}

} // namespace test
