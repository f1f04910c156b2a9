#include "compositing/Transitions.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/Frames.h"

namespace {

using u8 = std::uint8_t;

// ------------------------------------------------------------------------------------- formulas

// A plane as the formulas see it. Canvas W by H; the plane w by h, halved for chroma, truncated.
struct Plane {
    int W;
    int H;
    int half; // 1 for luma, 2 for chroma
    int w() const { return W / half; }
    int h() const { return H / half; }
    // The samples that there are.
    int columns() const { return (W + half - 1) / half; }
    int rows() const { return (H + half - 1) / half; }
};

// Where one sample comes from.
struct Pick {
    bool isB;
    int x;
    int y;
};

Pick wipe(const std::string& type, const Plane& plane, float p, int x, int y) {
    const auto [W, H, half] = plane;
    bool isB = false;
    if (type == "wipe_lr") isB = x < static_cast<int>(W * p) / half;
    if (type == "wipe_rl") isB = x >= static_cast<int>((1 - p) * W) / half;
    if (type == "wipe_tb") isB = y < static_cast<int>(H * p) / half;
    if (type == "wipe_bt") isB = y >= static_cast<int>((1 - p) * H) / half;
    if (type == "wipe_diagonal") isB = half * x + half * y < static_cast<int>((W + H) * p);
    if (type == "wipe_box") {
        const int dx = static_cast<int>((W / 2) * p) / half;
        const int dy = static_cast<int>((H / 2) * p) / half;
        const int cx = half == 1 ? W / 2 : W / 4;
        const int cy = half == 1 ? H / 2 : H / 4;
        isB = x >= cx - dx && x < cx + dx && y >= cy - dy && y < cy + dy;
    }
    if (type == "wipe_circle") {
        const double R = std::sqrt(static_cast<double>((W / 2) * (W / 2) + (H / 2) * (H / 2)));
        const int r = static_cast<int>(p * R) / half;
        const int cx = half == 1 ? W / 2 : W / 4;
        const int cy = half == 1 ? H / 2 : H / 4;
        const int d = std::abs(y - cy);
        if (d * d < r * r) {
            const int reach = static_cast<int>(std::sqrt(static_cast<double>(r * r - d * d)));
            isB = x >= cx - reach && x < cx + reach;
        }
    }
    return {isB, x, y};
}

Pick slide(const std::string& type, const Plane& plane, float p, int x, int y) {
    const bool isVertical = type == "slide_tb" || type == "slide_bt";
    const int s = static_cast<int>((isVertical ? plane.H : plane.W) * p) / plane.half;
    if (s == 0) return {false, x, y};
    if (type == "slide_lr") return x < s ? Pick{true, plane.w() - s + x, y} : Pick{false, x - s, y};
    if (type == "slide_tb") return y < s ? Pick{true, x, plane.h() - s + y} : Pick{false, x, y - s};
    if (type == "slide_rl")
        return x < plane.w() - s ? Pick{false, x + s, y} : Pick{true, x - (plane.w() - s), y};
    return y < plane.h() - s ? Pick{false, x, y + s} : Pick{true, x, y - (plane.h() - s)};
}

// One picture in the first c of n samples, the other in the rest: which of them (true for the
// first), and where in it. With nothing left for one of the two, the other is as it was.
std::pair<bool, int> squeezed(int i, int c, int n) {
    if (c == 0) return {false, i};
    if (c == n) return {true, i};
    return i < c ? std::pair{true, i * n / c} : std::pair{false, (i - c) * n / (n - c)};
}

Pick squeeze(const std::string& type, const Plane& plane, float p, int x, int y) {
    const bool isVertical = type == "squeeze_tb" || type == "squeeze_bt";
    const bool isReversed = type == "squeeze_rl" || type == "squeeze_bt";
    const int length = isVertical ? plane.H : plane.W;
    const int c = static_cast<int>(isReversed ? (1 - p) * length : length * p) / plane.half;
    const auto [isFirst, from] =
        squeezed(isVertical ? y : x, c, isVertical ? plane.h() : plane.w());
    return {isFirst != isReversed, isVertical ? x : from, isVertical ? from : y};
}

int faded(float A, float B, float p) {
    return static_cast<int>(B * p + A * (1 - p));
}

int dipped(float A, float B, float c, float p) {
    if (p < 0.5F) return static_cast<int>(A * (1 - 2 * p) + c * 2 * p);
    const float f = (p - 0.5F) * 2;
    return static_cast<int>(B * f + c * (1 - f));
}

// ------------------------------------------------------------------------------------- pictures

// A picture whose rows lie as far apart as wanted, in memory that holds nothing else.
class Picture {
public:
    Picture(int width, int height, int padding, unsigned seed)
        : width_(width), height_(height), padding_(padding) {
        std::mt19937 random(seed);
        frame_->width = width;
        frame_->height = height;
        frame_->format = AV_PIX_FMT_YUV420P;
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            const Plane plane = planeAt(i);
            frame_->linesize[i] = plane.columns() + padding;
            memory_[i].resize(static_cast<std::size_t>(frame_->linesize[i] * plane.rows()));
            for (u8& sample : memory_[i])
                sample = static_cast<u8>(random());
            frame_->data[i] = memory_[i].data();
        }
        before_ = memory_;
    }

    AVFrame& frame() const { return *frame_; }
    Plane planeAt(std::size_t index) const { return {width_, height_, index == 0 ? 1 : 2}; }
    bool isUntouched() const { return memory_ == before_; }
    int at(std::size_t plane, int x, int y) const {
        return frame_->data[plane][y * frame_->linesize[plane] + x];
    }

    bool isPaddingUntouched() const {
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            const Plane plane = planeAt(i);
            const int stride = plane.columns() + padding_;
            for (int at = 0; at < stride * plane.rows(); ++at) {
                const auto place = static_cast<std::size_t>(at);
                if (at % stride >= plane.columns() && memory_[i][place] != before_[i][place])
                    return false;
            }
        }
        return true;
    }

private:
    int width_;
    int height_;
    int padding_;
    std::array<std::vector<u8>, 3> memory_;
    std::array<std::vector<u8>, 3> before_;
    quol::FramePtr frame_ = quol::makeFrame();
};

constexpr quol::DipColor dipColor{90, 30, 220};

int expectedAt(const std::string& type, float p, const Picture& a, const Picture& b,
               std::size_t index, int x, int y) {
    const std::array<u8, 3> levels{dipColor.y, dipColor.u, dipColor.v};
    if (type == "fade")
        return faded(static_cast<float>(a.at(index, x, y)), static_cast<float>(b.at(index, x, y)),
                     p);
    if (type == "dip")
        return dipped(static_cast<float>(a.at(index, x, y)), static_cast<float>(b.at(index, x, y)),
                      levels[index], p);
    const auto formula = type.starts_with("wipe")    ? wipe
                         : type.starts_with("slide") ? slide
                                                     : squeeze;
    const Pick pick = formula(type, a.planeAt(index), p, x, y);
    return (pick.isB ? b : a).at(index, pick.x, pick.y);
}

testing::AssertionResult isDrawn(const std::string& type, float p, const Picture& a,
                                 const Picture& b, const Picture& out) {
    for (std::size_t index = 0; index < 3; ++index) {
        const Plane plane = out.planeAt(index);
        for (int y = 0; y < plane.rows(); ++y) {
            for (int x = 0; x < plane.columns(); ++x) {
                const int expected = expectedAt(type, p, a, b, index, x, y);
                if (out.at(index, x, y) == expected) continue;
                return testing::AssertionFailure()
                       << type << " of " << plane.W << " by " << plane.H << " at " << p
                       << ", plane " << index << ", " << x << ' ' << y << ": "
                       << out.at(index, x, y) << " in place of " << expected;
            }
        }
    }
    return testing::AssertionSuccess();
}

bool draw(const std::string& type, float p, const Picture& a, const Picture& b,
          const Picture& out) {
    return quol::drawTransition(type, p, dipColor, a.frame(), b.frame(), out.frame());
}

// ----------------------------------------------------------------------------- every single type

class EveryTransition : public testing::TestWithParam<std::string> {};

TEST_P(EveryTransition, IsItsFormulaAtEveryThousandthOnSmallCanvases) {
    // The circle of 12 by 16 has other radii when its reach is rounded to float.
    constexpr std::array<std::array<int, 2>, 10> sizes{
        {{1, 1}, {2, 3}, {1, 6}, {7, 1}, {2, 2}, {17, 11}, {16, 10}, {19, 8}, {66, 5}, {12, 16}}};
    for (const auto& [width, height] : sizes) {
        const Picture a(width, height, 0, 1);
        const Picture b(width, height, 3, 2);
        const Picture out(width, height, 5, 3);
        for (int step = 0; step <= 1000; ++step) {
            const float p = static_cast<float>(step) / 1000.0F;
            ASSERT_TRUE(draw(GetParam(), p, a, b, out));
            ASSERT_TRUE(isDrawn(GetParam(), p, a, b, out));
        }
        EXPECT_TRUE(out.isPaddingUntouched());
        EXPECT_TRUE(a.isUntouched());
        EXPECT_TRUE(b.isUntouched());
    }
}

TEST_P(EveryTransition, IsItsFormulaOnWholePictures) {
    const Picture a(1920, 1080, 0, 4);
    const Picture b(1920, 1080, 64, 5);
    for (const float p : {0.011F, 1.0F / 3.0F, 0.5F, 0.7501F, 0.9899F}) {
        const Picture out(1920, 1080, 32, 6);
        ASSERT_TRUE(draw(GetParam(), p, a, b, out));
        EXPECT_TRUE(isDrawn(GetParam(), p, a, b, out));
        EXPECT_TRUE(out.isPaddingUntouched());
    }
    EXPECT_TRUE(a.isUntouched());
    EXPECT_TRUE(b.isUntouched());
}

// Wider than what is worked on in one piece, and of odd width.
TEST_P(EveryTransition, IsItsFormulaOnAWideCanvas) {
    const Picture a(8191, 5, 0, 7);
    const Picture b(8191, 5, 0, 8);
    for (const float p : {0.0F, 0.0001F, 0.13F, 0.5F, 0.77F, 0.9999F, 1.0F}) {
        const Picture out(8191, 5, 1, 9);
        ASSERT_TRUE(draw(GetParam(), p, a, b, out));
        EXPECT_TRUE(isDrawn(GetParam(), p, a, b, out));
        EXPECT_TRUE(out.isPaddingUntouched());
    }
}

TEST_P(EveryTransition, TakesAPositionBeyondItsEndsAsTheEnd) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Picture a(17, 11, 0, 10);
    const Picture b(17, 11, 0, 11);
    for (const float p : {-0.1F, -infinity, std::numeric_limits<float>::quiet_NaN()}) {
        const Picture out(17, 11, 0, 12);
        ASSERT_TRUE(draw(GetParam(), p, a, b, out));
        EXPECT_TRUE(isDrawn(GetParam(), 0.0F, a, b, out)) << p;
    }
    for (const float p : {1.1F, infinity}) {
        const Picture out(17, 11, 0, 13);
        ASSERT_TRUE(draw(GetParam(), p, a, b, out));
        EXPECT_TRUE(isDrawn(GetParam(), 1.0F, a, b, out)) << p;
    }
}

TEST_P(EveryTransition, TakesPicturesWhoseRowsRunUpwards) {
    const Picture a(18, 12, 2, 14);
    const Picture b(18, 12, 0, 15);
    const Picture out(18, 12, 1, 16);
    const auto turn = [](const Picture& picture) {
        AVFrame& frame = picture.frame();
        for (std::size_t i = 0; i < 3; ++i) {
            frame.data[i] += (picture.planeAt(i).rows() - 1) * frame.linesize[i];
            frame.linesize[i] = -frame.linesize[i];
        }
    };
    turn(a);
    turn(out);
    ASSERT_TRUE(draw(GetParam(), 0.4F, a, b, out));
    EXPECT_TRUE(isDrawn(GetParam(), 0.4F, a, b, out));
    EXPECT_TRUE(out.isPaddingUntouched());
}

TEST_P(EveryTransition, LeavesPicturesAloneThatDoNotFitEachOther) {
    const Picture a(16, 10, 0, 17);
    const Picture wider(18, 10, 0, 18);
    const Picture higher(16, 12, 0, 19);
    const Picture out(16, 10, 0, 20);
    EXPECT_FALSE(draw(GetParam(), 0.4F, a, wider, out));
    EXPECT_FALSE(draw(GetParam(), 0.4F, higher, a, out));
    const quol::FramePtr other = test::makePicture(16, 10, AV_PIX_FMT_YUV422P);
    EXPECT_FALSE(quol::drawTransition(GetParam(), 0.4F, dipColor, a.frame(), *other, out.frame()));
    const quol::FramePtr empty = quol::makeFrame();
    EXPECT_FALSE(quol::drawTransition(GetParam(), 0.4F, dipColor, *empty, *empty, *empty));
    EXPECT_TRUE(out.isUntouched());
}

INSTANTIATE_TEST_SUITE_P(Transitions, EveryTransition,
                         testing::Values("fade", "dip", "wipe_lr", "wipe_rl", "wipe_tb", "wipe_bt",
                                         "wipe_diagonal", "wipe_box", "wipe_circle", "slide_lr",
                                         "slide_rl", "slide_tb", "slide_bt", "squeeze_lr",
                                         "squeeze_rl", "squeeze_tb", "squeeze_bt"),
                         [](const auto& info) { return info.param; });

} // namespace
