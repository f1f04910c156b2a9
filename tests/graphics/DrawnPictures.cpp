// Images and clips as items draw them.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/Handles.h"
#include "graphics/CGImages.h"
#include "graphics/ItemPicture.h"
#include "support/CapturedStream.h"
#include "support/Page.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using test::difference;
using test::isBlank;
using test::largestDifference;
using test::Page;
using test::placed;
using test::show;

constexpr int width = test::pageWidth;
constexpr int height = test::pageHeight;

// ----------------------------------------------------------------------------------- images

// A name of its own at every call: what is read is kept for the whole process, which may run a test
// several times.
std::string freshName(const std::string& name) {
    static int number = 0;
    return std::to_string(++number) + name;
}

using Pixel = std::array<std::uint8_t, 4>; // red, green, blue, alpha, not premultiplied

// Writes a PNG of one colour.
std::string writeImage(const std::string& name, int w, int h, const Pixel& pixel) {
    const quol::FramePtr frame = quol::makeFrame();
    frame->width = w;
    frame->height = h;
    frame->format = AV_PIX_FMT_RGBA;
    EXPECT_GE(av_frame_get_buffer(frame.get(), 32), 0);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x)
            std::memcpy(frame->data[0] + y * frame->linesize[0] + x * 4, pixel.data(), 4);
    }
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    const quol::CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = w;
    encoder->height = h;
    encoder->pix_fmt = AV_PIX_FMT_RGBA;
    encoder->time_base = {1, 25};
    const quol::PacketPtr packet = quol::makePacket();
    EXPECT_GE(avcodec_open2(encoder.get(), codec, nullptr), 0);
    EXPECT_GE(avcodec_send_frame(encoder.get(), frame.get()), 0);
    EXPECT_GE(avcodec_receive_packet(encoder.get(), packet.get()), 0);
    std::string path = test::temporaryPath(name);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(packet->data), packet->size);
    return path;
}

std::uint32_t firstPixel(cairo_surface_t* surface) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, cairo_image_surface_get_data(surface), 4);
    return pixel;
}

Page imagePage(const std::string& path, float x, float y, int w, int h, float alpha = 1.0F) {
    LCGImageItem item;
    placed(item, x, y, w, h);
    item.props.path = path;
    item.alpha = alpha;
    Page page;
    show(page, item);
    return page;
}

TEST(Images, AreScaledToTheirBox) {
    const std::string path = writeImage("scaled.png", 8, 4, {255, 0, 0, 255});
    const Page page = imagePage(path, 40.0F, 30.0F, 160, 40);
    // Enlarged, the outermost pixels fade out: ten (five) pixels to both sides of the edge.
    EXPECT_EQ(page.at(52, 37), 0xFFFF0000U);
    EXPECT_EQ(page.at(187, 62), 0xFFFF0000U);
    EXPECT_EQ(page.at(28, 50), 0U);
    EXPECT_EQ(page.at(211, 50), 0U);
    EXPECT_EQ(page.at(100, 23), 0U);
    EXPECT_EQ(page.at(100, 76), 0U);
}

TEST(Images, LieToThePixelAtTheirOwnSize) {
    const std::string path = writeImage("own_size.png", 30, 20, {0, 255, 0, 255});
    for (const auto& [w, h] : {std::pair(0, 0), std::pair(30, 20), std::pair(-5, 20)}) {
        const Page page = imagePage(path, 40.0F, 30.0F, w, h);
        EXPECT_EQ(page.at(40, 30), 0xFF00FF00U);
        EXPECT_EQ(page.at(69, 49), 0xFF00FF00U);
        EXPECT_EQ(page.at(39, 30), 0U);
        EXPECT_EQ(page.at(70, 49), 0U);
        EXPECT_EQ(page.at(40, 29), 0U);
        EXPECT_EQ(page.at(69, 50), 0U);
    }
}

// As cairo scales them, but for the rounding of positions to parts of a pixel.
TEST(Images, LookLikeAPlainScaledPaint) {
    const std::string path = test::mediaPath("still.png");
    const quol::SurfacePtr image = quol::loadImageSurface(path);
    ASSERT_NE(image, nullptr);
    for (const auto& [w, h] : {std::pair(333, 111), std::pair(50, 200), std::pair(37, 23)}) {
        const Page drawn = imagePage(path, 40.0F, 30.0F, w, h, 0.5F);
        const Page wanted;
        cairo_translate(wanted.cr.get(), 40.0, 30.0);
        cairo_scale(wanted.cr.get(),
                    static_cast<double>(w) / cairo_image_surface_get_width(image.get()),
                    static_cast<double>(h) / cairo_image_surface_get_height(image.get()));
        cairo_set_source_surface(wanted.cr.get(), image.get(), 0.0, 0.0);
        cairo_paint_with_alpha(wanted.cr.get(), 0.5);
        EXPECT_LE(largestDifference(drawn, wanted), 8) << w << "x" << h;
        EXPECT_FALSE(isBlank(drawn));
    }
}

TEST(Images, AreReadOnce) {
    const std::string name = freshName("once.png");
    const std::string path = writeImage(name, 4, 4, {255, 0, 0, 255});
    const quol::SurfacePtr first = quol::loadImageSurface(path);
    ASSERT_NE(first, nullptr);
    writeImage(name, 4, 4, {0, 255, 0, 255});
    EXPECT_EQ(quol::loadImageSurface(path).get(), first.get());
    std::filesystem::remove(path);
    EXPECT_EQ(quol::loadImageSurface(path).get(), first.get());
    EXPECT_EQ(firstPixel(first.get()), 0xFFFF0000U);
}

TEST(Images, ThatAreMissingAreTriedAgain) {
    const std::string name = freshName("late.png");
    const std::string path = test::temporaryPath(name);
    EXPECT_EQ(quol::loadImageSurface(path), nullptr);
    EXPECT_TRUE(isBlank(imagePage(path, 10.0F, 10.0F, 50, 50)));
    writeImage(name, 4, 4, {255, 0, 0, 255});
    EXPECT_EQ(imagePage(path, 10.0F, 10.0F, 50, 50).at(30, 30), 0xFFFF0000U);
}

// The decoder's pictures are multiplied in whole numbers, cairo's own reader rounds.
TEST(Images, OfTheCapitalEndingComeFromTheDecoder) {
    const Pixel pixel = {201, 99, 255, 100}; // 201 * 100 / 255 = 78.8, 99 * 100 / 255 = 38.8
    const quol::SurfacePtr lower = quol::loadImageSurface(writeImage("a.png", 4, 4, pixel));
    const quol::SurfacePtr upper = quol::loadImageSurface(writeImage("A.PNG", 4, 4, pixel));
    ASSERT_NE(lower, nullptr);
    ASSERT_NE(upper, nullptr);
    EXPECT_EQ(firstPixel(lower.get()), 0x644F2764U);
    EXPECT_EQ(firstPixel(upper.get()), 0x644E2664U);
}

TEST(Images, OfAWrongEndingComeFromTheDecoderToo) {
    const std::string path = test::temporaryPath("really_ppm.png");
    std::ofstream(path, std::ios::binary) << "P6\n2 2\n255\n" << std::string(12, '\xFF');
    const quol::SurfacePtr surface = quol::loadImageSurface(path);
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(firstPixel(surface.get()), 0xFFFFFFFFU);
}

TEST(Images, WithAlphaLetThroughWhatIsBehind) {
    const std::string path = writeImage("half.png", 4, 4, {255, 255, 255, 51});
    EXPECT_EQ(imagePage(path, 40.0F, 30.0F, 0, 0).at(41, 31), 0x33333333U);
    EXPECT_NEAR(imagePage(path, 40.0F, 30.0F, 0, 0, 0.5F).alphaAt(41, 31), 26, 1);
}

// ------------------------------------------------------------------------------------ clips

// Ten pictures of 160x90.
const std::string& clip() {
    static const std::string path = test::mediaPath("seq/seq_%04d.png");
    return path;
}

// A picture of the clip as it comes from its file.
quol::SurfacePtr clipPicture(int number) {
    char name[64];
    std::snprintf(name, sizeof name, "seq/seq_%04d.png", number);
    return quol::loadImageSurface(test::mediaPath(name));
}

Page plainPicture(cairo_surface_t* surface, double x, double y, double alpha) {
    Page page;
    cairo_set_source_surface(page.cr.get(), surface, x, y);
    cairo_paint_with_alpha(page.cr.get(), alpha);
    return page;
}

struct Clip {
    Clip(int w, int h, bool loop) {
        placed(item, 40.0F, 30.0F, w, h);
        item.moveLoop = loop;
        opened = item.reader->open(clip());
    }
    Page next() {
        Page page;
        show(page, item);
        return page;
    }
    LCGVideoItem item;
    bool opened = false;
};

TEST(Clips, ShowAPictureATickAndEnd) {
    Clip video(160, 90, false);
    ASSERT_TRUE(video.opened);
    EXPECT_EQ(video.item.reader->width(), 160);
    EXPECT_EQ(video.item.reader->height(), 90);
    for (int number = 1; number <= 10; ++number) {
        const quol::SurfacePtr picture = clipPicture(number);
        ASSERT_NE(picture, nullptr);
        ASSERT_EQ(difference(video.next(), plainPicture(picture.get(), 40.0, 30.0, 1.0)), "")
            << number;
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(isBlank(video.next()));
}

TEST(Clips, BeginAgainBehindOneEmptyTick) {
    Clip video(160, 90, true);
    ASSERT_TRUE(video.opened);
    video.item.alpha = 0.5F;
    for (int round = 0; round < 3; ++round) {
        for (const int number : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) {
            const Page page = video.next();
            if (number > 2 && number < 10) continue;
            const Page wanted = plainPicture(clipPicture(number).get(), 40.0, 30.0, 0.5);
            ASSERT_EQ(difference(page, wanted), "") << round << ", picture " << number;
        }
        EXPECT_TRUE(isBlank(video.next())) << round;
    }
}

TEST(Clips, KeepTheSizeOfTheirFirstPicture) {
    Clip video(80, 60, true);
    ASSERT_TRUE(video.opened);
    const auto reaches = [](const Page& page, int x, int y) {
        return page.alphaAt(x, y) == 255 && page.alphaAt(x + 1, y) == 0 &&
               page.alphaAt(x, y + 1) == 0;
    };
    EXPECT_TRUE(reaches(video.next(), 119, 89));
    video.item.w = 200;
    video.item.h = 20;
    EXPECT_TRUE(reaches(video.next(), 119, 89));
}

TEST(Clips, WithAlphaArePremultiplied) {
    LCGVideoItem item;
    placed(item, 40.0F, 30.0F, 16, 16);
    ASSERT_TRUE(item.reader->open(writeImage("alpha_clip.png", 16, 16, {201, 99, 255, 100})));
    Page page;
    show(page, item);
    EXPECT_EQ(page.at(45, 35), 0x644E2664U);
}

TEST(Clips, StandStillWhileHidden) {
    Clip video(160, 90, false);
    ASSERT_TRUE(video.opened);
    video.next();
    video.item.show = false;
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(isBlank(video.next()));
    video.item.show = true;
    EXPECT_EQ(difference(video.next(), plainPicture(clipPicture(2).get(), 40.0, 30.0, 1.0)), "");
}

TEST(Clips, WithPicturesOutOfOrderLoseNone) {
    LCGVideoItem item;
    placed(item, 0.0F, 0.0F, 64, 36);
    item.moveLoop = false;
    ASSERT_TRUE(item.reader->open(test::mediaPath("h264_aac.mp4")));
    int pictures = 0;
    for (int tick = 0; tick < 120; ++tick) {
        Page page;
        show(page, item);
        if (isBlank(page)) break;
        ++pictures;
    }
    EXPECT_EQ(pictures, 100);
}

} // namespace
