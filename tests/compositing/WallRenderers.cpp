// The two ways to draw a multiview's wall: that they draw the same, and what they keep.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "compositing/TileInk.h"
#include "compositing/Wall.h"
#include "support/Frames.h"
#include "support/Instrumented.h"
#include "support/PlainFrames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using quol::MultiviewLayout;
using quol::TileRect;
using quol::Wall;
using quol::WallRenderer;
using quol::WallTile;
using test::Levels;
using test::plainPicture;

// All that sources send, told apart by how a renderer reads them.
constexpr AVPixelFormat everyForm[] = {
    AV_PIX_FMT_GRAY8,   AV_PIX_FMT_YA8,      AV_PIX_FMT_NV12,     AV_PIX_FMT_NV16,
    AV_PIX_FMT_NV21,    AV_PIX_FMT_NV24,     AV_PIX_FMT_YVYU422,  AV_PIX_FMT_YUYV422,
    AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV410P,
    AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUV440P,  AV_PIX_FMT_YUVA444P, AV_PIX_FMT_BGR24,
    AV_PIX_FMT_ARGB,    AV_PIX_FMT_GBRP};

constexpr AVPixelFormat forms[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P,
                                   AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24,   AV_PIX_FMT_RGBA,
                                   AV_PIX_FMT_BGRA,    AV_PIX_FMT_NV12,    AV_PIX_FMT_YUYV422,
                                   AV_PIX_FMT_YUVA420P};

// Smooth, so that two ways to read between its pixels agree, and of colours that RGB has.
quol::FramePtr smoothPicture(int width, int height, AVPixelFormat format, int number) {
    quol::FramePtr picture = test::makePicture(width, height, format, number);
    const AVPixFmtDescriptor& form = *av_pix_fmt_desc_get(format);
    const bool isRgb = (form.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    for (int i = 0; i < form.nb_components; ++i) {
        const bool isChroma = !isRgb && (i == 1 || i == 2);
        const bool isAlpha =
            (form.flags & AV_PIX_FMT_FLAG_ALPHA) != 0 && i == form.nb_components - 1;
        const int columns = isChroma ? AV_CEIL_RSHIFT(width, form.log2_chroma_w) : width;
        const int rows = isChroma ? AV_CEIL_RSHIFT(height, form.log2_chroma_h) : height;
        std::vector<double> wave(static_cast<std::size_t>(columns)); // the same in all rows
        for (int x = 0; x < columns; ++x) {
            const double across = static_cast<double>(x) / columns;
            wave[static_cast<std::size_t>(x)] =
                isAlpha ? 200.0 + 50.0 * across : 38.0 * std::sin(5.0 * across + number + i);
        }
        const int step = form.comp[i].step;
        for (int y = 0; y < rows; ++y) {
            const double down = 20.0 * std::cos(4.0 * static_cast<double>(y) / rows + i);
            const double* from = wave.data();
            std::uint8_t* to = picture->data[form.comp[i].plane] +
                               y * picture->linesize[form.comp[i].plane] + form.comp[i].offset;
            for (int x = 0; x < columns; ++x, ++from, to += step) {
                double level = isAlpha ? *from : 126.0 + *from + down;
                if (isChroma) level = 128.0 + (level - 126.0) * 0.35;
                *to = static_cast<std::uint8_t>(level);
            }
        }
    }
    return picture;
}

// A wall with something in every tile: pictures of all forms, labels, meters, all tallies.
Wall fullWall(int orientation, int size, int width, int height) {
    const MultiviewLayout layout(orientation, size, height);
    Wall wall;
    wall.width = width;
    wall.height = height;
    const auto add = [&](const TileRect& rect, const std::string& name) {
        const int i = static_cast<int>(wall.tiles.size());
        WallTile tile;
        tile.id = static_cast<std::uint64_t>(i + 1);
        tile.rect = rect;
        if (i % 7 != 5) tile.picture = smoothPicture(128 + i % 3, 72 + i % 2, forms[i % 10], i);
        tile.tally = i % 3;
        tile.name = name;
        tile.hasMeter = i % 4 != 3;
        tile.litLeft = i * 5 % 31;
        tile.litRight = i * 11 % 31;
        wall.tiles.push_back(std::move(tile));
    };
    const bool isWide = orientation < 2;
    for (int row = 1; row <= (isWide ? size : 2 * size); ++row) {
        for (int column = 1; column <= (isWide ? 2 * size : size); ++column)
            add(quol::tileRect(layout.cell(row, column, 0), layout.seam(), width, height),
                "Cam " + std::to_string(row * 10 + column));
    }
    add(quol::tileRect(layout.program(), 0.0F, width, height), "Program");
    add(quol::tileRect(layout.preview(), 0.0F, width, height), "Preview");
    return wall;
}

struct Differences {
    int largest = 0;
    int beyondTwo = 0;
    int samples = 0;
};

Differences differencesOf(const AVFrame& a, const AVFrame& b) {
    int far[256] = {}; // how many samples are that far apart
    Differences found;
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int columns = (a.width + shift) >> shift;
        const int rows = (a.height + shift) >> shift;
        for (int y = 0; y < rows; ++y) {
            const std::uint8_t* one = a.data[plane] + y * a.linesize[plane];
            const std::uint8_t* other = b.data[plane] + y * b.linesize[plane];
            for (int x = 0; x < columns; ++x)
                ++far[std::abs(*one++ - *other++)];
        }
        found.samples += columns * rows;
    }
    for (int away = 0; away < 256; ++away) {
        if (far[away] > 0) found.largest = away;
        if (away > 2) found.beyondTwo += far[away];
    }
    return found;
}

bool areEqual(const AVFrame& a, const AVFrame& b) {
    return differencesOf(a, b).largest == 0;
}

class WallRenderers : public testing::Test {
protected:
    std::unique_ptr<WallRenderer> processor = quol::makeProcessorWall();
    std::unique_ptr<WallRenderer> graphics = quol::makeGraphicsWall(quol::GraphicsDriver::any);

    void SetUp() override { ASSERT_TRUE(graphics) << "no OpenGL, not even on the processor"; }

    void expectAlike(const Wall& wall, const std::string& what) {
        const quol::FramePtr a = processor->render(wall);
        const quol::FramePtr b = graphics->render(wall);
        ASSERT_TRUE(a && b);
        ASSERT_EQ(a->width, b->width);
        ASSERT_EQ(a->height, b->height);
        ASSERT_EQ(a->format, b->format);
        EXPECT_EQ(b->color_range, AVCOL_RANGE_JPEG);
        const Differences found = differencesOf(*a, *b);
        EXPECT_LE(found.largest, 3) << what;
        EXPECT_LE(found.beyondTwo, found.samples / 500) << what;
    }
};

using Both = testing::TestWithParam<bool>;

std::unique_ptr<WallRenderer> rendererOf(bool isGraphics) {
    return isGraphics ? quol::makeGraphicsWall(quol::GraphicsDriver::any)
                      : quol::makeProcessorWall();
}

WallTile tileOf(std::uint64_t id, const TileRect& rect, quol::FramePtr picture) {
    WallTile tile;
    tile.id = id;
    tile.rect = rect;
    tile.picture = std::move(picture);
    return tile;
}

} // namespace

// Smaller where a sanitizer looks on: every tile, label and meter is drawn all the same.
TEST_F(WallRenderers, DrawTheSameWallInEveryOrientationAndGrid) {
    constexpr int width = test::isInstrumented ? 320 : 640;
    constexpr int height = test::isInstrumented ? 180 : 360;
    for (int orientation = 0; orientation < 4; ++orientation) {
        for (const int size : {1, 2, 3, 5}) {
            const Wall wall = fullWall(orientation, size, width, height);
            expectAlike(wall, std::to_string(orientation) + " " + std::to_string(size));
        }
    }
}

TEST_F(WallRenderers, DrawTheSameOfEveryForm) {
    for (const AVPixelFormat format : everyForm) {
        for (const auto& [width, height] : {std::pair(128, 72), std::pair(65, 37)}) {
            Wall wall;
            wall.width = 160;
            wall.height = 90;
            wall.tiles.push_back(
                tileOf(1, {0, 0, 160, 90}, smoothPicture(width, height, format, 2)));
            expectAlike(wall, av_get_pix_fmt_name(format));
            // Not because both have drawn nothing.
            EXPECT_GT(test::levelsAt(processor->render(wall).get(), 80, 40).y, 40)
                << av_get_pix_fmt_name(format);
        }
    }
}

// 10 bits are reduced to 8 by the converter on both ways.
TEST_F(WallRenderers, DrawTheSameOfTenBits) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE}) {
        quol::FramePtr picture = test::makePicture(64, 36, format, 0);
        for (int plane = 0; plane < 3; ++plane) {
            auto* const samples = reinterpret_cast<std::uint16_t*>(picture->data[plane]);
            const int rows = plane > 0 && format == AV_PIX_FMT_YUV420P10LE ? 18 : 36;
            std::fill_n(samples, picture->linesize[plane] / 2 * rows,
                        static_cast<std::uint16_t>(plane == 0 ? 400 : 480 + 40 * plane));
        }
        Wall wall;
        wall.width = 160;
        wall.height = 90;
        wall.tiles.push_back(tileOf(1, {0, 0, 160, 90}, std::move(picture)));
        expectAlike(wall, av_get_pix_fmt_name(format));
        EXPECT_NEAR(test::levelsAt(processor->render(wall).get(), 80, 40).y, 98, 2);
    }
}

// YUV reaches beyond RGB: both bring it back.
TEST_F(WallRenderers, DrawTheSameOfColoursThatNoRgbHas) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
        for (const int y : {0, 16, 60, 126, 200, 235, 255}) {
            for (const int u : {0, 60, 128, 200, 255}) {
                for (const int v : {0, 70, 128, 190, 255}) {
                    Wall wall;
                    wall.width = 33;
                    wall.height = 19;
                    wall.tiles.push_back(
                        tileOf(1, {0, 0, 33, 19}, plainPicture(64, 36, {y, u, v}, format)));
                    expectAlike(wall, std::to_string(y) + " " + std::to_string(u) + " " +
                                          std::to_string(v));
                }
            }
        }
    }
}

// A tile a hundred or a thousand cells wide: only what is seen of it costs anything.
TEST_F(WallRenderers, DrawTheSameOfTilesFarLargerThanTheWall) {
    for (const TileRect& rect :
         {TileRect{0, 54, 48480, 27270}, TileRect{-300000, -200000, 300160, 200080},
          TileRect{-900000, -900000, 1800000, 1800000}, TileRect{0, 0, 480480, 270270}}) {
        Wall wall;
        wall.width = 192;
        wall.height = 108;
        wall.tiles.push_back(tileOf(1, rect, plainPicture(64, 36, {126, 128, 128})));
        wall.tiles[0].name = "Large";
        wall.tiles[0].hasMeter = true;
        for (int lit = 0; lit < 30; lit += 3) {
            wall.tiles[0].litLeft = lit;
            wall.tiles[0].litRight = lit;
            ASSERT_TRUE(processor->render(wall));
            ASSERT_TRUE(graphics->render(wall));
        }
    }
}

// A meter that hangs over the edge of the wall shows the part that lies on it.
TEST_F(WallRenderers, AMeterIsCutWhereTheWallEnds) {
    Wall wall;
    wall.width = 192;
    wall.height = 108;
    wall.tiles.push_back(
        tileOf(1, {-1000, -500, 1150, 1200}, plainPicture(64, 36, {126, 128, 128})));
    wall.tiles[0].hasMeter = true;
    wall.tiles[0].litLeft = 30;
    wall.tiles[0].litRight = 15;
    expectAlike(wall, "meter");
    const Levels bar = test::levelsAt(processor->render(wall).get(), 80, 40);
    EXPECT_NE(bar.y, 128);
}

TEST_F(WallRenderers, DrawTheSameWallInOddSizes) {
    for (const auto& size : {std::pair(641, 361), std::pair(401, 300), std::pair(222, 123)})
        expectAlike(fullWall(0, 2, size.first, size.second), std::to_string(size.first));
}

TEST_F(WallRenderers, DrawTheSameOfTilesThatHangOverTheEdgeAndLieOnEachOther) {
    Wall wall;
    wall.width = 320;
    wall.height = 180;
    const TileRect places[] = {{-60, -30, 160, 90}, {250, 120, 160, 90}, {60, 40, 160, 90},
                               {100, 60, 160, 90},  {400, 0, 64, 36},    {0, 170, 64, 36}};
    for (std::size_t i = 0; i < std::size(places); ++i) {
        WallTile tile =
            tileOf(i + 1, places[i], smoothPicture(128, 72, forms[i], static_cast<int>(i)));
        tile.name = "Tile";
        tile.hasMeter = true;
        tile.litLeft = 20;
        tile.tally = static_cast<int>(i % 3);
        wall.tiles.push_back(std::move(tile));
    }
    expectAlike(wall, "at once");
    // What is kept from the wall before is right, whichever tile changes.
    for (auto& tile : wall.tiles) {
        tile.picture = smoothPicture(128, 72, AV_PIX_FMT_YUV420P, 40 + static_cast<int>(tile.id));
        expectAlike(wall, "tile " + std::to_string(tile.id));
    }
}

TEST_F(WallRenderers, ShrinkingAndGrowingFollowOneRule) {
    for (const auto& size : {std::pair(1920, 1080), std::pair(720, 576), std::pair(40, 22)}) {
        Wall wall;
        wall.width = 192;
        wall.height = 108;
        wall.tiles.push_back(tileOf(1, {0, 0, 192, 108},
                                    smoothPicture(size.first, size.second, AV_PIX_FMT_YUV420P, 3)));
        expectAlike(wall, std::to_string(size.first));
    }
}

// Detail finer than a pixel of the tile: both take all of it in.
TEST_F(WallRenderers, NothingOfAPictureIsLeftOut) {
    quol::FramePtr stripes = plainPicture(1920, 1080, {0, 128, 128});
    for (int y = 0; y < 1080; ++y) {
        for (int x = 0; x < 1920; ++x)
            stripes->data[0][y * stripes->linesize[0] + x] = (x / 2 + y / 2) % 3 == 0 ? 235 : 16;
    }
    Wall wall;
    wall.width = 320;
    wall.height = 180;
    wall.tiles.push_back(tileOf(1, {0, 0, 320, 180}, std::move(stripes)));
    expectAlike(wall, "stripes");
    const quol::FramePtr picture = processor->render(wall);
    const Levels middle = test::levelsAt(picture.get(), 160, 90);
    EXPECT_NEAR(middle.y, 85, 2);
}

TEST_P(Both, AnUnchangedPictureIsNotUploadedOrScaledIntoSomethingElse) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    Wall wall = fullWall(0, 2, 320, 180);
    const quol::FramePtr first = renderer->render(wall);
    const quol::FramePtr second = renderer->render(wall);
    EXPECT_TRUE(areEqual(*first, *second));
}

// Every kind of change, each against a renderer that knows nothing from before.
TEST_P(Both, EveryChangeOfATileIsSeenAndNothingElse) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    Wall wall = fullWall(0, 2, 320, 180);
    const auto expectFresh = [&](const char* what) {
        const quol::FramePtr picture = renderer->render(wall);
        // A context belongs to its thread.
        quol::FramePtr fresh;
        std::thread([&] { fresh = rendererOf(GetParam())->render(wall); }).join();
        EXPECT_TRUE(areEqual(*picture, *fresh)) << what;
    };
    expectFresh("at first");
    wall.tiles[0].litLeft = 3;
    expectFresh("a meter");
    wall.tiles[0].litLeft = 9;
    expectFresh("a meter again");
    wall.tiles[0].tally = 2;
    expectFresh("a tally");
    wall.tiles[0].name = "Another";
    expectFresh("a name");
    wall.tiles[0].hasMeter = false;
    expectFresh("no meter");
    wall.tiles[0].hasMeter = true;
    expectFresh("a meter anew");
    wall.tiles[1].picture = smoothPicture(64, 64, AV_PIX_FMT_RGB24, 77);
    expectFresh("a picture");
    wall.tiles[1].picture = smoothPicture(64, 64, AV_PIX_FMT_UYVY422, 78);
    expectFresh("another form");
    wall.tiles[1].picture = smoothPicture(64, 64, AV_PIX_FMT_YUV420P, 79);
    expectFresh("and another");
    wall.tiles[1].picture.reset();
    expectFresh("no picture");
    wall.tiles[1].tally = 1;
    expectFresh("the tally of a black one");
    wall.tiles[1].picture = smoothPicture(65, 64, AV_PIX_FMT_YUVA420P, 80);
    expectFresh("a picture anew");
    wall.tiles.erase(wall.tiles.begin() + 2);
    expectFresh("a tile gone");
    wall.tiles[3].rect = {20, 20, 60, 40};
    expectFresh("a tile moved");
    wall.width = 300;
    wall.height = 150;
    expectFresh("another size");
    for (auto& tile : wall.tiles)
        tile.id += 100;
    expectFresh("all others");
    wall.tiles.clear();
    expectFresh("none");
}

TEST_P(Both, APictureOfOddLinesAndThoseWithLongRowsAreRead) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24, AV_PIX_FMT_YUV422P10LE,
          AV_PIX_FMT_GBRP10LE, AV_PIX_FMT_PAL8, AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB8}) {
        Wall wall;
        wall.width = 64;
        wall.height = 36;
        wall.tiles.push_back(tileOf(1, {0, 0, 64, 36}, test::makePicture(33, 17, format, 1)));
        EXPECT_TRUE(renderer->render(wall)) << av_get_pix_fmt_name(format);
    }
}

TEST_P(Both, AlphaLiesOverBlack) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    for (const auto& [alpha, luma] : {std::pair(0, 0), std::pair(128, 128), std::pair(255, 255)}) {
        Wall wall;
        wall.width = 64;
        wall.height = 36;
        wall.tiles.push_back(tileOf(1, {0, 0, 64, 36},
                                    plainPicture(64, 36, {235, 128, 128}, AV_PIX_FMT_YUVA420P,
                                                 static_cast<std::uint8_t>(alpha))));
        const quol::FramePtr picture = renderer->render(wall);
        EXPECT_NEAR(test::levelsAt(picture.get(), 32, 18).y, luma, 1);
        EXPECT_NEAR(test::levelsAt(picture.get(), 32, 18).u, 128, 1);
    }
}

TEST_P(Both, ASizeThatNobodyCanMakeGivesNothing) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    for (const auto& size :
         {std::pair(0, 10), std::pair(10, -1), std::pair(100000, 10), std::pair(32000, 32000)}) {
        Wall wall;
        wall.width = size.first;
        wall.height = size.second;
        EXPECT_FALSE(renderer->render(wall));
    }
}

// Larger than a driver can draw, and than most can hold.
TEST_P(Both, AVeryWideWallIsDrawnAllTheSame) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    Wall wall;
    wall.width = 32768;
    wall.height = 16;
    wall.tiles.push_back(tileOf(1, {0, 0, 32768, 16}, plainPicture(64, 36, {126, 128, 128})));
    const quol::FramePtr picture = renderer->render(wall);
    ASSERT_TRUE(picture);
    EXPECT_NEAR(test::levelsAt(picture.get(), 20000, 8).y, 128, 1);
}

// Longer than a texture can be.
TEST_P(Both, APictureThatIsVeryLongIsShown) {
    const auto renderer = rendererOf(GetParam());
    ASSERT_TRUE(renderer);
    for (const auto& [width, height] : {std::pair(40000, 16), std::pair(16, 40000)}) {
        for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
            Wall wall;
            wall.width = 64;
            wall.height = 36;
            wall.tiles.push_back(
                tileOf(1, {0, 0, 64, 36}, plainPicture(width, height, {126, 128, 128}, format)));
            const quol::FramePtr picture = renderer->render(wall);
            EXPECT_NEAR(test::levelsAt(picture.get(), 32, 18).y, 128, 1);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Renderers, Both, testing::Bool(),
                         [](const auto& info) { return info.param ? "Graphics" : "Processor"; });
