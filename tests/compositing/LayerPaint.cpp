#include "compositing/LayerPaint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/Frames.h"
#include "support/PlainFrames.h"
#include "support/ReferencePainter.h"

namespace {

using quol::KeyKind;
using quol::LayerLook;
using quol::PaintedLayer;
using quol::PictureSize;

int planeSize(int size, int plane) {
    return plane == 1 || plane == 2 ? (size + 1) / 2 : size;
}

// ------------------------------------------------------------------------------------- the canvas

// A canvas whose planes lie apart, each row of its own with other bytes before and behind it.
class GuardedCanvas {
public:
    GuardedCanvas(int width, int height, AVPixelFormat format, std::mt19937& random)
        : frame_(quol::makeFrame()) {
        frame_->width = width;
        frame_->height = height;
        frame_->format = format;
        const int planes = format == AV_PIX_FMT_YUVA420P ? 4 : 3;
        std::size_t size = guard;
        std::array<std::size_t, 4> starts{};
        for (int plane = 0; plane < planes; ++plane) {
            const int stride = planeSize(width, plane) + static_cast<int>(random() % 40);
            frame_->linesize[plane] = stride;
            starts[static_cast<std::size_t>(plane)] = size;
            size += static_cast<std::size_t>(stride) *
                        static_cast<std::size_t>(planeSize(height, plane)) +
                    guard + random() % 33;
        }
        memory_.resize(size);
        for (std::uint8_t& byte : memory_)
            byte = static_cast<std::uint8_t>(random());
        before_ = memory_;
        for (int plane = 0; plane < planes; ++plane)
            frame_->data[plane] = memory_.data() + starts[static_cast<std::size_t>(plane)];
    }

    AVFrame& frame() { return *frame_; }

    // A picture of its own, the same now.
    quol::FramePtr copy() const {
        quol::FramePtr copy = test::makePicture(frame_->width, frame_->height,
                                                static_cast<AVPixelFormat>(frame_->format));
        av_frame_copy(copy.get(), frame_.get());
        return copy;
    }

    // Every byte that is not one of the canvas.
    bool isUntouchedOutside() const {
        std::vector<bool> isInside(memory_.size(), false);
        for (int plane = 0; plane < 4 && frame_->data[plane] != nullptr; ++plane) {
            const std::size_t start =
                static_cast<std::size_t>(frame_->data[plane] - memory_.data());
            for (int row = 0; row < planeSize(frame_->height, plane); ++row) {
                const auto begin = isInside.begin() + static_cast<std::ptrdiff_t>(start) +
                                   static_cast<std::ptrdiff_t>(row) * frame_->linesize[plane];
                std::fill(begin, begin + planeSize(frame_->width, plane), true);
            }
        }
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            if (!isInside[i] && memory_[i] != before_[i]) return false;
        }
        return true;
    }

private:
    static constexpr std::size_t guard = 256;

    quol::FramePtr frame_; // not the owner of its planes
    std::vector<std::uint8_t> memory_;
    std::vector<std::uint8_t> before_;
};

// -------------------------------------------------------------------------------------- the layer

// Rows that are transparent from end to end, rows with transparent ends, opaque rows, any rows.
void drawAlphas(AVFrame& frame, int plane, std::mt19937& random) {
    for (int row = 0; row < frame.height; ++row) {
        std::uint8_t* const samples =
            frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
        const unsigned kind = random() % 5;
        for (int column = 0; column < frame.width; ++column)
            samples[column] = static_cast<std::uint8_t>(kind == 0 ? 0 : kind == 1 ? 255 : random());
        if (kind != 2) continue;
        const int before = static_cast<int>(random()) & 31;
        const int behind = static_cast<int>(random()) & 31;
        for (int column = 0; column < frame.width; ++column) {
            if (column < before || column >= frame.width - behind) samples[column] = 0;
        }
    }
}

struct Source {
    quol::FramePtr picture;
    quol::FramePtr key;
    KeyKind keyKind = KeyKind::none;
    std::string pictureBefore;
    std::string keyBefore;
};

std::string bytesOf(const AVFrame* frame) {
    std::string bytes;
    if (frame == nullptr) return bytes;
    for (const AVBufferRef* buffer : frame->buf) {
        if (buffer != nullptr)
            bytes.append(reinterpret_cast<const char*>(buffer->data), buffer->size);
    }
    return bytes;
}

Source makeSource(const PictureSize& size, bool withAlpha, KeyKind keyKind, std::mt19937& random) {
    Source source;
    source.keyKind = keyKind;
    source.picture = test::makePicture(size.width, size.height,
                                       withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P, 0,
                                       {1, 25}, static_cast<unsigned>(random()));
    if (withAlpha) drawAlphas(*source.picture, 3, random);
    if (keyKind != KeyKind::none) {
        const bool byAlpha = keyKind == KeyKind::alpha;
        source.key = test::makePicture(size.width, size.height,
                                       byAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P, 0,
                                       {1, 25}, static_cast<unsigned>(random()));
        drawAlphas(*source.key, byAlpha ? 3 : 0, random);
    }
    source.pictureBefore = bytesOf(source.picture.get());
    source.keyBefore = bytesOf(source.key.get());
    return source;
}

// Numbers of a look, drawn so that every case of the rules comes up often.
class Draw {
public:
    explicit Draw(unsigned seed) : random_(seed) {}

    std::mt19937& engine() { return random_; }
    // 0 to `limit`.
    int upTo(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit + 1)); }
    bool oneIn(int count) { return upTo(count - 1) == 0; }

    // An opacity, often one of the ends, now and then one beyond them.
    int opacity() {
        if (oneIn(12)) return oneIn(2) ? -upTo(1000) : 255 + upTo(1000);
        return oneIn(3) ? 255 : oneIn(10) ? 0 : upTo(255);
    }

    float crop(int size) {
        if (oneIn(12)) return static_cast<float>(-upTo(50));
        if (oneIn(20)) return static_cast<float>(size + upTo(5));
        return static_cast<float>(upTo(4 * (size / 2))) / 4.0F; // quarters are cut
    }

    // Around the canvas on every side, and now and then far off.
    int position(int layer, int canvas) {
        if (oneIn(50)) return oneIn(2) ? 1 << 20 : -(1 << 20);
        return upTo(layer + canvas + 8) - layer - 4;
    }

    LayerLook look(const PictureSize& size, const PictureSize& canvas) {
        LayerLook look;
        look.alpha = opacity();
        look.x = position(size.width, canvas.width);
        look.y = position(size.height, canvas.height);
        if (oneIn(2)) {
            look.cropLeft = crop(size.width);
            look.cropRight = crop(size.width);
            look.cropTop = crop(size.height);
            look.cropBottom = crop(size.height);
        }
        if (oneIn(2)) look.borderThickness = oneIn(10) ? upTo(100) : upTo(9);
        if (oneIn(2)) look.borderRadius = oneIn(10) ? upTo(1000) : upTo(60);
        look.borderAlpha = opacity();
        look.borderColor = {upTo(255), upTo(255), upTo(255)};
        return look;
    }

private:
    std::mt19937 random_;
};

// ------------------------------------------------------------------------------------ comparison

struct Case {
    LayerLook look;
    PictureSize size;
    PictureSize canvas;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    bool withAlpha = false;
    KeyKind keyKind = KeyKind::none;

    // Nothing that asks for a blend.
    bool isCopied() const {
        const bool isCropped = look.cropLeft > 0.0F || look.cropTop > 0.0F ||
                               look.cropRight > 0.0F || look.cropBottom > 0.0F;
        return !look.isKeyed && !withAlpha && look.alpha >= 255 && look.borderThickness <= 0 &&
               !isCropped;
    }
};

std::string describe(const Case& c) {
    testing::Message text;
    text << c.size.width << " x " << c.size.height << (c.withAlpha ? " with alpha" : "")
         << (c.keyKind == KeyKind::alpha  ? " keyed by alpha"
             : c.keyKind == KeyKind::luma ? " keyed by luma"
                                          : "")
         << (c.isCopied() ? " copied" : "") << " at " << c.look.x << "," << c.look.y << " on "
         << c.canvas.width << " x " << c.canvas.height
         << (c.format == AV_PIX_FMT_YUVA420P ? " with coverage" : "") << ", alpha " << c.look.alpha
         << ", crop " << c.look.cropLeft << " " << c.look.cropTop << " " << c.look.cropRight << " "
         << c.look.cropBottom << ", border " << c.look.borderThickness << " of "
         << c.look.borderAlpha << ", radius " << c.look.borderRadius;
    return text.GetString();
}

Case drawCase(Draw& draw) {
    Case c;
    c.canvas = {1 + draw.upTo(70), 1 + draw.upTo(70)};
    c.size = {1 + draw.upTo(80), 1 + draw.upTo(80)};
    c.format = draw.oneIn(2) ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P;
    c.withAlpha = draw.oneIn(2);
    c.look = draw.look(c.size, c.canvas);
    if (draw.oneIn(2)) {
        c.look.isKeyed = true;
        c.keyKind = std::array{KeyKind::none, KeyKind::luma,
                               KeyKind::alpha}[static_cast<std::size_t>(draw.upTo(2))];
    }
    return c;
}

Case drawCopiedCase(Draw& draw) {
    Case c = drawCase(draw);
    const int x = c.look.x;
    const int y = c.look.y;
    c.look = {};
    c.look.x = x;
    c.look.y = y;
    c.look.alpha = 255 + draw.upTo(2);
    c.look.borderRadius = draw.upTo(50); // does not count
    c.withAlpha = false;
    c.keyKind = KeyKind::none;
    return c;
}

// Paints in bands of random height, as threads do.
void paintInBands(AVFrame& canvas, const PaintedLayer& layer, Draw& draw,
                  std::vector<std::uint8_t>& scratch) {
    int top = 0;
    while (top < canvas.height) {
        const int bottom = std::min(canvas.height, top + 2 * (1 + draw.upTo(20)));
        quol::paintLayer(canvas, layer, {top, bottom}, scratch);
        top = bottom;
    }
}

PaintedLayer layerOf(const Case& c, const Source& source) {
    PaintedLayer layer = quol::paintedLayer(c.look, c.size, c.canvas);
    layer.picture = source.picture.get();
    layer.key = source.key.get();
    layer.keyKind = c.keyKind;
    layer.opaque = c.isCopied();
    return layer;
}

// Paints one case both ways on a canvas that shows something already.
void check(const Case& c, Draw& draw, std::vector<std::uint8_t>& scratch) {
    SCOPED_TRACE(describe(c));
    GuardedCanvas canvas(c.canvas.width, c.canvas.height, c.format, draw.engine());
    test::ReferencePainter expected(canvas.frame());
    const Source source = makeSource(c.size, c.withAlpha, c.keyKind, draw.engine());
    paintInBands(canvas.frame(), layerOf(c, source), draw, scratch);
    expected.paint(c.look, *source.picture, source.key.get());
    ASSERT_EQ(expected.firstDifference(canvas.frame()), "");
    ASSERT_TRUE(canvas.isUntouchedOutside());
    ASSERT_EQ(bytesOf(source.picture.get()), source.pictureBefore);
    ASSERT_EQ(bytesOf(source.key.get()), source.keyBefore);
}

TEST(LayerPaint, PaintsTheRulesSampleBySampleAndNothingOutsideTheCanvas) {
    Draw draw(1);
    std::vector<std::uint8_t> scratch;
    for (int run = 0; run < 12000; ++run) {
        check(drawCase(draw), draw, scratch);
        if (testing::Test::HasFatalFailure()) FAIL() << "in run " << run;
    }
}

TEST(LayerPaint, CopiesSampleBySampleAndNothingOutsideTheCanvas) {
    Draw draw(2);
    std::vector<std::uint8_t> scratch;
    for (int run = 0; run < 4000; ++run) {
        const Case c = drawCopiedCase(draw);
        ASSERT_TRUE(c.isCopied());
        check(c, draw, scratch);
        if (testing::Test::HasFatalFailure()) FAIL() << "in run " << run;
    }
}

TEST(LayerPaint, WholeCanvasCaseIsThatOfAnyOtherPlace) {
    Draw draw(3);
    std::vector<std::uint8_t> scratch;
    for (int width = 1; width <= 35; ++width) {
        for (int height = 1; height <= 35; ++height) {
            Case c;
            c.size = c.canvas = {width, height};
            c.format = draw.oneIn(2) ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P;
            c.look.alpha = draw.opacity();
            c.withAlpha = draw.oneIn(2);
            if (draw.oneIn(3)) {
                c.look.isKeyed = true;
                c.keyKind = draw.oneIn(2) ? KeyKind::luma : KeyKind::alpha;
            }
            check(c, draw, scratch);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

// Positions that no canvas reaches: every sum of them stays a number.
TEST(LayerPaint, FarOutsideNothingIsPainted) {
    constexpr int far = 1 << 20;
    Draw draw(4);
    std::vector<std::uint8_t> scratch;
    for (const int x : {-far, 0, far}) {
        for (const int y : {-far, far}) {
            for (const bool isCopied : {false, true}) {
                Case c;
                c.size = c.canvas = {40, 30};
                c.look.x = x;
                c.look.y = y;
                c.look.alpha = isCopied ? 255 : 254;
                GuardedCanvas canvas(40, 30, AV_PIX_FMT_YUVA420P, draw.engine());
                const test::ReferencePainter before(canvas.frame());
                const Source source = makeSource(c.size, false, KeyKind::none, draw.engine());
                paintInBands(canvas.frame(), layerOf(c, source), draw, scratch);
                EXPECT_EQ(before.firstDifference(canvas.frame()), "");
                EXPECT_TRUE(canvas.isUntouchedOutside());
            }
        }
    }
}

// ------------------------------------------------------------------------------------------ bands

// Rows of a plane that belong to other bands.
void expectUnchangedOutside(const AVFrame& canvas, const AVFrame& before, int top, int bottom) {
    for (int plane = 0; plane < 4; ++plane) {
        const bool isChroma = plane == 1 || plane == 2;
        const int first = isChroma ? top / 2 : top;
        const int last = isChroma ? (bottom + 1) / 2 : bottom;
        for (int row = 0; row < planeSize(canvas.height, plane); ++row) {
            if (row >= first && row < last) continue;
            const std::uint8_t* const now = canvas.data[plane] + row * canvas.linesize[plane];
            const std::uint8_t* const then = before.data[plane] + row * before.linesize[plane];
            ASSERT_TRUE(std::equal(now, now + planeSize(canvas.width, plane), then))
                << "plane " << plane << " row " << row << " by the band of " << top << ".."
                << bottom;
        }
    }
}

TEST(LayerPaint, BandLeavesTheRowsOfOtherBandsAlone) {
    Draw draw(5);
    std::vector<std::uint8_t> scratch;
    for (int run = 0; run < 1500; ++run) {
        Case c = draw.oneIn(4) ? drawCopiedCase(draw) : drawCase(draw);
        c.format = AV_PIX_FMT_YUVA420P;
        GuardedCanvas canvas(c.canvas.width, c.canvas.height, c.format, draw.engine());
        const quol::FramePtr before = canvas.copy();
        const Source source = makeSource(c.size, c.withAlpha, c.keyKind, draw.engine());
        const int top = 2 * draw.upTo((c.canvas.height - 1) / 2);
        const int bottom = std::min(c.canvas.height, top + 2 * (1 + draw.upTo(10)));
        quol::paintLayer(canvas.frame(), layerOf(c, source), {top, bottom}, scratch);
        expectUnchangedOutside(canvas.frame(), *before, top, bottom);
        if (testing::Test::HasFatalFailure()) FAIL() << describe(c);
    }
}

TEST(ClearCanvas, IsBlackWithNothingCovered) {
    Draw draw(6);
    for (int width = 1; width <= 20; ++width) {
        for (int height = 1; height <= 20; ++height) {
            for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P}) {
                GuardedCanvas canvas(width, height, format, draw.engine());
                quol::clearCanvas(canvas.frame(), {0, height});
                ASSERT_EQ(test::ReferencePainter(width, height).firstDifference(canvas.frame()),
                          "");
                ASSERT_TRUE(canvas.isUntouchedOutside());
            }
        }
    }
}

TEST(ClearCanvas, ClearsItsBandOnly) {
    Draw draw(7);
    for (int height = 1; height <= 13; ++height) {
        for (int top = 0; top < height; top += 2) {
            for (int bottom = top + 2; bottom <= height + 1; bottom += 2) {
                const int end = std::min(bottom, height);
                GuardedCanvas canvas(9, height, AV_PIX_FMT_YUVA420P, draw.engine());
                const quol::FramePtr before = canvas.copy();
                quol::clearCanvas(canvas.frame(), {top, end});
                expectUnchangedOutside(canvas.frame(), *before, top, end);
                for (int row = top; row < end; ++row)
                    ASSERT_EQ(test::levelsAt(&canvas.frame(), 8, row), test::blackLevels);
            }
        }
    }
}

// -------------------------------------------------------------------------------- told beforehand

constexpr test::Levels under{100, 90, 160};
constexpr test::Levels over{200, 140, 110};

// Paints a plain layer of 20 by 20 over all of a plain canvas of that size.
quol::FramePtr paintedPlain(const LayerLook& look, int alpha = 255, const AVFrame* key = nullptr,
                            KeyKind keyKind = KeyKind::none) {
    quol::FramePtr canvas = test::plainPicture(20, 20, under);
    const quol::FramePtr picture =
        test::plainPicture(20, 20, over, AV_PIX_FMT_YUVA420P, static_cast<std::uint8_t>(alpha));
    PaintedLayer layer = quol::paintedLayer(look, {20, 20}, {20, 20});
    layer.picture = picture.get();
    layer.key = key;
    layer.keyKind = keyKind;
    std::vector<std::uint8_t> scratch;
    quol::paintLayer(*canvas, layer, {0, 20}, scratch);
    return canvas;
}

TEST(LayerPaint, FullOpacityDarkensByOnePartIn256) {
    const quol::FramePtr canvas = paintedPlain({});
    EXPECT_EQ(test::levelsAt(canvas.get(), 10, 10), (test::Levels{199, 139, 109}));
}

TEST(LayerPaint, AlphasOfPictureAndLayerMultiply) {
    LayerLook look;
    look.alpha = 128;
    // 128 * 100 / 255 = 50.
    const quol::FramePtr canvas = paintedPlain(look, 100);
    EXPECT_EQ(test::levelsAt(canvas.get(), 10, 10),
              (test::Levels{(205 * 100 + 50 * 200) >> 8, (205 * 90 + 50 * 140) >> 8,
                            (205 * 160 + 50 * 110) >> 8}));
}

TEST(LayerPaint, KeyOfBlackLevelHidesAndOneOfWhiteLevelShows) {
    for (const int y : {0, 15, 16}) {
        const quol::FramePtr key = test::plainPicture(20, 20, {y, 128, 128});
        EXPECT_EQ(test::levelsAt(paintedPlain({}, 255, key.get(), KeyKind::luma).get(), 10, 10),
                  under);
    }
    for (const int y : {235, 255}) {
        const quol::FramePtr key = test::plainPicture(20, 20, {y, 128, 128});
        EXPECT_EQ(test::levelsAt(paintedPlain({}, 255, key.get(), KeyKind::luma).get(), 10, 10),
                  (test::Levels{199, 139, 109}));
    }
}

TEST(LayerPaint, AlphaOfAKeyCountsAndItsLumaDoesNot) {
    const quol::FramePtr key = test::plainPicture(20, 20, {255, 128, 128}, AV_PIX_FMT_YUVA420P, 0);
    EXPECT_EQ(test::levelsAt(paintedPlain({}, 255, key.get(), KeyKind::alpha).get(), 10, 10),
              under);
}

TEST(LayerPaint, TransparentSampleHasNoBorderEither) {
    LayerLook look;
    look.borderThickness = 4;
    look.borderColor = {255, 255, 255};
    EXPECT_EQ(test::levelsAt(paintedPlain(look, 0).get(), 0, 0), under);
    // With the least alpha the border is there, at its own opacity.
    EXPECT_EQ(test::levelsAt(paintedPlain(look, 1).get(), 0, 0), (test::Levels{254, 127, 127}));
    EXPECT_EQ(test::levelsAt(paintedPlain(look, 1).get(), 10, 10).y, (254 * 100 + 200) >> 8);
}

TEST(LayerPaint, CroppedRectangleMovesToThePlaceOfTheLayer) {
    LayerLook look;
    look.cropLeft = 6.0F;
    look.cropTop = 8.0F;
    const quol::FramePtr canvas = paintedPlain(look);
    EXPECT_EQ(test::levelsAt(canvas.get(), 0, 0), (test::Levels{199, 139, 109}));
    EXPECT_EQ(test::levelsAt(canvas.get(), 13, 11), (test::Levels{199, 139, 109}));
    EXPECT_EQ(test::levelsAt(canvas.get(), 14, 11), under);
    EXPECT_EQ(test::levelsAt(canvas.get(), 13, 12), under);
}

TEST(PaintedLayer, AlphasCountWithinAByte) {
    const auto painted = [](int alpha, int borderAlpha) {
        LayerLook look;
        look.alpha = alpha;
        look.borderAlpha = borderAlpha;
        return quol::paintedLayer(look, {10, 10}, {10, 10});
    };
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int borderAlpha = 0; borderAlpha < 256; ++borderAlpha) {
            const PaintedLayer layer = painted(alpha, borderAlpha);
            ASSERT_EQ(layer.alpha, alpha);
            ASSERT_EQ(layer.borderAlpha, borderAlpha * alpha / 255);
        }
    }
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int smallest = std::numeric_limits<int>::min();
    EXPECT_EQ(painted(256, 300).alpha, 255);
    EXPECT_EQ(painted(largest, largest).borderAlpha, 255);
    EXPECT_EQ(painted(-1, 255).alpha, 0);
    EXPECT_EQ(painted(smallest, 255).borderAlpha, 0);
    EXPECT_EQ(painted(100, smallest).borderAlpha, 0);
}

} // namespace
