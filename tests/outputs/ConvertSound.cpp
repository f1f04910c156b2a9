#include "outputs/ConvertSound.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/Frames.h"

namespace {

// An encoder as far as sound is fitted to it.
quol::CodecContextPtr encoderOf(int rate, int channels, AVSampleFormat format, int frameSize) {
    quol::CodecContextPtr context(avcodec_alloc_context3(nullptr));
    context->sample_rate = rate;
    context->sample_fmt = format;
    context->frame_size = frameSize;
    av_channel_layout_default(&context->ch_layout, channels);
    return context;
}

// What is written, frame by frame.
struct Written {
    std::vector<int> lengths;
    std::vector<std::int64_t> times;
    std::vector<float> left;

    void take(const AVFrame& frame) {
        lengths.push_back(frame.nb_samples);
        times.push_back(frame.pts);
        if (frame.format != AV_SAMPLE_FMT_FLTP) return;
        const auto* samples = reinterpret_cast<const float*>(frame.extended_data[0]);
        left.insert(left.end(), samples, samples + frame.nb_samples);
    }
    std::int64_t samples() const {
        std::int64_t sum = 0;
        for (const int length : lengths)
            sum += length;
        return sum;
    }
};

class ConvertSound : public testing::Test {
protected:
    // Stereo in planar floating point at 48 kHz.
    quol::ConvertSound make(int frameSize, AVSampleFormat format = AV_SAMPLE_FMT_FLTP) {
        return quol::ConvertSound(
            *encoderOf(48000, 2, format, frameSize),
            [this](const AVFrame& frame) { written.take(frame); }, [this] { return wanted; });
    }

    Written written;
    bool wanted = true;
};

TEST_F(ConvertSound, BlocksOfAnyLengthBecomeFramesOfTheEncoder) {
    quol::ConvertSound sound = make(1024);
    for (const int length : {1, 1022, 1, 3000, 48})
        sound.add(*test::makeSound(length, 48000, 2, AV_SAMPLE_FMT_FLTP));
    EXPECT_EQ(written.lengths, (std::vector<int>{1024, 1024, 1024}));
    EXPECT_EQ(written.times, (std::vector<std::int64_t>{0, 1024, 2048}));
    sound.endFile();
    sound.finish();
    EXPECT_EQ(written.lengths.back(), 4072 - 3 * 1024 + 0);
    EXPECT_EQ(written.times.back(), 3072);
}

TEST_F(ConvertSound, AnEncoderThatTakesAnyLengthGets1024) {
    quol::ConvertSound sound = make(0, AV_SAMPLE_FMT_S16);
    sound.add(*test::makeSound(2048, 48000, 2, AV_SAMPLE_FMT_S16));
    EXPECT_EQ(written.lengths, (std::vector<int>{1024, 1024}));
    sound.finish();
    EXPECT_EQ(written.lengths.size(), 2U); // nothing was left
}

// What one file leaves of a frame the next one fills.
TEST_F(ConvertSound, FilesAreJoinedWithoutAGap) {
    quol::ConvertSound sound = make(1024);
    sound.add(*test::makeSound(700, 48000, 2, AV_SAMPLE_FMT_FLTP));
    sound.endFile();
    sound.add(*test::makeSound(700, 48000, 2, AV_SAMPLE_FMT_S16));
    sound.endFile();
    sound.finish();
    EXPECT_EQ(written.lengths, (std::vector<int>{1024, 376}));
}

// A resampler keeps some samples back: at the end of a file they go in.
TEST_F(ConvertSound, AnotherRateKeepsItsLengthAndItsPitch) {
    quol::ConvertSound sound = make(1024);
    constexpr double hertz = 441.0;
    for (int i = 0; i < 100; ++i)
        sound.add(*test::makeSound(441, 44100, 2, AV_SAMPLE_FMT_S16, i * 441, hertz));
    sound.endFile();
    sound.finish();
    EXPECT_NEAR(static_cast<double>(written.samples()), 48000.0, 2.0);
    int crossings = 0;
    for (std::size_t i = 1000; i < 47000; ++i)
        crossings += written.left[i - 1] < 0.0F && written.left[i] >= 0.0F ? 1 : 0;
    EXPECT_NEAR(crossings, hertz * 46000 / 48000, 1.5);
}

TEST_F(ConvertSound, SoundThatChangesIsFollowedWithoutLosingAny) {
    quol::ConvertSound sound = make(1024);
    sound.add(*test::makeSound(44100, 44100, 1, AV_SAMPLE_FMT_S16));
    sound.add(*test::makeSound(22050, 22050, 6, AV_SAMPLE_FMT_FLTP));
    sound.add(*test::makeSound(48000, 48000, 2, AV_SAMPLE_FMT_FLTP));
    sound.endFile();
    sound.finish();
    EXPECT_NEAR(static_cast<double>(written.samples()), 3 * 48000.0, 4.0);
}

// One block of a second a sample becomes a long one; it comes out in pieces, to the last sample.
TEST_F(ConvertSound, ABlockThatBecomesLongComesOutWhole) {
    quol::ConvertSound sound = make(1024);
    sound.add(*test::makeSound(100, 50, 2, AV_SAMPLE_FMT_FLTP, 0, 1.0));
    sound.endFile();
    sound.finish();
    EXPECT_NEAR(static_cast<double>(written.samples()), 2 * 48000.0, 1000.0);
}

TEST_F(ConvertSound, ALongBlockIsLeftWhenTheRestIsNotWanted) {
    quol::ConvertSound sound = make(1024);
    wanted = false;
    sound.add(*test::makeSound(1000, 50, 2, AV_SAMPLE_FMT_FLTP, 0, 1.0));
    EXPECT_LE(written.samples(), 16384);
}

TEST_F(ConvertSound, WhatCannotBeConvertedIsLeftOut) {
    quol::ConvertSound sound = make(1024);
    const quol::FramePtr nothing = quol::makeFrame();
    sound.add(*nothing);
    quol::FramePtr noRate = test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_FLTP);
    noRate->sample_rate = 0;
    sound.add(*noRate);
    sound.endFile();
    sound.finish();
    EXPECT_TRUE(written.lengths.empty());
}

} // namespace
