#include "sources/LiveSound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using test::CapturedStream;

class LiveSoundTest : public testing::Test {
protected:
    LiveSoundTest() { state.startTime = quol::steadyNow(); }

    std::vector<quol::FramePtr> through(AVFrame* frame) {
        seen.clear();
        peaks.clear();
        sound.processAudioFrame(frame);
        return std::move(seen);
    }

    void want(int rate, int channels) {
        const std::lock_guard lock(settings.mutex);
        settings.audio = {0, 0, rate, channels};
    }

    void setFilter(LFilter* filter) {
        const std::lock_guard lock(settings.mutex);
        settings.audioFilter = filter;
    }

    quol::LiveSettings settings;
    quol::LiveState state;
    std::vector<quol::FramePtr> seen;
    std::vector<quol::AudioPeak> peaks;
    const quol::LiveOutlets outlets{
        {},
        [this](AVFrame* frame) { seen.push_back(quol::cloneFrame(frame)); },
        [this](const quol::AudioPeak& peak) { peaks.push_back(peak); }};
    quol::LiveSound sound{settings, state, outlets};
};

quol::FramePtr s16(int samples = 480, int rate = 48000, int channels = 2) {
    return test::makeSound(samples, rate, channels, AV_SAMPLE_FMT_S16, 960);
}

std::int16_t* samplesIn(const AVFrame& frame, int plane = 0) {
    return reinterpret_cast<std::int16_t*>(frame.extended_data[plane]);
}

// The farthest that a sample of the first channel is from silence.
int loudestIn(const std::vector<quol::FramePtr>& blocks) {
    int loudest = 0;
    for (const quol::FramePtr& block : blocks) {
        const bool planar = block->format == AV_SAMPLE_FMT_S16P;
        const int step = planar ? 1 : block->ch_layout.nb_channels;
        for (int i = 0; i < block->nb_samples; ++i)
            loudest = std::max(loudest, std::abs(int{samplesIn(*block)[i * step]}));
    }
    return loudest;
}

TEST_F(LiveSoundTest, NullIsIgnored) {
    EXPECT_TRUE(through(nullptr).empty());
}

TEST_F(LiveSoundTest, SoundThatNeedsNothingReachesTheSinksAsItIs) {
    const quol::FramePtr frame = s16();
    const auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->data[0], frame->data[0]);
    EXPECT_EQ(out[0]->pts, 960);
}

TEST_F(LiveSoundTest, SoundWithoutATimeGetsTheSamplesSinceTheStart) {
    state.startTime = quol::steadyNow() - 2 * quol::nanosPerSecond;
    const quol::FramePtr frame = s16(480, 44100);
    frame->pts = AV_NOPTS_VALUE;
    const auto out = through(frame.get());
    EXPECT_GE(out.at(0)->pts, 2 * 44100);
    EXPECT_LT(out[0]->pts, 60 * 44100);
    EXPECT_EQ(out[0]->time_base.num, 1);
    EXPECT_EQ(out[0]->time_base.den, 44100);
}

TEST_F(LiveSoundTest, GainIsTruncatedAndWrapsAround) {
    settings.audioGain = 200;
    const quol::FramePtr frame = s16(4);
    const std::vector<std::int16_t> in{32767, -32768, 100, -100, 16384, -16385, 1, -1};
    std::copy(in.begin(), in.end(), samplesIn(*frame));
    const auto out = through(frame.get());
    const std::vector<std::int16_t> expected{-2, 0, 200, -200, -32768, 32766, 2, -2};
    const std::int16_t* result = samplesIn(*out.at(0));
    EXPECT_EQ(std::vector<std::int16_t>(result, result + 8), expected);

    settings.audioGain = 50; // towards zero
    const quol::FramePtr quiet = s16(1);
    samplesIn(*quiet)[0] = 3;
    samplesIn(*quiet)[1] = -3;
    const auto halved = through(quiet.get());
    EXPECT_EQ(samplesIn(*halved.at(0))[0], 1);
    EXPECT_EQ(samplesIn(*halved[0])[1], -1);
}

TEST_F(LiveSoundTest, GainFollowsTheFormulaForEverySampleAndManyGains) {
    for (const int gain : {0, 1, 33, 99, 101, 150, 400, -100}) {
        settings.audioGain = gain;
        const quol::FramePtr frame = s16(32768);
        for (int i = 0; i < 65536; ++i)
            samplesIn(*frame)[i] = static_cast<std::int16_t>(i - 32768);
        const auto out = through(frame.get());
        const float factor = static_cast<float>(gain) / 100.0F;
        for (int i = 0; i < 65536; ++i) {
            const int product = static_cast<int>(static_cast<float>(i - 32768) * factor);
            ASSERT_EQ(samplesIn(*out.at(0))[i], static_cast<std::int16_t>(product)) << i;
        }
    }
}

TEST_F(LiveSoundTest, GainWorksOnEveryPlaneOfPlanarSound) {
    settings.audioGain = 300;
    const quol::FramePtr frame = test::makeSound(8, 48000, 3, AV_SAMPLE_FMT_S16P);
    for (int plane = 0; plane < 3; ++plane)
        std::fill_n(samplesIn(*frame, plane), 8, static_cast<std::int16_t>(plane + 1));
    const auto out = through(frame.get());
    for (int plane = 0; plane < 3; ++plane)
        EXPECT_EQ(samplesIn(*out.at(0), plane)[7], 3 * (plane + 1));
}

TEST_F(LiveSoundTest, AGainBeyondAllReasonIsStillANumber) {
    settings.audioGain = INT32_MAX;
    const quol::FramePtr frame = s16();
    EXPECT_EQ(through(frame.get()).size(), 1U);
    settings.audioGain = INT32_MIN;
    EXPECT_EQ(through(frame.get()).size(), 1U);
}

TEST_F(LiveSoundTest, GainLeavesFloatSoundAlone) {
    settings.audioGain = 200;
    const quol::FramePtr frame = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    const float before = reinterpret_cast<float*>(frame->data[0])[12];
    const auto out = through(frame.get());
    EXPECT_EQ(reinterpret_cast<float*>(out.at(0)->data[0])[12], before);
}

TEST_F(LiveSoundTest, PeaksAreMeasuredBehindTheGain) {
    settings.audioGain = 50;
    const quol::FramePtr frame = s16(8);
    std::fill_n(samplesIn(*frame), 16, static_cast<std::int16_t>(0));
    samplesIn(*frame)[8] = 16384;  // left of the fifth sample
    samplesIn(*frame)[9] = -32768; // right
    samplesIn(*frame)[2] = 32767;  // is not looked at
    through(frame.get());
    ASSERT_EQ(peaks.size(), 1U);
    EXPECT_FLOAT_EQ(peaks[0].left, 0.25F);
    EXPECT_FLOAT_EQ(peaks[0].right, 0.5F);
}

TEST_F(LiveSoundTest, AWantedRateResamplesAndSaysSoOnce) {
    want(44100, 0); // two channels then
    std::string told;
    int samples = 0;
    {
        CapturedStream output(CapturedStream::Stream::output);
        for (int i = 0; i < 10; ++i) {
            const quol::FramePtr frame = s16(4800);
            for (const quol::FramePtr& block : through(frame.get())) {
                EXPECT_EQ(block->sample_rate, 44100);
                EXPECT_EQ(block->ch_layout.nb_channels, 2);
                EXPECT_EQ(block->format, AV_SAMPLE_FMT_S16);
                EXPECT_EQ(block->pts, 960); // unchanged, and so is what it counts in
                EXPECT_EQ(block->time_base.den, 48000);
                samples += block->nb_samples;
            }
        }
        told = output.text();
    }
    EXPECT_NEAR(samples, 44100, 64);
    EXPECT_EQ(told, "LLive: Audio Normalization SwrContext Created (48000Hz -> 44100Hz)\n");
}

TEST_F(LiveSoundTest, WantedChannelsAloneMeanFortyEightKilohertz) {
    want(0, 1);
    CapturedStream output(CapturedStream::Stream::output);
    const quol::FramePtr frame = s16(4410, 44100);
    const auto out = through(frame.get());
    EXPECT_EQ(out.at(0)->sample_rate, 48000);
    EXPECT_EQ(out[0]->ch_layout.nb_channels, 1);
    EXPECT_EQ(output.text(),
              "LLive: Audio Normalization SwrContext Created (44100Hz -> 48000Hz)\n");
}

TEST_F(LiveSoundTest, SoundOfTheWantedFormIsNotConverted) {
    want(48000, 2);
    const quol::FramePtr frame = s16();
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LiveSoundTest, FloatSoundOfTheWantedRateBecomesSixteenBit) {
    want(48000, 2);
    CapturedStream output(CapturedStream::Stream::output);
    const quol::FramePtr frame = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    const auto out = through(frame.get());
    EXPECT_EQ(out.at(0)->format, AV_SAMPLE_FMT_S16);
    EXPECT_EQ(out[0]->nb_samples, 480);
}

TEST_F(LiveSoundTest, AChangeOfTheInputMakesANewResampler) {
    want(44100, 2);
    CapturedStream output(CapturedStream::Stream::output);
    for (const int rate : {48000, 48000, 32000, 48000}) {
        const quol::FramePtr frame = s16(rate / 10, rate);
        through(frame.get());
    }
    EXPECT_EQ(output.text(),
              "LLive: Audio Normalization SwrContext Created (48000Hz -> 44100Hz)\n"
              "LLive: Audio Normalization SwrContext Created (32000Hz -> 44100Hz)\n"
              "LLive: Audio Normalization SwrContext Created (48000Hz -> 44100Hz)\n");
}

TEST_F(LiveSoundTest, SoundThatNoResamplerCanBeMadeForGoesOnAsItIs) {
    const quol::FramePtr frame = s16();
    for (const auto& [rate, channels] :
         {std::pair(48000, 1000), std::pair(768001, 2), std::pair(2'000'000'000, 2)}) {
        want(rate, channels);
        EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]) << rate;
    }
    want(768000, 2);
    EXPECT_EQ(through(frame.get()).at(0)->sample_rate, 768000);
}

TEST_F(LiveSoundTest, AFilterIsAppliedAndTakenOffAgain) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("volume", "0");
    setFilter(&filter);
    const quol::FramePtr frame = s16();
    auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(samplesIn(*out[0])[24], 0);
    EXPECT_EQ(out[0]->time_base.den, 48000);
    ASSERT_EQ(peaks.size(), 1U);
    EXPECT_EQ(peaks[0].left, 0.0F);
    EXPECT_NE(samplesIn(*frame)[24], 0); // what came in is not written to

    filter.setProps("volume", "");
    EXPECT_EQ(filter.getFilterString(), "anull");
    EXPECT_NE(samplesIn(*through(frame.get()).at(0))[24], 0);
    filter.setProps("volume", "0");
    EXPECT_EQ(samplesIn(*through(frame.get()).at(0))[24], 0);
    setFilter(nullptr);
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
    setFilter(&filter); // with the text that it had: it works again
    EXPECT_EQ(samplesIn(*through(frame.get()).at(0))[24], 0);
}

TEST_F(LiveSoundTest, AFilterThatIsPutOnAgainKnowsNothingOfTheSoundBefore) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("aecho", "0.5:1:10:0.5"); // each block is heard once more in the next
    setFilter(&filter);
    const quol::FramePtr loud = s16();
    const quol::FramePtr quiet = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16, 1440, 0.0);
    through(loud.get());
    EXPECT_GT(loudestIn(through(quiet.get())), 500);
    through(loud.get());
    setFilter(nullptr);
    EXPECT_EQ(loudestIn(through(quiet.get())), 0);
    setFilter(&filter); // with the text that it had
    const auto again = through(quiet.get());
    ASSERT_EQ(again.size(), 1U);
    EXPECT_EQ(again[0]->nb_samples, 480);
    EXPECT_EQ(loudestIn(again), 0);
}

// How often FFmpeg has told of an error while one of these was there.
class ErrorsTold {
public:
    ErrorsTold() {
        count = 0;
        av_log_set_callback([](void*, int level, const char*, va_list) {
            constexpr int levelBits = 0xff; // above them is a colour
            if ((level & levelBits) <= AV_LOG_ERROR) ++count;
        });
    }
    ErrorsTold(const ErrorsTold&) = delete;
    ErrorsTold& operator=(const ErrorsTold&) = delete;
    ~ErrorsTold() { av_log_set_callback(av_log_default_callback); }

    static inline std::atomic<int> count{0};
};

class FaultyLiveSound : public LiveSoundTest {
protected:
    void expectTriedWithEachBlock(AVFrame* frame) {
        const ErrorsTold told;
        int once = 0;
        for (int i = 1; i <= 3; ++i) {
            EXPECT_EQ(through(frame).at(0)->data[0], frame->data[0]);
            EXPECT_EQ(peaks.size(), 1U);
            if (i == 1) once = told.count.load();
            EXPECT_EQ(told.count.load(), once * i);
        }
        EXPECT_GT(once, 0);
    }
};

TEST_F(FaultyLiveSound, AFaultyFilterLetsTheSoundGoOnAndIsTriedAgain) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("nosuchfilter", "1");
    setFilter(&filter);
    expectTriedWithEachBlock(s16().get());
}

// No description at all, as a host's own text may be.
TEST_F(FaultyLiveSound, AFilterThatBecomesEmptyIsBuiltAnewAndTheSoundGoesOn) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("volume", "0");
    setFilter(&filter);
    const quol::FramePtr frame = s16();
    EXPECT_EQ(samplesIn(*through(frame.get()).at(0))[24], 0);
    filter.setProps("volume", "");
    filter.setProps("", "1");
    ASSERT_EQ(filter.getFilterString(), "");
    expectTriedWithEachBlock(frame.get());
    filter.setProps("", "");
    filter.setProps("volume", "0");
    EXPECT_EQ(samplesIn(*through(frame.get()).at(0))[24], 0);
}

TEST_F(LiveSoundTest, SoundThatChangesItsFormGetsAGraphOfItsOwn) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("volume", "0");
    setFilter(&filter);
    const quol::FramePtr stereo = s16();
    through(stereo.get());
    const quol::FramePtr mono = s16(480, 44100, 1);
    const auto out = through(mono.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->ch_layout.nb_channels, 1);
    EXPECT_EQ(samplesIn(*out[0])[24], 0);
}

} // namespace
