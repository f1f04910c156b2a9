#include "compositing/StingerClip.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/MappedPicture.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"

namespace {

using quol::MemoryBudget;
using quol::StingerClip;
using Outcome = quol::StingerClip::Outcome;

constexpr std::uint64_t mebibyte = 1024 * 1024;
constexpr int width = 2000;
constexpr int height = 1000;

// Of a machine that has so much left above the reserve, for ever.
MemoryBudget budgetOf(std::uint64_t bytes) {
    return MemoryBudget([bytes] { return 64 * mebibyte + bytes; });
}

struct Reading {
    Outcome outcome;
    std::size_t pictures;
};

Reading readClip(const std::string& path, MemoryBudget budget, bool cancelled = false) {
    quol::MediaInput input;
    const std::atomic<bool> cancel{cancelled};
    StingerClip clip(input, cancel, std::move(budget));
    const Outcome outcome = clip.read({path, width, height, 25.0});
    EXPECT_FALSE(input) << "left open";
    return {outcome, clip.takeFrames().size()};
}

std::string sixPictures() {
    return test::alphaClip("six", test::countingPictures(6));
}

TEST(StingerClip, AClipThatFitsIsDecoded) {
    const Reading reading = readClip(sixPictures(), MemoryBudget());
    EXPECT_EQ(reading.outcome, Outcome::decoded);
    EXPECT_EQ(reading.pictures, 6U);
}

TEST(StingerClip, AClipThatGrowsBeyondTheMemoryLeftIsRefusedWhole) {
    std::uint64_t left = 0;
    int asked = 0;
    // What is left shrinks each time that it is asked for.
    const auto shrinking = [&] {
        left = 64 * mebibyte + 40 * mebibyte - std::min(4, asked) * 10 * mebibyte;
        ++asked;
        return left;
    };
    const Reading reading = readClip(sixPictures(), MemoryBudget(shrinking));
    EXPECT_EQ(reading.outcome, Outcome::tooLarge);
    EXPECT_EQ(reading.pictures, 0U);
    EXPECT_EQ(asked, 5); // at the start, for the decoder, and three times for pictures
}

TEST(StingerClip, TheReserveIsLeftAlone) {
    const Reading reading = readClip(sixPictures(), budgetOf(mebibyte));
    EXPECT_EQ(reading.outcome, Outcome::tooLarge);
    EXPECT_EQ(reading.pictures, 0U);
}

// A small file whose pictures are large: they are refused by the decoder, before it has any.
TEST(StingerClip, PicturesOfTheFileLargerThanMemoryAreNotDecoded) {
    std::vector<quol::FramePtr> pictures;
    pictures.push_back(test::makeRgba(3000, 2000, 255));
    const std::string path = test::pngSequence("large", pictures);
    EXPECT_EQ(readClip(path, budgetOf(40 * mebibyte)).outcome, Outcome::unreadable);
    EXPECT_EQ(readClip(path, budgetOf(60 * mebibyte)).outcome, Outcome::decoded);
}

TEST(StingerClip, ACancelledOneIsNotEvenOpened) {
    EXPECT_EQ(readClip(sixPictures(), MemoryBudget(), true).outcome, Outcome::cancelled);
    EXPECT_EQ(readClip("missing.mov", MemoryBudget(), true).outcome, Outcome::cancelled);
}

TEST(StingerClip, AMissingFileIsUnreadable) {
    EXPECT_EQ(readClip(test::temporaryPath("missing.mov"), MemoryBudget()).outcome,
              Outcome::unreadable);
}

} // namespace
