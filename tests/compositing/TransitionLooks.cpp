// Transitions by numbers worked out by hand.
#include <gtest/gtest.h>

#include <string>

#include "compositing/Transitions.h"
#include "core/Handles.h"
#include "support/PlainFrames.h"

namespace {

constexpr test::Levels levelsOfA{40, 60, 80};
constexpr test::Levels levelsOfB{201, 151, 91};
constexpr test::Levels untouched{7, 7, 7};

// Between a picture of one colour and one of another.
quol::FramePtr drawn(const std::string& type, float p, const quol::DipColor& dip = {},
                     int width = 1920, int height = 1080) {
    const quol::FramePtr a = test::plainPicture(width, height, levelsOfA);
    const quol::FramePtr b = test::plainPicture(width, height, levelsOfB);
    quol::FramePtr out = test::plainPicture(width, height, untouched);
    EXPECT_TRUE(quol::drawTransition(type, p, dip, *a, *b, *out));
    return out;
}

int sampleAt(const AVFrame& picture, int plane, int x, int y) {
    return picture.data[plane][y * picture.linesize[plane] + x];
}

// How many samples of a row are of the second picture.
int countOfB(const AVFrame& picture, int plane, int y) {
    const int level = plane == 0 ? levelsOfB.y : plane == 1 ? levelsOfB.u : levelsOfB.v;
    int count = 0;
    for (int x = 0; x < (plane == 0 ? picture.width : picture.width / 2); ++x)
        count += sampleAt(picture, plane, x, y) == level ? 1 : 0;
    return count;
}

TEST(TransitionLooks, AWipeIs21ColumnsWideAt11ThousandthsAndHalfOfItTruncatedOnChroma) {
    const quol::FramePtr out = drawn("wipe_lr", 0.011F);
    for (const int y : {0, 539}) {
        EXPECT_EQ(countOfB(*out, 0, y), 21);
        EXPECT_EQ(countOfB(*out, 1, y), 10);
        EXPECT_EQ(countOfB(*out, 2, y), 10);
    }
    EXPECT_EQ(sampleAt(*out, 0, 20, 0), levelsOfB.y);
    EXPECT_EQ(sampleAt(*out, 0, 21, 0), levelsOfA.y);
    EXPECT_EQ(sampleAt(*out, 1, 9, 0), levelsOfB.u);
    EXPECT_EQ(sampleAt(*out, 1, 10, 0), levelsOfA.u);
}

TEST(TransitionLooks, AFadeHalfWayIsTheMeanTruncated) {
    EXPECT_EQ(test::levelsAt(drawn("fade", 0.5F).get(), 700, 500), (test::Levels{120, 105, 85}));
}

TEST(TransitionLooks, ADipHalfWayIsTheColorAlone) {
    const quol::FramePtr out = drawn("dip", 0.5F, {17, 33, 250});
    EXPECT_EQ(test::levelsAt(out.get(), 0, 0), (test::Levels{17, 33, 250}));
    EXPECT_EQ(test::levelsAt(out.get(), 1919, 1079), (test::Levels{17, 33, 250}));
}

TEST(TransitionLooks, ADipGoesFromTheFirstPictureToTheColorToTheSecond) {
    EXPECT_EQ(test::levelsAt(drawn("dip", 0.25F, {0, 128, 128}).get(), 5, 5),
              (test::Levels{20, 94, 104}));
    EXPECT_EQ(test::levelsAt(drawn("dip", 0.75F, {0, 128, 128}).get(), 5, 5),
              (test::Levels{100, 139, 109}));
}

TEST(TransitionLooks, ADipIsToVideoBlackByDefault) {
    EXPECT_EQ(test::levelsAt(drawn("dip", 0.5F).get(), 5, 5), (test::Levels{16, 128, 128}));
}

TEST(TransitionLooks, WipesHalfWayMeetInTheMiddle) {
    EXPECT_EQ(countOfB(*drawn("wipe_lr", 0.5F), 0, 0), 960);
    EXPECT_EQ(sampleAt(*drawn("wipe_lr", 0.5F), 0, 0, 0), levelsOfB.y);
    EXPECT_EQ(countOfB(*drawn("wipe_rl", 0.5F), 1, 0), 480);
    EXPECT_EQ(sampleAt(*drawn("wipe_rl", 0.5F), 1, 479, 0), levelsOfA.u);
    const quol::FramePtr down = drawn("wipe_tb", 0.5F);
    EXPECT_EQ(countOfB(*down, 0, 539), 1920);
    EXPECT_EQ(countOfB(*down, 0, 540), 0);
    const quol::FramePtr up = drawn("wipe_bt", 0.5F);
    EXPECT_EQ(countOfB(*up, 0, 539), 0);
    EXPECT_EQ(countOfB(*up, 0, 540), 1920);
}

TEST(TransitionLooks, TheDiagonalLeavesOneColumnLessOnEachRow) {
    const quol::FramePtr out = drawn("wipe_diagonal", 0.5F);
    EXPECT_EQ(countOfB(*out, 0, 0), 1500);
    EXPECT_EQ(countOfB(*out, 0, 1), 1499);
    EXPECT_EQ(countOfB(*out, 1, 0), 750);
    EXPECT_EQ(countOfB(*out, 1, 1), 749);
}

TEST(TransitionLooks, TheBoxGrowsFromTheMiddle) {
    const quol::FramePtr out = drawn("wipe_box", 0.25F); // 240 to each side, 135 up and down
    EXPECT_EQ(countOfB(*out, 0, 404), 0);
    EXPECT_EQ(countOfB(*out, 0, 405), 480);
    EXPECT_EQ(countOfB(*out, 0, 674), 480);
    EXPECT_EQ(countOfB(*out, 0, 675), 0);
    EXPECT_EQ(sampleAt(*out, 0, 719, 540), levelsOfA.y);
    EXPECT_EQ(sampleAt(*out, 0, 720, 540), levelsOfB.y);
    EXPECT_EQ(countOfB(*out, 1, 202), 0); // 270 - 135 / 2 = 203
    EXPECT_EQ(countOfB(*out, 1, 203), 240);
}

TEST(TransitionLooks, TheCircleReachesTheCornersAtItsEnd) {
    const quol::FramePtr out = drawn("wipe_circle", 0.5F); // a radius of 550 and of 275
    EXPECT_EQ(countOfB(*out, 0, 540), 1100);
    EXPECT_EQ(countOfB(*out, 0, 0), 208); // sqrt(550 * 550 - 540 * 540) = 104.4
    EXPECT_EQ(countOfB(*out, 1, 270), 550);
    const quol::FramePtr whole = drawn("wipe_circle", 1.0F);
    EXPECT_EQ(countOfB(*whole, 0, 540), 1920);
    EXPECT_EQ(countOfB(*whole, 0, 1), 1920);
}

TEST(TransitionLooks, ATypeWithoutAPictureOfItsOwnIsLeftToTheCaller) {
    const quol::FramePtr a = test::plainPicture(64, 36, levelsOfA);
    const quol::FramePtr b = test::plainPicture(64, 36, levelsOfB);
    for (const char* type : {"cut", "stinger", "wipe", "", "FADE", "fade ", "wipe_lrx"}) {
        const quol::FramePtr out = test::plainPicture(64, 36, untouched);
        EXPECT_FALSE(quol::drawTransition(type, 0.5F, {}, *a, *b, *out)) << type;
        EXPECT_EQ(test::levelsAt(out.get(), 0, 0), untouched) << type;
        EXPECT_EQ(test::levelsAt(out.get(), 63, 35), untouched) << type;
    }
}

TEST(TransitionLooks, FullRangePicturesAreTakenToo) {
    const quol::FramePtr a = test::plainPicture(64, 36, levelsOfA, AV_PIX_FMT_YUVJ420P);
    const quol::FramePtr b = test::plainPicture(64, 36, levelsOfB);
    const quol::FramePtr out = test::plainPicture(64, 36, untouched);
    ASSERT_TRUE(quol::drawTransition("wipe_lr", 0.5F, {}, *a, *b, *out));
    EXPECT_EQ(test::levelsAt(out.get(), 0, 0), levelsOfB);
    EXPECT_EQ(test::levelsAt(out.get(), 63, 35), levelsOfA);
}

// ------------------------------------------------------------------------------------ dip colours

TEST(DipColor, IsReadWithAndWithoutAHashSignAndInBothCases) {
    const quol::DipColor red{76, 84, 255}; // 76.245, 84.98, 255.5
    EXPECT_EQ(quol::dipColorOf("#FF0000"), red);
    EXPECT_EQ(quol::dipColorOf("FF0000"), red);
    EXPECT_EQ(quol::dipColorOf("#ff0000"), red);
    EXPECT_EQ(quol::dipColorOf("fF0000"), red);
}

TEST(DipColor, TruncatesEachLevel) {
    EXPECT_EQ(quol::dipColorOf("#00FF00"), (quol::DipColor{149, 43, 21}));  // 149.7 43.5 21.2
    EXPECT_EQ(quol::dipColorOf("#0000FF"), (quol::DipColor{29, 255, 107})); // 29.1 255.5 107.3
    EXPECT_EQ(quol::dipColorOf("#FFFF00").u, 0);                            // 0.5
    EXPECT_EQ(quol::dipColorOf("#102030"), (quol::DipColor{29, 138, 118})); // 29.04 138.7 118.7
    EXPECT_EQ(quol::dipColorOf("000000"), (quol::DipColor{0, 128, 128}));
}

TEST(DipColor, IsBlackForAnyOtherText) {
    for (const char* text :
         {"", "#", "red", "#12345", "12345", "#1234567", "1234567", "##123456", "#12345G",
          "#1G3456", "G23456", "#12 456", "+12345", "0x1234", "#FFF", "-1-1-1", " 123456"}) {
        EXPECT_EQ(quol::dipColorOf(text), (quol::DipColor{0, 128, 128})) << text;
    }
}

TEST(DipColor, IsVideoBlackBeforeAnyIsChosen) {
    EXPECT_EQ(quol::DipColor(), (quol::DipColor{16, 128, 128}));
}

} // namespace
