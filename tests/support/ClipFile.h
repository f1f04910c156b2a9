// Clips that a test makes picture by picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Handles.h"

namespace test {

// A picture of one colour, packed RGBA; straight alpha.
quol::FramePtr makeRgba(int width, int height, int alpha, int red = 0, int green = 0, int blue = 0);

// `count` of them in black, their alpha alphaOf(0), alphaOf(1) and so on.
std::vector<quol::FramePtr> countingPictures(int count, int width = 64, int height = 48);
// What tells the first 60 pictures apart.
constexpr int alphaOf(int index) {
    return 10 + index % 60 * 4;
}

// Writes the pictures, all of one size and format, into a file whose name says which container.
// Each is a key picture, without loss where the codec has none. Throws std::runtime_error.
void writeClip(const std::string& path, AVCodecID codec,
               const std::vector<quol::FramePtr>& pictures, int fps = 25);

// A file of a test's own with two video streams: the first small, dark and of one picture, the
// second the larger, bright one that players choose; the path.
constexpr int firstStreamWidth = 32;
constexpr int firstStreamHeight = 24;
constexpr int bestStreamWidth = 64;
constexpr int bestStreamHeight = 48;
std::string twoStreamClip();

// A clip of a test's own of these pictures, packed RGBA; the path.
std::string alphaClip(const std::string& name, const std::vector<quol::FramePtr>& pictures);

// One PNG file for each picture, packed RGBA, numbered from 0 in a folder of a test's own; the
// pattern.
std::string pngSequence(const std::string& name, const std::vector<quol::FramePtr>& pictures);

// A WAVE file of a test's own of these samples, the channels in turn; the path.
std::string waveFile(const std::string& name, int sampleRate, int channels,
                     const std::vector<std::int16_t>& samples);

} // namespace test
