#include "compositing/RecentPicture.h"

#include <gtest/gtest.h>

#include "support/PlainFrames.h"

namespace {

constexpr std::int64_t millis = 1'000'000;

TEST(RecentPicture, IsOfThisTickForLessThanHalfAPeriod) {
    quol::RecentPicture recent;
    EXPECT_FALSE(recent.isOfThisTick(0, 50.0));
    const quol::FramePtr picture = test::plainPicture(4, 4, {1, 2, 3});
    recent.keep(picture.get(), 1000 * millis);
    EXPECT_TRUE(recent.isOfThisTick(1000 * millis, 50.0));
    EXPECT_TRUE(recent.isOfThisTick(1010 * millis - 1, 50.0));
    EXPECT_FALSE(recent.isOfThisTick(1010 * millis, 50.0));
    EXPECT_TRUE(recent.isOfThisTick(1019 * millis, 25.0));
    EXPECT_EQ(recent.get()->data[0], picture->data[0]);
}

TEST(RecentPicture, ATickWithoutAPictureCountsToo) {
    quol::RecentPicture recent;
    recent.keep(nullptr, 0);
    EXPECT_TRUE(recent.isOfThisTick(millis, 50.0));
    EXPECT_EQ(recent.get(), nullptr);
    recent.forget();
    EXPECT_FALSE(recent.isOfThisTick(millis, 50.0));
}

} // namespace
