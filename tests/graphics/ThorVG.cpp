// What is relied on of ThorVG itself, as the build found it.
#ifdef QUOLSDK_HAS_LOTTIE

#include <thorvg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using tvg::Result;

constexpr std::uint32_t kSize = 100;
constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kNothing = 0;

// A red rectangle over the left half of 100x100, which jumps to the right half at frame 5; ten
// frames at 25 a second.
const char* const kTemplate = R"({
  "v": "5.7.0", "fr": 25, "ip": 0, "op": 10, "w": 100, "h": 100, "layers": [{
    "ty": 4, "nm": "box", "ip": 0, "op": 10, "st": 0,
    "ks": {
      "o": {"a": 0, "k": 100}, "r": {"a": 0, "k": 0}, "a": {"a": 0, "k": [0, 0]},
      "p": {"a": 1, "k": [{"t": 0, "s": [25, 50], "h": 1}, {"t": 5, "s": [75, 50], "h": 1}]},
      "s": {"a": 0, "k": [100, 100]}
    },
    "shapes": [{"ty": "gr", "it": [
      {"ty": "rc", "p": {"a": 0, "k": [0, 0]}, "s": {"a": 0, "k": [50, 100]}, "r": {"a": 0, "k": 0}},
      {"ty": "fl", "c": {"a": 0, "k": [1, 0, 0, 1]}, "o": {"a": 0, "k": 100}},
      {"ty": "tr", "p": {"a": 0, "k": [0, 0]}, "a": {"a": 0, "k": [0, 0]},
       "s": {"a": 0, "k": [100, 100]}, "r": {"a": 0, "k": 0}, "o": {"a": 0, "k": 100}}
    ]}]
  }]
})";

class ThorVG : public testing::TestWithParam<std::uint32_t> {
protected:
    void SetUp() override { ASSERT_EQ(tvg::Initializer::init(GetParam()), Result::Success); }
    void TearDown() override {
        if (canvas_) canvas_->remove(); // it must not hold the picture when its animation goes
        animation_.reset();
        canvas_.reset();
        EXPECT_EQ(tvg::Initializer::term(), Result::Success);
    }

    void load(const std::string& text) {
        animation_.reset(tvg::Animation::gen());
        ASSERT_TRUE(animation_);
        ASSERT_EQ(animation_->picture()->load(text.data(), static_cast<std::uint32_t>(text.size()),
                                              "lottie", nullptr, true),
                  Result::Success);
    }

    void show() {
        canvas_.reset(tvg::SwCanvas::gen());
        ASSERT_TRUE(canvas_);
        ASSERT_EQ(canvas_->target(pixels_.data(), kSize, kSize, kSize, tvg::ColorSpace::ARGB8888),
                  Result::Success);
        ASSERT_EQ(canvas_->add(animation_->picture()), Result::Success);
    }

    void draw() {
        std::fill(pixels_.begin(), pixels_.end(), kNothing);
        ASSERT_EQ(canvas_->update(), Result::Success);
        ASSERT_EQ(canvas_->draw(false), Result::Success);
        ASSERT_EQ(canvas_->sync(), Result::Success);
    }

    std::uint32_t pixel(std::uint32_t x, std::uint32_t y) const { return pixels_[y * kSize + x]; }

    std::unique_ptr<tvg::Animation> animation_;
    std::unique_ptr<tvg::SwCanvas> canvas_;
    std::vector<std::uint32_t> pixels_ = std::vector<std::uint32_t>(kSize * kSize, kNothing);
};

TEST_P(ThorVG, TellsTheLengthOfATemplate) {
    load(kTemplate);
    if (HasFatalFailure()) return;
    EXPECT_FLOAT_EQ(animation_->totalFrame(), 10.0F);
    EXPECT_FLOAT_EQ(animation_->duration(), 0.4F);
    float width = 0.0F;
    float height = 0.0F;
    ASSERT_EQ(animation_->picture()->size(&width, &height), Result::Success);
    EXPECT_FLOAT_EQ(width, 100.0F);
    EXPECT_FLOAT_EQ(height, 100.0F);
}

TEST_P(ThorVG, DrawsTheFrameThatWasAskedFor) {
    load(kTemplate);
    if (HasFatalFailure()) return;
    show();
    if (HasFatalFailure()) return;
    draw();
    EXPECT_EQ(pixel(25, 50), kRed);
    EXPECT_EQ(pixel(75, 50), kNothing);

    ASSERT_EQ(animation_->frame(7.0F), Result::Success);
    draw();
    EXPECT_EQ(pixel(25, 50), kNothing);
    EXPECT_EQ(pixel(75, 50), kRed);
}

TEST_P(ThorVG, RefusesWhatIsNoTemplate) {
    animation_.reset(tvg::Animation::gen());
    ASSERT_TRUE(animation_);
    const std::string text = "a lower third";
    EXPECT_NE(animation_->picture()->load(text.data(), static_cast<std::uint32_t>(text.size()),
                                          "lottie", nullptr, true),
              Result::Success);
}

INSTANTIATE_TEST_SUITE_P(Threads, ThorVG, testing::Values(0U, 2U));

} // namespace

#endif
