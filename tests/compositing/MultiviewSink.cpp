// The private sink of a multiview's tile: the newest picture, the meter, the sound that goes on.
#include "compositing/MultiviewSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

#include "compositing/WallClock.h"
#include "core/Clock.h"
#include "quolsdk/LObject.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/PlainFrames.h"

namespace {

using quol::AudioPeak;
using test::plainPicture;
using test::plainSound;

AudioPeak levelsOf(const MultiviewSink& sink) {
    return sink.levels(0).value_or(AudioPeak{-1.0F, -1.0F});
}

quol::FramePtr floatSound(int channels, float left, float right) {
    quol::FramePtr sound = test::makeSound(960, 48000, channels, AV_SAMPLE_FMT_FLTP, 0, 0.0);
    auto* const first = reinterpret_cast<float*>(sound->data[0]);
    first[1] = left; // one sample alone, off every fourth
    if (channels > 1) reinterpret_cast<float*>(sound->data[1])[958] = right;
    return sound;
}

} // namespace

TEST(MultiviewSink, KeepsTheNewestPictureAsAReferenceHoweverOld) {
    MultiviewSink sink(nullptr, false);
    EXPECT_FALSE(sink.newestPicture());
    const quol::FramePtr first = plainPicture(16, 16, {10, 20, 30});
    const quol::FramePtr second = plainPicture(16, 16, {40, 50, 60});
    sink.pushVideoFrame(first.get());
    sink.pushVideoFrame(second.get());
    EXPECT_EQ(sink.newestPicture()->data[0], second->data[0]);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(sink.newestPicture()->data[0], second->data[0]);
    EXPECT_EQ(av_buffer_get_ref_count(first->buf[0]), 1);
}

TEST(MultiviewSink, AFlushDropsThePicture) {
    MultiviewSink sink(nullptr, false);
    const quol::FramePtr picture = plainPicture(16, 16, {10, 20, 30});
    sink.pushVideoFrame(picture.get());
    sink.flush();
    EXPECT_FALSE(sink.newestPicture());
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
}

TEST(MultiviewSink, ANullPictureIsIgnored) {
    MultiviewSink sink(nullptr, false);
    const quol::FramePtr picture = plainPicture(16, 16, {10, 20, 30});
    sink.pushVideoFrame(picture.get());
    sink.pushVideoFrame(nullptr);
    EXPECT_TRUE(sink.newestPicture());
}

TEST(MultiviewSink, HasNoLevelsUntilSoundCame) {
    MultiviewSink sink(nullptr, false);
    EXPECT_FALSE(sink.levels(0));
    sink.pushAudioFrame(nullptr);
    const quol::FramePtr empty = plainSound(960, 1000, 1000);
    empty->nb_samples = 0;
    sink.pushAudioFrame(empty.get());
    EXPECT_FALSE(sink.levels(0));
}

TEST(MultiviewSink, SoundFromBeforeACertainTimeDoesNotCount) {
    MultiviewSink sink(nullptr, false);
    const std::int64_t before = quol::steadyNow();
    sink.pushAudioFrame(plainSound(960, 8192, 8192).get());
    EXPECT_TRUE(sink.levels(before));
    EXPECT_FALSE(sink.levels(quol::steadyNow() + 1));
}

TEST(MultiviewSink, InterleavedSoundIsScaledTo1AndTakesEverySample) {
    MultiviewSink sink(nullptr, false);
    const quol::FramePtr sound = plainSound(960, 0, 0);
    auto* const samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
    samples[2 * 501] = -16384;
    samples[2 * 503 + 1] = 8192;
    sink.pushAudioFrame(sound.get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.5F);
    EXPECT_FLOAT_EQ(levelsOf(sink).right, 0.25F);
}

TEST(MultiviewSink, OneInterleavedChannelFeedsBothSides) {
    MultiviewSink sink(nullptr, false);
    const quol::FramePtr sound = test::makeSound(960, 48000, 1, AV_SAMPLE_FMT_S16, 0, 0.0);
    reinterpret_cast<std::int16_t*>(sound->data[0])[7] = 16384;
    sink.pushAudioFrame(sound.get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.5F);
    EXPECT_FLOAT_EQ(levelsOf(sink).right, 0.5F);
}

TEST(MultiviewSink, PlanarFloatTakesTheFirstTwoPlanes) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(floatSound(2, -0.75F, 0.125F).get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.75F);
    EXPECT_FLOAT_EQ(levelsOf(sink).right, 0.125F);
}

TEST(MultiviewSink, OnePlaneOfFloatIsTheLeftAlone) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(floatSound(1, 0.75F, 0.0F).get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.75F);
    EXPECT_FLOAT_EQ(levelsOf(sink).right, 0.0F);
}

TEST(MultiviewSink, AnyOtherFormCountsAsNothing) {
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_S32}) {
        MultiviewSink sink(nullptr, false);
        const quol::FramePtr sound = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP, 0, 1000.0);
        sound->format = format;
        sink.pushAudioFrame(sound.get());
        EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.0F);
        EXPECT_FLOAT_EQ(levelsOf(sink).right, 0.0F);
    }
}

TEST(MultiviewSink, AMeterRisesAtOnceAndFallsBy5PercentABlock) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(plainSound(960, 16384, 8192).get());
    float left = 0.5F;
    float right = 0.25F;
    const quol::FramePtr silence = plainSound(960, 0, 0);
    for (int i = 0; i < 100; ++i) {
        sink.pushAudioFrame(silence.get());
        left = 0.95F * left;
        right = 0.95F * right;
        ASSERT_FLOAT_EQ(levelsOf(sink).left, left);
        ASSERT_FLOAT_EQ(levelsOf(sink).right, right);
    }
    EXPECT_LT(left, 0.01F);
    sink.pushAudioFrame(plainSound(960, 4096, 32767).get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.125F);
    EXPECT_NEAR(levelsOf(sink).right, 1.0F, 1.0e-4F);
}

TEST(MultiviewSink, ALevelFallsToNothingInTheEnd) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(plainSound(960, 32767, 32767).get());
    const quol::FramePtr silence = plainSound(960, 0, 0);
    for (int i = 0; i < 200; ++i)
        sink.pushAudioFrame(silence.get());
    EXPECT_GT(levelsOf(sink).left, 0.0F);
    for (int i = 0; i < 50; ++i)
        sink.pushAudioFrame(silence.get());
    EXPECT_EQ(levelsOf(sink).left, 0.0F);
    EXPECT_EQ(levelsOf(sink).right, 0.0F);
    // The quietest sound there is counts.
    sink.pushAudioFrame(plainSound(960, 1, 1).get());
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 1.0F / 32768.0F);
}

TEST(MultiviewSink, ALevelBelowTheFallingOneDoesNotHoldItUp) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(plainSound(960, 16384, 16384).get());
    sink.pushAudioFrame(plainSound(960, 15900, 15900).get()); // above 95 percent, below the level
    EXPECT_FLOAT_EQ(levelsOf(sink).left, 0.475F);
}

TEST(MultiviewSink, SamplesThatAreNoNumbersDoNotStandForEver) {
    MultiviewSink sink(nullptr, false);
    sink.pushAudioFrame(floatSound(2, std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN())
                            .get());
    EXPECT_TRUE(std::isfinite(levelsOf(sink).left));
    EXPECT_TRUE(std::isfinite(levelsOf(sink).right));
}

TEST(MultiviewSink, ForwardsItsSoundToTheSinksOfItsOwner) {
    LObject owner;
    test::CollectingSink out(4);
    owner.addSink(&out);
    MultiviewSink forwards(&owner, true);
    MultiviewSink keeps(&owner, false);
    MultiviewSink nobodys(nullptr, true);
    const quol::FramePtr sound = plainSound(960, 1000, 2000);
    keeps.pushAudioFrame(sound.get());
    nobodys.pushAudioFrame(sound.get());
    EXPECT_EQ(out.soundCount(), 0U);
    forwards.pushAudioFrame(sound.get());
    ASSERT_EQ(out.soundCount(), 1U);
    EXPECT_EQ(out.latestSound()->data[0], sound->data[0]);
    const quol::FramePtr picture = plainPicture(16, 16, {10, 20, 30});
    forwards.pushVideoFrame(picture.get());
    EXPECT_EQ(out.pictureCount(), 0U);
    owner.removeSink(&out);
}

// A and B forward to each other; a third sink hears each block once.
TEST(MultiviewSink, SoundThatComesBackToItsForwarderStops) {
    LObject a;
    LObject b;
    test::CollectingSink out;
    MultiviewSink intoA(&a, true);
    MultiviewSink intoB(&b, true);
    a.addSink(&intoB);
    b.addSink(&intoA);
    a.addSink(&out);
    const quol::FramePtr sound = plainSound(960, 1000, 2000);
    intoA.pushAudioFrame(sound.get());
    EXPECT_EQ(out.soundCount(), 1U);
    EXPECT_FLOAT_EQ(levelsOf(intoB).left, 1000.0F / 32768.0F);
    intoA.pushAudioFrame(sound.get()); // it is not shut for good
    EXPECT_EQ(out.soundCount(), 2U);
    a.removeSink(&intoB);
    b.removeSink(&intoA);
    a.removeSink(&out);
}

// A block with planes missing, of no known form or rate, would be read out of bounds.
TEST(MultiviewSink, SoundThatCannotBeReadIsNeitherMeteredNorHandedOn) {
    LObject owner;
    test::CollectingSink out;
    owner.addSink(&out);
    MultiviewSink sink(&owner, true);
    const auto push = [&sink](AVSampleFormat format, int sampleRate) {
        const quol::FramePtr empty(av_frame_alloc());
        empty->format = format;
        empty->nb_samples = 960;
        empty->sample_rate = sampleRate;
        av_channel_layout_default(&empty->ch_layout, 2);
        sink.pushAudioFrame(empty.get());
    };
    push(AV_SAMPLE_FMT_FLTP, 48000);
    push(AV_SAMPLE_FMT_S16, 48000);
    const quol::FramePtr rateless = plainSound(960, 1000, 1000);
    rateless->sample_rate = 0;
    sink.pushAudioFrame(rateless.get());
    EXPECT_FALSE(sink.levels(0));
    EXPECT_EQ(out.soundCount(), 0U);
    owner.removeSink(&out);
}

TEST(MultiviewSink, ForwardedSoundTellsTheTimeOfTheWall) {
    LObject owner;
    test::CollectingSink out(1);
    owner.addSink(&out);
    quol::WallClock clock;
    clock.set(7.0, quol::steadyNow(), 0.0); // stands at 7 seconds
    MultiviewSink sink(&owner, true, &clock);
    const auto pushed = [&](std::int64_t pts) {
        sink.pushAudioFrame(plainSound(960, 1000, 1000, pts).get());
        return out.latestSound()->pts;
    };
    constexpr std::int64_t far = 100 * 48000;
    EXPECT_EQ(pushed(far), 7 * 48000);
    EXPECT_EQ(out.latestSound()->time_base.den, 48000);
    EXPECT_EQ(pushed(far + 960), 7 * 48000 + 960);
    EXPECT_EQ(pushed(far + 24000), 7 * 48000 + 24000); // half a second off, and no more
    EXPECT_EQ(pushed(far + 24001), 7 * 48000);         // measured anew
    EXPECT_EQ(pushed(0), 7 * 48000);
    EXPECT_EQ(pushed(AV_NOPTS_VALUE), 7 * 48000 + 960); // goes on
    EXPECT_EQ(pushed(std::numeric_limits<std::int64_t>::max()), 7 * 48000 + 1920);
    owner.removeSink(&out);
}
