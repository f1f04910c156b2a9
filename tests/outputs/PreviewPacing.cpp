#include "outputs/PreviewPacing.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace {

using quol::PreviewPacing;

TEST(PreviewPacing, TheFirstPictureIsTheAnchorAndIsShownAtOnce) {
    PreviewPacing pacing;
    EXPECT_EQ(pacing.wait(100.0, 7.0), 0);
    EXPECT_EQ(pacing.timeAt(7.5), 100.5);
}

TEST(PreviewPacing, APictureAheadWaitsWholeMilliseconds) {
    PreviewPacing pacing;
    pacing.wait(0.0, 0.0);
    EXPECT_EQ(pacing.wait(0.04, 0.0), 40);
    EXPECT_EQ(pacing.wait(0.04, 0.0105), 29); // 29.5
    EXPECT_EQ(pacing.wait(0.04, 0.0385), 1);  // 1.5
    EXPECT_EQ(pacing.wait(0.04, 0.0391), 0);  // 0.9
    EXPECT_EQ(pacing.wait(0.04, 0.04), 0);
    EXPECT_EQ(pacing.wait(0.04, 0.5), 0); // late
}

TEST(PreviewPacing, OneThatIs90MillisecondsAheadIsShownAtOnce) {
    PreviewPacing pacing;
    pacing.wait(0.0, 0.0);
    EXPECT_EQ(pacing.wait(0.09, 0.0), 0);
    EXPECT_EQ(pacing.wait(0.08, 0.0), 0);
    EXPECT_EQ(pacing.wait(0.0799, 0.0), 79);
    EXPECT_EQ(pacing.wait(0.04, 0.0), 40); // the anchor has stayed
}

TEST(PreviewPacing, TheAnchorMovesBackWithAJumpBack) {
    PreviewPacing pacing;
    pacing.wait(10.0, 0.0);
    EXPECT_EQ(pacing.wait(9.99, 0.0), 0);
    EXPECT_EQ(pacing.timeAt(0.0), 9.99);
}

TEST(PreviewPacing, TheAnchorMovesAfterMoreThanASecond) {
    PreviewPacing pacing;
    pacing.wait(1.0, 0.0);
    EXPECT_EQ(pacing.wait(2.0, 0.96), 40); // just a second
    EXPECT_EQ(pacing.timeAt(0.0), 1.0);
    EXPECT_EQ(pacing.wait(2.125, 0.96), 0);
    EXPECT_EQ(pacing.timeAt(0.96), 2.125);
}

TEST(PreviewPacing, AfterAResetTheNextPictureIsTheAnchor) {
    PreviewPacing pacing;
    pacing.wait(0.0, 0.0);
    pacing.reset();
    EXPECT_LT(pacing.timeAt(5.0), 0.0);
    EXPECT_EQ(pacing.wait(0.04, 0.0), 0);
    EXPECT_EQ(pacing.timeAt(0.0), 0.04);
}

TEST(PreviewPacing, SoundIsDueFiftyMillisecondsAheadOfThePicture) {
    PreviewPacing pacing;
    EXPECT_EQ(pacing.soundDue(std::nullopt, 7.0), std::numeric_limits<double>::infinity());
    EXPECT_DOUBLE_EQ(pacing.soundDue(3.0, 7.0), 3.05);
    pacing.wait(3.0, 7.0);
    EXPECT_DOUBLE_EQ(pacing.soundDue(std::nullopt, 7.0), 3.05);
    EXPECT_DOUBLE_EQ(pacing.soundDue(std::nullopt, 7.25), 3.3); // the anchor's clock goes on
    EXPECT_DOUBLE_EQ(pacing.soundDue(3.04, 7.25), 3.09);        // a picture's own time goes first
    pacing.reset();
    EXPECT_EQ(pacing.soundDue(std::nullopt, 7.5), std::numeric_limits<double>::infinity());
}

TEST(PreviewPacing, PicturesFromBeforeTimeZeroAreShownAtOnce) {
    PreviewPacing pacing;
    EXPECT_EQ(pacing.wait(-1.0, 0.0), 0);
    EXPECT_EQ(pacing.wait(-0.96, 0.0), 0);
}

} // namespace
