// What becomes of the inputs: joining, sizes, rates, forms of sound, stills.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "quolsdk/LConvert.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/CollectingSink.h"
#include "support/Conversion.h"
#include "support/Converting.h"
#include "support/FilePlayer.h"
#include "support/NumberedClip.h"
#include "support/RecordedFile.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

using test::configureSmall;
using test::convertAll;
using test::mediaPath;
using test::NumberedClip;
using test::readRecordedFile;
using test::RecordedFile;
using test::temporaryPath;
using test::toldBy;

constexpr double samplesLost = 0.05; // seconds: the starts and ends of the codecs' frames

// The sound of a file of 16 bits and two channels, these in turn.
std::vector<std::int16_t> samplesOf(const std::string& path) {
    std::vector<std::int16_t> samples;
    test::decodeEach(path, AVMEDIA_TYPE_AUDIO, [&](const quol::FramePtr& block) {
        const auto* values = reinterpret_cast<const std::int16_t*>(block->data[0]);
        samples.insert(samples.end(), values, values + block->nb_samples * 2);
    });
    return samples;
}

// What a conversion of the inputs to 160x90 and 48 kHz stereo holds.
RecordedFile convertedOf(const std::vector<std::string>& inputs) {
    const std::string path = temporaryPath("converted.mp4");
    EXPECT_EQ(toldBy(path, inputs), "");
    RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    return file;
}

// Pictures are joined one behind the other, and so is the sound, whatever the inputs' times say.
void expectPlainSequence(const RecordedFile& file, std::size_t pictures, double soundSeconds) {
    // An mp4 has no track of nothing.
    EXPECT_EQ(file.video() != nullptr, pictures > 0);
    EXPECT_EQ(file.audio() != nullptr, soundSeconds > 0.0);
    EXPECT_EQ(file.pictures.size(), pictures);
    if (!file.pictures.empty()) {
        EXPECT_NEAR(file.pictures.front().seconds, 0.0, 1e-3);
    }
    for (std::size_t i = 1; i < file.pictures.size(); ++i) {
        ASSERT_NEAR(file.pictures[i].seconds - file.pictures[i - 1].seconds, 0.04, 1e-3) << i;
        ASSERT_EQ(file.pictures[i].width, 160) << i;
        ASSERT_EQ(file.pictures[i].height, 90) << i;
    }
    EXPECT_NEAR(file.soundSeconds(), soundSeconds, samplesLost);
    EXPECT_LT(file.soundHoles, 1e-3);
}

TEST(LConvertFiles, ThreeOfDifferentSizeRateSoundAndCodecAreJoined) {
    const RecordedFile file = convertedOf(
        {mediaPath("rate2997.mp4"), mediaPath("mpeg2.mpg"), mediaPath("vp9_opus.webm")});
    expectPlainSequence(file, 90 + 25 + 25, 3.0 + 1.0 + 1.0);
}

TEST(LConvertFiles, AnUnreadableOneAmongThreeIsLeftOut) {
    const std::string path = temporaryPath("two_of_three.mp4");
    const std::string text = mediaPath("text.mp4");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("h264_aac.mp4"), text, mediaPath("mpeg2.mpg")});
    test::CapturedStream error(test::CapturedStream::Stream::error);
    EXPECT_EQ(convertAll(convert), 0);
    EXPECT_EQ(convert.progress, 1.0);
    EXPECT_EQ(error.text(), "LConvert: Could not open input file: " + text + "\n");
    expectPlainSequence(readRecordedFile(path), 100 + 25, 4.0 + 1.0);
}

TEST(LConvertFiles, NothingButUnreadableOnesLeavesAFileWithoutAPicture) {
    const std::string path = temporaryPath("none.mp4");
    const std::string said =
        toldBy(path, {mediaPath("no such file"), mediaPath("empty.mp4"), mediaPath("text.mp4")});
    for (const char* name : {"no such file", "empty.mp4", "text.mp4"}) {
        EXPECT_THAT(said, testing::HasSubstr(
                              "LConvert: Could not open input file: " + mediaPath(name) + "\n"));
    }
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_TRUE(readRecordedFile(path).pictures.empty());
}

TEST(LConvertFiles, EveryPictureComesThroughInItsOrder) {
    const std::string path = temporaryPath("numbered.mov");
    LConvert convert;
    configureSmall(convert, path, {NumberedClip::path(), NumberedClip::path()});
    test::setPictures(convert, NumberedClip::width, NumberedClip::height, 25.0);
    convert.setVideoBitrate(4000);
    convert.setContainer("mov");
    convert.setAudioCodec("pcm_s16le");
    ASSERT_EQ(convertAll(convert), 0);
    int count = 0;
    bool inOrder = true;
    test::decodeEach(path, AVMEDIA_TYPE_VIDEO, [&](const quol::FramePtr& picture) {
        inOrder = inOrder && NumberedClip::numberOf(*picture) == count++ % NumberedClip::pictures;
    });
    EXPECT_TRUE(inOrder) << "up to picture " << count;
    EXPECT_EQ(count, 2 * NumberedClip::pictures);

    // The same samples, twice, without one missing between.
    const NumberedClip clip;
    const std::vector<std::int16_t> sound = samplesOf(path);
    std::vector<std::int16_t> twice = clip.sound();
    twice.insert(twice.end(), clip.sound().begin(), clip.sound().end());
    EXPECT_TRUE(sound == twice) << sound.size() << " instead of " << twice.size();
}

// Inputs that are told apart: a dark and a bright still, a high and a low sound.
TEST(LConvertFiles, InputsFollowOneAnotherInTheOrderOfAdding) {
    const auto still = [](const std::string& name, int level) {
        std::vector<quol::FramePtr> pictures;
        pictures.push_back(test::makeRgba(160, 90, 255, level, level, level));
        return test::pngSequence(name, pictures);
    };
    const std::string dark = still("dark", 20);
    const std::string bright = still("bright", 230);
    constexpr std::size_t samples = 4800;
    const std::vector<std::int16_t> low(2 * samples, -5000);
    const std::vector<std::int16_t> high(2 * samples, 9000);
    const std::string lowFile = test::waveFile("low", 48000, 2, low);
    const std::string highFile = test::waveFile("high", 48000, 2, high);
    const std::string path = temporaryPath("order.mov");
    LConvert convert;
    configureSmall(convert, path, {bright, lowFile, dark, highFile, bright});
    convert.setContainer("mov");
    convert.setAudioCodec("pcm_s16le");
    ASSERT_EQ(convertAll(convert), 0);
    const RecordedFile file = readRecordedFile(path);
    ASSERT_EQ(file.pictures.size(), 3U);
    EXPECT_GT(file.pictures[0].luma, 180.0);
    EXPECT_LT(file.pictures[1].luma, 60.0);
    EXPECT_GT(file.pictures[2].luma, 180.0);
    std::vector<std::int16_t> both = low;
    both.insert(both.end(), high.begin(), high.end());
    EXPECT_TRUE(samplesOf(path) == both);
}

TEST(LConvertFiles, PicturesAreScaledBicubic) {
    const std::string path = temporaryPath("bicubic.avi");
    const std::string still = mediaPath("still.png");
    LConvert convert;
    configureSmall(convert, path, {still});
    convert.setContainer("avi");
    convert.setVideoCodec("rawvideo");
    ASSERT_EQ(convertAll(convert), 0);
    const auto before = test::decodeAll(still, AVMEDIA_TYPE_VIDEO);
    const auto after = test::decodeAll(path, AVMEDIA_TYPE_VIDEO);
    ASSERT_EQ(before.size(), 1U);
    ASSERT_EQ(after.size(), 1U);
    EXPECT_TRUE(test::isConverted(*before[0], *after[0], SWS_BICUBIC));
    EXPECT_FALSE(test::isConverted(*before[0], *after[0], SWS_BILINEAR)); // where it would be seen
}

// The times of the inputs are dropped, so another rate makes them slower or faster.
TEST(LConvertFiles, TheOutputsRateIsTheOnlyOne) {
    const std::string path = temporaryPath("fifty.mp4");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("h264_aac.mp4"), mediaPath("gap.mkv")});
    test::setPictures(convert, 160, 90, 60000.0 / 1001.0);
    ASSERT_EQ(convertAll(convert), 0);
    const RecordedFile file = readRecordedFile(path);
    ASSERT_EQ(file.pictures.size(), 150U);
    EXPECT_NEAR(file.video()->rate, 60000.0 / 1001.0, 1e-6);
    EXPECT_NEAR(file.pictureSeconds(), 149 * 1001.0 / 60000.0, 1e-3);
}

TEST(LConvertFiles, ASizeThatChangesWithinAFileIsFollowed) {
    expectPlainSequence(convertedOf({mediaPath("size_change.ts")}), 50, 0.0);
}

TEST(LConvertFiles, SoundThatChangesWithinAFileIsFollowed) {
    const RecordedFile file = convertedOf({mediaPath("sound_change.ts")});
    // Two frames of the input's codec belong to its own start.
    EXPECT_NEAR(file.soundSeconds(), 2.0, 0.08);
    EXPECT_LT(file.soundHoles, 1e-3);
}

TEST(LConvertFiles, EveryFormOfSoundBecomesTheOutputs) {
    expectPlainSequence(convertedOf({mediaPath("mono.wav"), mediaPath("flac.flac"),
                                     mediaPath("aac51.mp4"), mediaPath("prores.mov")}),
                        25 + 25, 1.0 + 2.0 + 1.0 + 1.0);
}

TEST(LConvertFiles, SoundOfALayoutThatNobodyKnowsIsLeftOutOrMixed) {
    const RecordedFile file = convertedOf({mediaPath("ten_channels.wav"), mediaPath("mono.wav")});
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_GE(file.soundSeconds(), 1.0 - samplesLost);
    EXPECT_LE(file.soundSeconds(), 2.0 + samplesLost);
}

TEST(LConvertFiles, TheOutputMayHaveManyChannels) {
    const std::string path = temporaryPath("many.mov");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("aac51.mp4")});
    convert.setContainer("mov");
    convert.setAudioCodec("pcm_s16le");
    test::setSound(convert, 44100, 16);
    ASSERT_EQ(convertAll(convert), 0);
    const RecordedFile file = readRecordedFile(path);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->channels, 16);
    EXPECT_EQ(file.audio()->sampleRate, 44100);
    EXPECT_NEAR(file.soundSeconds(), 1.0, samplesLost);
}

TEST(LConvertFiles, InputsWithoutAPictureOrWithoutSound) {
    expectPlainSequence(convertedOf({mediaPath("mono.wav")}), 0, 1.0);
    expectPlainSequence(convertedOf({mediaPath("silent.mp4")}), 25, 0.0);
    expectPlainSequence(convertedOf({mediaPath("mono.wav"), mediaPath("silent.mp4")}), 25, 1.0);
}

TEST(LConvertFiles, AStillIsOnePictureAndASequenceIsItsPictures) {
    expectPlainSequence(convertedOf({mediaPath("still.png")}), 1, 0.0);
    expectPlainSequence(convertedOf({mediaPath("seq/seq_%04d.png")}), 10, 0.0);
    expectPlainSequence(convertedOf({mediaPath("cover.mp3")}), 1, 2.0);
}

TEST(LConvertFiles, OddSizesDeepPicturesAndAlphaAreConverted) {
    const std::string alpha = test::alphaClip("alpha", test::countingPictures(5));
    expectPlainSequence(convertedOf({mediaPath("odd_size.mkv"), mediaPath("tenbit.mp4"), alpha}),
                        25 + 25 + 5, 0.0);
}

// A copy of a clip of H.264 that says it were of a codec that nobody knows.
std::string ofUnknownCodec(const std::string& clip) {
    std::ostringstream read;
    read << std::ifstream(clip, std::ios::binary).rdbuf();
    std::string bytes = read.str();
    int changed = 0;
    for (std::size_t at = bytes.find("avc1"); at != std::string::npos; at = bytes.find("avc1")) {
        bytes.replace(at, 4, "zzzz");
        ++changed;
    }
    EXPECT_GT(changed, 0);
    const std::string path = temporaryPath("unknown.mp4");
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

// Its sound comes through, and nothing is told.
TEST(LConvertFiles, AStreamWithoutADecoderIsLeftOut) {
    const std::string unknown = ofUnknownCodec(mediaPath("h264_aac.mp4"));
    expectPlainSequence(convertedOf({unknown}), 0, 4.0);
    expectPlainSequence(convertedOf({unknown, mediaPath("silent.mp4")}), 25, 4.0);
}

TEST(LConvertFiles, AFileWithNothingThatCanBeDecodedIsLeftOut) {
    const std::string unknown = ofUnknownCodec(mediaPath("silent.mp4"));
    const std::string still = mediaPath("still.png");
    expectPlainSequence(convertedOf({unknown, mediaPath("silent.mp4"), unknown, still}), 26, 0.0);
}

// What is shorter than a frame at the very end is in the file, sample by sample.
TEST(LConvertFiles, UncompressedSoundOfAnyLengthComesThroughWhole) {
    constexpr int samples = 5 * 1024 + 333;
    std::vector<std::int16_t> sound;
    for (int i = 0; i < 2 * samples; ++i)
        sound.push_back(static_cast<std::int16_t>(i * 7919));
    const std::string wave = test::waveFile("odd", 48000, 2, sound);
    const std::string path = temporaryPath("odd.mov");
    LConvert convert;
    configureSmall(convert, path, {wave});
    convert.setContainer("mov");
    convert.setAudioCodec("pcm_s16le");
    ASSERT_EQ(convertAll(convert), 0);
    const std::vector<std::int16_t> after = samplesOf(path);
    EXPECT_TRUE(after == sound) << after.size() << " instead of " << sound.size();
}

// A picture that fits already is encoded as it is, the rest of it left behind.
TEST(LConvertFiles, APictureThatFitsIsNotTouched) {
    const std::string path = temporaryPath("same.avi");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("h264_aac.mp4")});
    test::setPictures(convert, 320, 180, 25.0);
    convert.setContainer("avi");
    convert.setVideoCodec("rawvideo"); // lists no format: 4:2:0
    ASSERT_EQ(convertAll(convert), 0);
    const auto before = test::decodeAll(mediaPath("h264_aac.mp4"), AVMEDIA_TYPE_VIDEO);
    const auto after = test::decodeAll(path, AVMEDIA_TYPE_VIDEO);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        ASSERT_EQ(test::fingerprint(*after[i]), test::fingerprint(*before[i])) << i;
}

// Without a duration to go by, the time of the current file is the progress: it is full after a
// second of each, and begins anew with the next.
TEST(LConvertFiles, ProgressIsThePlainTimeOfTheCurrentFileWhereNoDurationIsKnown) {
    // More than it takes to see two of them done, however long a look is away.
    constexpr int files = test::isInstrumented ? 50 : 500;
    LConvert convert;
    configureSmall(convert, temporaryPath("no_duration.mp4"),
                   std::vector<std::string>(files, mediaPath("no_duration.mkv")));
    ASSERT_TRUE(convert.Start());
    const auto reaches = [&convert](auto wanted) {
        return test::waitUntil(
            [&] {
                EXPECT_LE(convert.progress, 1.0);
                return wanted(convert.progress.load());
            },
            std::chrono::seconds(60));
    };
    const auto isFull = [](double progress) { return progress == 1.0; };
    const auto isBetween = [](double progress) { return progress > 0.0 && progress < 1.0; };
    EXPECT_TRUE(reaches(isFull));
    EXPECT_TRUE(reaches(isBetween));
    EXPECT_TRUE(reaches(isFull));
    EXPECT_EQ(test::statusOf(convert), 1);
    convert.Stop();
}

TEST(LConvertFiles, PlainTimeIsInSeconds) {
    constexpr int files = test::isInstrumented ? 50 : 500;
    LConvert convert;
    configureSmall(convert, temporaryPath("half_seconds.mp4"),
                   std::vector<std::string>(files, mediaPath("no_duration_short.mkv")));
    ASSERT_TRUE(convert.Start());
    double most = 0.0;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            const double now = convert.progress;
            most = std::max(most, now < 1.0 ? now : 0.0); // 1 at the end of it all
            return test::statusOf(convert) != 1;
        },
        std::chrono::seconds(100)));
    // Each lasts for six tenths of a second.
    EXPECT_LT(most, 0.7);
    EXPECT_GT(most, 0.4);
}

TEST(LConvertFiles, ProgressGoesOverAllFilesByTheirDurations) {
    // Ten times the same file: what lies between the first tenth and the last is seen. A shorter
    // one takes long enough for that where a sanitizer looks on.
    const std::string clip =
        test::isInstrumented ? mediaPath("h264_aac.mp4") : NumberedClip::path();
    LConvert convert;
    configureSmall(convert, temporaryPath("progress.mp4"), std::vector<std::string>(10, clip));
    ASSERT_TRUE(convert.Start());
    int steps = 0;
    bool wasBetween = false;
    double reached = 0.0;
    ASSERT_TRUE(test::waitUntil(
        [&] {
            const double now = convert.progress;
            EXPECT_GE(now, reached);
            if (now > reached) ++steps;
            wasBetween = wasBetween || (now > 0.3 && now < 0.9);
            reached = now;
            return test::statusOf(convert) != 1;
        },
        std::chrono::seconds(100)));
    EXPECT_EQ(convert.progress, 1.0);
    EXPECT_GE(steps, 5);
    EXPECT_TRUE(wasBetween); // no file alone gets there
}

// ---------------------------------------------------------------- containers and codecs

struct Pair {
    const char* container;
    const char* video;
    const char* audio;
};

class LConvertPair : public testing::TestWithParam<Pair> {};

TEST_P(LConvertPair, IsReadBackWhole) {
    const Pair& pair = GetParam();
    const std::string path = temporaryPath("pair");
    LConvert convert;
    configureSmall(convert, path, {mediaPath("h264_aac.mp4")});
    convert.setContainer(pair.container);
    convert.setVideoCodec(pair.video);
    convert.setAudioCodec(pair.audio);
    ASSERT_EQ(convertAll(convert), 0);
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.video()->codec, avcodec_get_name(avcodec_find_encoder_by_name(pair.video)->id));
    EXPECT_EQ(file.audio()->codec, avcodec_get_name(avcodec_find_encoder_by_name(pair.audio)->id));
    EXPECT_EQ(file.pictures.size(), 100U);
    EXPECT_NEAR(file.soundSeconds(), 4.0, 0.06);
}

INSTANTIATE_TEST_SUITE_P(
    All, LConvertPair,
    testing::Values(Pair{"mp4", "libx264", "aac"}, Pair{"mp4", "libx265", "libopus"},
                    Pair{"mov", "prores_ks", "pcm_s16le"}, Pair{"mov", "mjpeg", "aac"},
                    Pair{"matroska", "libvpx-vp9", "libopus"}, Pair{"matroska", "libx264", "mp2"},
                    Pair{"webm", "libvpx-vp9", "libopus"}, Pair{"mpegts", "mpeg2video", "mp2"},
                    Pair{"mpegts", "libx264", "aac"}, Pair{"mxf", "mpeg2video", "pcm_s16le"},
                    Pair{"avi", "mjpeg", "pcm_s16le"}, Pair{"flv", "libx264", "aac"}),
    [](const auto& info) {
        std::string name =
            std::string(info.param.container) + "_" + info.param.video + "_" + info.param.audio;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

} // namespace
