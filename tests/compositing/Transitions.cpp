#include "compositing/Transitions.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
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
using Formula = Pick (*)(const Plane& plane, float p, int x, int y);

// Of a canvas' length, on the plane.
int middle(int length, int half) {
    return half == 1 ? length / 2 : length / 4;
}

bool isInBox(const Plane& plane, float p, int x, int y) {
    const auto [W, H, half] = plane;
    const int dx = static_cast<int>((W / 2) * p) / half;
    const int dy = static_cast<int>((H / 2) * p) / half;
    const int cx = middle(W, half);
    const int cy = middle(H, half);
    return x >= cx - dx && x < cx + dx && y >= cy - dy && y < cy + dy;
}

bool isInCircle(const Plane& plane, float p, int x, int y) {
    const auto [W, H, half] = plane;
    const double R = std::sqrt(static_cast<double>((W / 2) * (W / 2) + (H / 2) * (H / 2)));
    const int r = static_cast<int>(p * R) / half;
    const int cx = middle(W, half);
    const int d = std::abs(y - middle(H, half));
    if (d * d >= r * r) return false;
    const int reach = static_cast<int>(std::sqrt(static_cast<double>(r * r - d * d)));
    return x >= cx - reach && x < cx + reach;
}

// One picture in the first c of n samples, the other in the rest: which of them (true for the
// first), and where in it. With nothing left for one of the two, the other is as it was.
std::pair<bool, int> squeezed(int i, int c, int n) {
    if (c == 0) return {false, i};
    if (c == n) return {true, i};
    return i < c ? std::pair{true, i * n / c} : std::pair{false, (i - c) * n / (n - c)};
}

Pick squeezedAcross(const Plane& plane, int c, int x, int y) {
    const auto [isFirst, from] = squeezed(x, c, plane.w());
    return {isFirst, from, y};
}

Pick squeezedDown(const Plane& plane, int c, int x, int y) {
    const auto [isFirst, from] = squeezed(y, c, plane.h());
    return {isFirst, x, from};
}

// With the other picture first.
Pick swapped(const Pick& pick) {
    return {!pick.isB, pick.x, pick.y};
}

// Samples of the plane that a part of the canvas' length makes.
int part(float share, int length, const Plane& plane) {
    return static_cast<int>(share * static_cast<float>(length)) / plane.half;
}

using In = const Plane&;
const std::map<std::string, Formula> formulas{
    {"wipe_lr",
     [](In in, float p, int x, int y) {
         return Pick{x < part(p, in.W, in), x, y};
     }},
    {"wipe_rl",
     [](In in, float p, int x, int y) {
         return Pick{x >= part(1 - p, in.W, in), x, y};
     }},
    {"wipe_tb",
     [](In in, float p, int x, int y) {
         return Pick{y < part(p, in.H, in), x, y};
     }},
    {"wipe_bt",
     [](In in, float p, int x, int y) {
         return Pick{y >= part(1 - p, in.H, in), x, y};
     }},
    {"wipe_diagonal",
     [](In in, float p, int x, int y) {
         const bool isB = in.half * x + in.half * y < static_cast<int>((in.W + in.H) * p);
         return Pick{isB, x, y};
     }},
    {"wipe_box",
     [](In in, float p, int x, int y) {
         return Pick{isInBox(in, p, x, y), x, y};
     }},
    {"wipe_circle",
     [](In in, float p, int x, int y) {
         return Pick{isInCircle(in, p, x, y), x, y};
     }},
    {"slide_lr",
     [](In in, float p, int x, int y) {
         const int s = part(p, in.W, in);
         return x < s ? Pick{true, in.w() - s + x, y} : Pick{false, x - s, y};
     }},
    {"slide_rl",
     [](In in, float p, int x, int y) {
         const int left = in.w() - part(p, in.W, in);
         return x < left || left == in.w() ? Pick{false, x + in.w() - left, y}
                                           : Pick{true, x - left, y};
     }},
    {"slide_tb",
     [](In in, float p, int x, int y) {
         const int s = part(p, in.H, in);
         return y < s ? Pick{true, x, in.h() - s + y} : Pick{false, x, y - s};
     }},
    {"slide_bt",
     [](In in, float p, int x, int y) {
         const int left = in.h() - part(p, in.H, in);
         return y < left || left == in.h() ? Pick{false, x, y + in.h() - left}
                                           : Pick{true, x, y - left};
     }},
    {"squeeze_lr",
     [](In in, float p, int x, int y) { return squeezedAcross(in, part(p, in.W, in), x, y); }},
    {"squeeze_rl", [](In in, float p, int x,
                      int y) { return swapped(squeezedAcross(in, part(1 - p, in.W, in), x, y)); }},
    {"squeeze_tb",
     [](In in, float p, int x, int y) { return squeezedDown(in, part(p, in.H, in), x, y); }},
    {"squeeze_bt", [](In in, float p, int x,
                      int y) { return swapped(squeezedDown(in, part(1 - p, in.H, in), x, y)); }},
};

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

// `expected` tells the sample of a plane from a place.
template <typename Expected>
testing::AssertionResult isEverywhere(const Picture& out, const Expected& expected) {
    for (std::size_t index = 0; index < 3; ++index) {
        const Plane plane = out.planeAt(index);
        for (int y = 0; y < plane.rows(); ++y) {
            for (int x = 0; x < plane.columns(); ++x) {
                const int wanted = expected(index, x, y);
                if (out.at(index, x, y) == wanted) continue;
                return testing::AssertionFailure()
                       << plane.W << " by " << plane.H << ", plane " << index << ", " << x << ' '
                       << y << ": " << out.at(index, x, y) << " in place of " << wanted;
            }
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult isDrawn(const std::string& type, float p, const Picture& a,
                                 const Picture& b, const Picture& out) {
    const auto levels = [](const Picture& picture, std::size_t index, int x, int y) {
        return static_cast<float>(picture.at(index, x, y));
    };
    if (type == "fade") {
        return isEverywhere(out, [&](std::size_t index, int x, int y) {
            return faded(levels(a, index, x, y), levels(b, index, x, y), p);
        });
    }
    if (type == "dip") {
        const std::array<u8, 3> color{dipColor.y, dipColor.u, dipColor.v};
        return isEverywhere(out, [&](std::size_t index, int x, int y) {
            return dipped(levels(a, index, x, y), levels(b, index, x, y), color[index], p);
        });
    }
    const Formula formula = formulas.at(type);
    return isEverywhere(out, [&](std::size_t index, int x, int y) {
        const Pick pick = formula(a.planeAt(index), p, x, y);
        return (pick.isB ? b : a).at(index, pick.x, pick.y);
    });
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
            ASSERT_TRUE(isDrawn(GetParam(), p, a, b, out)) << "at " << p;
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
        EXPECT_TRUE(isDrawn(GetParam(), p, a, b, out)) << "at " << p;
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
        EXPECT_TRUE(isDrawn(GetParam(), p, a, b, out)) << "at " << p;
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
