#include "compositing/OverlayBlend.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/Handles.h"
#include "core/PicturePool.h"

namespace {

using quol::FramePtr;

std::uint8_t& at(AVFrame& frame, int plane, int x, int y) {
    return frame.data[plane][static_cast<std::ptrdiff_t>(y) * frame.linesize[plane] + x];
}

struct Plane {
    int number;
    int width;
    int height;
    int step; // samples of alpha for each of its own
};

std::vector<Plane> planesOf(const AVFrame& frame) {
    const int w = (frame.width + 1) / 2;
    const int h = (frame.height + 1) / 2;
    return {{0, frame.width, frame.height, 1}, {1, w, h, 2}, {2, w, h, 2}};
}

// Noise, with long stretches where the alpha is 0 and where it is 255.
FramePtr noise(int width, int height, AVPixelFormat format, std::mt19937& random) {
    FramePtr frame = quol::PicturePool().get(width, height, format);
    for (const Plane& plane : planesOf(*frame)) {
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x)
                at(*frame, plane.number, x, y) = static_cast<std::uint8_t>(random());
    }
    if (format != AV_PIX_FMT_YUVA420P) return frame;
    for (int y = 0; y < height; ++y) {
        int kind = 0;
        for (int x = 0; x < width; ++x) {
            if (x % 50 == 0) kind = static_cast<int>(random() % 3);
            at(*frame, 3, x, y) = kind == 0   ? 0
                                  : kind == 1 ? 255
                                              : static_cast<std::uint8_t>(random());
        }
    }
    return frame;
}

FramePtr copyOf(const AVFrame& frame) {
    FramePtr copy = quol::PicturePool().get(frame.width, frame.height,
                                            static_cast<AVPixelFormat>(frame.format));
    av_frame_copy(copy.get(), &frame);
    return copy;
}

int stingerFormula(int under, int over, int alpha) {
    return (over * alpha + (255 - alpha) * under) >> 8;
}

int titleFormula(int under, int over, int alpha) {
    const auto a = static_cast<float>(alpha / 255.0);
    const float rest = static_cast<float>(under) * (1.0F - a);
    const float title = a * static_cast<float>(over);
    return static_cast<int>(rest + title);
}

using Overlay = void (*)(AVFrame&, const AVFrame&);
using Formula = int (*)(int, int, int);

void expectFormula(Overlay overlayOn, Formula formula) {
    std::mt19937 random(7);
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{
             {1, 1}, {2, 2}, {3, 5}, {17, 9}, {64, 4}, {65, 3}, {640, 36}, {1001, 7}}) {
        FramePtr picture = noise(width, height, AV_PIX_FMT_YUV420P, random);
        FramePtr overlay = noise(width, height, AV_PIX_FMT_YUVA420P, random);
        const FramePtr before = copyOf(*picture);
        overlayOn(*picture, *overlay);
        for (const Plane& plane : planesOf(*picture)) {
            for (int y = 0; y < plane.height; ++y) {
                for (int x = 0; x < plane.width; ++x) {
                    const int alpha = at(*overlay, 3, x * plane.step, y * plane.step);
                    const int under = at(*before, plane.number, x, y);
                    const int over = at(*overlay, plane.number, x, y);
                    ASSERT_EQ(at(*picture, plane.number, x, y), formula(under, over, alpha))
                        << width << "x" << height << " plane " << plane.number << " at " << x << ","
                        << y << ": " << over << " at " << alpha << " over " << under;
                }
            }
        }
    }
}

TEST(OverlayBlend, StingerIsTheFormulaForEverySample) {
    expectFormula(quol::overlayStinger, stingerFormula);
}

TEST(OverlayBlend, TitlesAreTheFormulaForEverySample) {
    expectFormula(quol::overlayTitles, titleFormula);
}

// Every level over every other at every alpha: rows of 256, a picture of 256 rows for each alpha.
TEST(OverlayBlend, TitlesAreTheFormulaForEveryLevelAndAlpha) {
    FramePtr picture = quol::PicturePool().get(256, 256, AV_PIX_FMT_YUV420P);
    FramePtr overlay = quol::PicturePool().get(256, 256, AV_PIX_FMT_YUVA420P);
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                at(*picture, 0, x, y) = static_cast<std::uint8_t>(x);
                at(*overlay, 0, x, y) = static_cast<std::uint8_t>(y);
                at(*overlay, 3, x, y) = static_cast<std::uint8_t>(alpha);
            }
        }
        quol::overlayTitles(*picture, *overlay);
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x)
                ASSERT_EQ(at(*picture, 0, x, y), titleFormula(x, y, alpha)) << x << " " << y;
    }
}

TEST(OverlayBlend, WhatAStingerLeavesAloneIsOneLevelDarker) {
    EXPECT_EQ(stingerFormula(200, 17, 0), 199);
    EXPECT_EQ(stingerFormula(0, 17, 0), 0);
    EXPECT_EQ(stingerFormula(17, 200, 255), 199);
}

} // namespace
