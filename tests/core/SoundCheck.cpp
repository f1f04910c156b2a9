#include "core/SoundCheck.h"

#include <gtest/gtest.h>

#include "core/Handles.h"

namespace {

quol::FramePtr good(AVSampleFormat format = AV_SAMPLE_FMT_FLTP) {
    quol::FramePtr frame = quol::makeFrame();
    frame->nb_samples = 480;
    frame->sample_rate = 48000;
    frame->format = format;
    av_channel_layout_default(&frame->ch_layout, 2);
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    return frame;
}

TEST(SoundCheck, TakesSoundOfAllForms) {
    for (const AVSampleFormat format :
         {AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_FLT,
          AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_U8P, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_S32P,
          AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_DBLP, AV_SAMPLE_FMT_S64, AV_SAMPLE_FMT_S64P}) {
        EXPECT_TRUE(quol::isReadableSound(*good(format))) << format;
    }
}

TEST(SoundCheck, TakesRatesThatSoundHas) {
    for (const int rate : {1000, 8000, 768000, 1'000'000})
        EXPECT_TRUE(quol::isSoundRate(rate)) << rate;
    for (const int rate : {-48000, 0, 1, 999, 1'000'001})
        EXPECT_FALSE(quol::isSoundRate(rate)) << rate;
}

TEST(SoundCheck, RefusesWhatLacksSomething) {
    const auto refused = [](auto spoil, AVSampleFormat format = AV_SAMPLE_FMT_FLTP) {
        const quol::FramePtr sound = good(format);
        spoil(*sound);
        return !quol::isReadableSound(*sound);
    };
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.nb_samples = 0; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.nb_samples = -1; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.sample_rate = 0; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.ch_layout.nb_channels = 0; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.ch_layout.nb_channels = -2; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.extended_data[1] = nullptr; }));
    EXPECT_TRUE(
        refused([](AVFrame& frame) { frame.extended_data[0] = nullptr; }, AV_SAMPLE_FMT_S16));
    for (const int format : {-1, static_cast<int>(AV_SAMPLE_FMT_NB), 15, 16, 17, 100000})
        EXPECT_TRUE(refused([&](AVFrame& frame) { frame.format = format; })) << format;
    EXPECT_FALSE(quol::isReadableSound(*quol::makeFrame()));
}

// Packed sound has one plane, whatever lies where others would be.
TEST(SoundCheck, LooksAtNoPlaneThatTheFormHasNot) {
    const quol::FramePtr sound = good(AV_SAMPLE_FMT_S16);
    sound->extended_data[1] = nullptr;
    EXPECT_TRUE(quol::isReadableSound(*sound));
}

} // namespace
