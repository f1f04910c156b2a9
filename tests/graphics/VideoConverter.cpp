#include "graphics/VideoConverter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <vector>

#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace {

using quol::FramePtr;
using quol::PicturePool;
using quol::PixelRect;
using quol::VideoConverter;

// Pixels of any value and rows of nothing, in turns of a few rows.
FramePtr someInk(int width, int height, bool withBlankRows = true) {
    FramePtr ink = PicturePool().get(width, height, AV_PIX_FMT_BGRA);
    std::mt19937 chance(7);
    for (int y = 0; y < height; ++y) {
        const bool blank = withBlankRows && y / 5 % 3 == 1;
        for (int x = 0; x < width * 4; ++x)
            ink->data[0][y * ink->linesize[0] + x] =
                blank ? 0 : static_cast<std::uint8_t>(chance());
    }
    return ink;
}

FramePtr videoOf(int width, int height, int value = 77) {
    FramePtr video = PicturePool().get(width, height, AV_PIX_FMT_YUVA420P);
    for (int plane = 0; plane < 4; ++plane) {
        const int rows = plane == 1 || plane == 2 ? (height + 1) / 2 : height;
        std::fill_n(video->data[plane], video->linesize[plane] * rows,
                    static_cast<std::uint8_t>(value));
    }
    return video;
}

FramePtr converted(const FramePtr& ink) {
    FramePtr video = videoOf(ink->width, ink->height);
    VideoConverter().convert(*ink, *video, {0, 0, ink->width, ink->height});
    return video;
}

int sample(const FramePtr& video, int plane, int x, int y) {
    return video->data[plane][y * video->linesize[plane] + x];
}

struct Extent {
    int width;
    int height;
};

Extent extentOf(const FramePtr& video, int plane) {
    const bool isChroma = plane == 1 || plane == 2;
    return isChroma ? Extent{(video->width + 1) / 2, (video->height + 1) / 2}
                    : Extent{video->width, video->height};
}

int largestDifference(const FramePtr& one, const FramePtr& other, int plane) {
    int largest = 0;
    const Extent extent = extentOf(one, plane);
    for (int y = 0; y < extent.height; ++y) {
        for (int x = 0; x < extent.width; ++x)
            largest =
                std::max(largest, std::abs(sample(one, plane, x, y) - sample(other, plane, x, y)));
    }
    return largest;
}

FramePtr plain(int width, int height, std::uint32_t argb) {
    FramePtr ink = PicturePool().get(width, height, AV_PIX_FMT_BGRA);
    for (int y = 0; y < height; ++y) {
        auto* const row = reinterpret_cast<std::uint32_t*>(ink->data[0] + y * ink->linesize[0]);
        std::fill_n(row, width, argb);
    }
    return ink;
}

TEST(VideoConverter, GivesTheKnownValuesOfColours) {
    struct Case {
        std::uint32_t argb;
        std::array<int, 4> yuva;
    };
    const std::vector<Case> cases = {
        {0x00000000, {16, 128, 128, 0}},    {0xFF000000, {16, 128, 128, 255}},
        {0xFFFFFFFF, {235, 128, 128, 255}}, {0xFFFF0000, {81, 90, 240, 255}},
        {0xFF00FF00, {145, 54, 34, 255}},   {0xFF0000FF, {41, 240, 110, 255}},
        {0x80800000, {49, 109, 184, 128}},  {0x01010101, {17, 128, 128, 1}}};
    for (const Case& each : cases) {
        for (const Extent size : {Extent{64, 8}, Extent{1, 1}, Extent{7, 5}}) {
            const FramePtr video = converted(plain(size.width, size.height, each.argb));
            for (int plane = 0; plane < 4; ++plane) {
                const Extent extent = extentOf(video, plane);
                for (int y = 0; y < extent.height; ++y) {
                    for (int x = 0; x < extent.width; ++x)
                        ASSERT_EQ(sample(video, plane, x, y), each.yuva[plane])
                            << std::hex << each.argb << std::dec << " plane " << plane << " at "
                            << x << ',' << y << " of " << size.width << 'x' << size.height;
                }
            }
        }
    }
}

TEST(VideoConverter, IsWhatSwscaleMakesToOneStep) {
    for (const bool withBlankRows : {false, true}) {
        const FramePtr ink = someInk(322, 94, withBlankRows);
        const FramePtr expected = videoOf(322, 94);
        quol::Scaler scaler;
        ASSERT_TRUE(scaler.scale(*ink, *expected, SWS_BILINEAR | SWS_ACCURATE_RND));
        const FramePtr video = converted(ink);
        for (int plane = 0; plane < 4; ++plane)
            EXPECT_LE(largestDifference(video, expected, plane), 1) << plane;
    }
}

TEST(VideoConverter, AlphaIsAsItWas) {
    const FramePtr ink = someInk(256, 3, false);
    for (int x = 0; x < 256; ++x)
        ink->data[0][x * 4 + 3] = static_cast<std::uint8_t>(x);
    const FramePtr video = converted(ink);
    for (int x = 0; x < 256; ++x)
        EXPECT_EQ(sample(video, 3, x, 0), x);
}

// Rows of nothing take another way than others; a single pixel must not be overlooked.
TEST(VideoConverter, NothingIsNothingButWhatIsBesideIt) {
    const FramePtr ink = plain(40, 20, 0);
    reinterpret_cast<std::uint32_t*>(ink->data[0] + 9 * ink->linesize[0])[33] = 0xFFFF0000;
    const FramePtr video = converted(ink);
    EXPECT_EQ(sample(video, 0, 33, 9), 81);
    EXPECT_EQ(sample(video, 3, 33, 9), 255);
    EXPECT_EQ(sample(video, 0, 32, 9), 16);
    // Half of a pair; three eighths of row 4, an eighth of row 5.
    EXPECT_EQ(sample(video, 2, 16, 4), 149);
    EXPECT_EQ(sample(video, 2, 16, 5), 135);
    EXPECT_EQ(sample(video, 2, 16, 3), 128);
    EXPECT_EQ(sample(video, 2, 16, 6), 128);
    EXPECT_EQ(sample(video, 2, 15, 4), 128);
    EXPECT_EQ(sample(video, 2, 17, 4), 128);
}

TEST(VideoConverter, PartsAreAsInTheWholeAndNothingElseIsWritten) {
    constexpr int width = 101;
    constexpr int height = 67;
    const FramePtr ink = someInk(width, height);
    const FramePtr whole = converted(ink);
    VideoConverter converter;
    for (const PixelRect part :
         {PixelRect{0, 0, 2, 2}, PixelRect{10, 20, 60, 40}, PixelRect{40, 0, 101, 8},
          PixelRect{98, 60, 101, 67}, PixelRect{0, 66, 101, 67}, PixelRect{100, 0, 101, 67}}) {
        const FramePtr video = videoOf(width, height);
        converter.convert(*ink, *video, part);
        for (int plane = 0; plane < 4; ++plane) {
            const int shift = plane == 1 || plane == 2 ? 1 : 0;
            const Extent extent = extentOf(video, plane);
            for (int y = 0; y < extent.height; ++y) {
                for (int x = 0; x < extent.width; ++x) {
                    const bool isInside = x >= part.left >> shift && y >= part.top >> shift &&
                                          x < (part.right + shift) >> shift &&
                                          y < (part.bottom + shift) >> shift;
                    ASSERT_EQ(sample(video, plane, x, y),
                              isInside ? sample(whole, plane, x, y) : 77)
                        << plane << " at " << x << ',' << y;
                }
            }
        }
    }
}

} // namespace
