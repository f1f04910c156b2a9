// When memory is short a conversion may be lost, the process must not be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/Converting.h"
#include "support/FailingMemory.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RecordedFile.h"

namespace {

using namespace test;

class ConvertMemory : public testing::Test {
protected:
    ConvertMemory() { isSpared = true; }
    ~ConvertMemory() override {
        failEvery = 0;
        isSpared = false;
    }

    // Of what a conversion's thread allocates one fails: the first for 0, the second for 1 ...
    // Whether there were so many.
    static bool failsWithout(LConvert& convert, int number) {
        constexpr int never = 1000000;
        const int before = failures;
        allocations = static_cast<unsigned>(never - number);
        failEvery = never;
        const bool ended = convert.Start() && waitForEnd(convert);
        failEvery = 0;
        EXPECT_TRUE(ended) << number;
        return failures > before;
    }
};

// Each allocation of the conversion's thread fails in its turn, until there is none left to fail.
TEST_F(ConvertMemory, AConversionEndsAndTheNextOneIsWhole) {
    const std::string path = temporaryPath("short.mp4");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("silent.mp4"), mediaPath("mono.wav")});
    int refused = 0;
    int told = 0;
    bool failed = true;
    for (int number = 0; failed && number < 1000; ++number) {
        CapturedStream error(CapturedStream::Stream::error);
        failed = failsWithout(convert, number);
        ASSERT_FALSE(HasFailure());
        const std::string text = error.text();
        if (statusOf(convert) == -1) {
            EXPECT_EQ(text, "LConvert: Could not create output context\n") << number;
            ++refused;
            continue;
        }
        EXPECT_EQ(convert.progress, 1.0) << number;
        if (text.empty()) continue; // something that it can do without
        EXPECT_EQ(text, "LConvert: Conversion ended, Cannot allocate memory: " + path + "\n");
        // What came before it can be played.
        EXPECT_EQ(readRecordedFile(path).error, "") << number;
        ++told;
    }
    EXPECT_FALSE(failed);
    EXPECT_GT(refused, 0);
    EXPECT_GT(told, 0);
    EXPECT_EQ(convertAll(convert), 0);
    EXPECT_EQ(readRecordedFile(path).pictures.size(), 25U);
}

// The muxer asks for the name of every picture, and nothing may be thrown through it.
TEST_F(ConvertMemory, ASequenceOfPicturesEndsToo) {
    const std::string pattern = temporaryPath("short_of_memory_%03d.png");
    const std::string first = temporaryPath("short_of_memory_001.png");
    // Few: there is a conversion for each allocation of each of them.
    constexpr int pictures = 6;
    const std::string clip = temporaryPath("few_pictures.mkv");
    std::vector<quol::FramePtr> frames;
    for (int i = 0; i < pictures; ++i)
        frames.push_back(plainPicture(64, 36, {40 + 30 * i, 128, 128}));
    writeClip(clip, AV_CODEC_ID_FFV1, frames);
    LConvert convert;
    configureSmall(convert, pattern, {clip});
    setPictures(convert, 16, 16, 25.0);
    convert.setContainer("image2");
    convert.setVideoCodec("png");
    convert.setAudioCodec("");
    const std::string line = "LConvert: Conversion ended, Input/output error: " + pattern + "\n";
    int told = 0;
    bool failed = true;
    for (int number = 0; failed && number < 2000; ++number) {
        CapturedStream error(CapturedStream::Stream::error);
        failed = failsWithout(convert, number);
        ASSERT_FALSE(HasFailure());
        if (statusOf(convert) == 0 && error.text() == line) ++told;
    }
    EXPECT_FALSE(failed);
    EXPECT_GE(told, pictures); // one for each at the least
    EXPECT_EQ(convertAll(convert), 0);
    EXPECT_TRUE(std::filesystem::exists(first));
}

} // namespace
