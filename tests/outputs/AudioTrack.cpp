#include "outputs/AudioTrack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

#include "support/Instrumented.h"

namespace {

constexpr int rate = 48000;
constexpr int chunk = 1024;
constexpr double pictureLength = 0.04;
constexpr int rampLength = 30000; // the values of the sound repeat after that many samples

// A value that tells which sample of the source it is, and that is never silence.
std::int16_t valueOf(std::int64_t index) {
    return static_cast<std::int16_t>(index % rampLength + 1);
}

quol::AudioRecord sound(double seconds, int pairs) {
    quol::AudioRecord record;
    record.pts = seconds;
    const std::int64_t first = std::llround(seconds * rate);
    for (int i = 0; i < pairs; ++i) {
        record.samples.push_back(valueOf(first + i));
        record.samples.push_back(static_cast<std::int16_t>(-valueOf(first + i)));
    }
    return record;
}

quol::CodecContextPtr fakeEncoder(AVSampleFormat format, int frameSize) {
    quol::CodecContextPtr context(avcodec_alloc_context3(nullptr));
    context->sample_fmt = format;
    context->sample_rate = rate;
    context->frame_size = frameSize;
    av_channel_layout_default(&context->ch_layout, 2);
    return context;
}

// A track whose encoder keeps all that it gets, as 16-bit samples.
class Track {
public:
    using Waiting = quol::AudioTrack::Waiting;

    explicit Track(int frameSize = chunk, Waiting waiting = Waiting::always)
        : encoder_(fakeEncoder(AV_SAMPLE_FMT_S16, frameSize)),
          track(
              *encoder_, pictureLength, [this](const AVFrame& frame) { keep(frame); }, waiting) {}

    // Sound of the source's time `from` to `to`, in blocks as long as a picture.
    void pushSound(double from, double to) {
        for (double at = from; at < to - 1e-9; at += pictureLength) {
            track.push(sound(at, std::lround(std::min(pictureLength, to - at) * rate)));
        }
    }

    // Pictures from `from` on that stand `offset` later in the file than the source says.
    void advance(double from, double to, double offset = 0.0) {
        for (double at = from; at < to - 1e-9; at += pictureLength)
            track.advance(at, at + offset);
    }
    // The same, and these are the last ones.
    void advanceToTheEnd(double from, double to, double offset = 0.0) {
        advance(from, to, offset);
        track.finish();
    }

    std::int64_t pairs() const { return static_cast<std::int64_t>(left.size()); }
    // What is heard at a time of the file; 0 is silence.
    std::int16_t at(double seconds) const {
        const auto index = static_cast<std::size_t>(std::llround(seconds * rate));
        return index < left.size() ? left[index] : std::int16_t{-1};
    }
    // How far what is heard at a time of the file lies behind a time of the source, in seconds,
    // within half of what the values repeat after; nothing is far away.
    double distance(double fileTime, double sourceTime) const {
        if (at(fileTime) <= 0) return 1e9;
        const double apart = at(fileTime) - valueOf(std::llround(sourceTime * rate));
        return std::remainder(apart, rampLength) / rate;
    }

    std::vector<std::int16_t> left;
    std::vector<std::int16_t> right;
    std::vector<std::int64_t> stamps;

private:
    void keep(const AVFrame& frame) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.data[0]);
        for (int i = 0; i < frame.nb_samples; ++i) {
            left.push_back(samples[i * 2]);
            right.push_back(samples[i * 2 + 1]);
        }
        stamps.push_back(frame.pts);
    }

    quol::CodecContextPtr encoder_;

public:
    quol::AudioTrack track;
};

// The whole of [from, to) of the file holds the source's sound of `offset` earlier.
void expectInPlace(const Track& track, double from, double to, double offset) {
    for (std::int64_t i = std::llround(from * rate); i < std::llround(to * rate); ++i) {
        const std::int16_t wanted = valueOf(i - std::llround(offset * rate));
        const auto index = static_cast<std::size_t>(i);
        ASSERT_LT(index, track.left.size());
        ASSERT_EQ(track.left[index], wanted) << "at " << static_cast<double>(i) / rate;
        ASSERT_EQ(track.right[index], -wanted) << "at " << static_cast<double>(i) / rate;
    }
}

void expectSilence(const Track& track, double from, double to) {
    for (std::int64_t i = std::llround(from * rate); i < std::llround(to * rate); ++i) {
        const auto index = static_cast<std::size_t>(i);
        ASSERT_LT(index, track.left.size());
        ASSERT_EQ(track.left[index], 0) << "at " << static_cast<double>(i) / rate;
        ASSERT_EQ(track.right[index], 0) << "at " << static_cast<double>(i) / rate;
    }
}

TEST(AudioTrack, FirstPictureOnlyTiesTheClocks) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.track.advance(0.0, 0.0);
    track.track.finish();
    EXPECT_EQ(track.pairs(), 0);
}

TEST(AudioTrack, SoundStartsWithTheSecondPictureInWholeChunks) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 0.08);
    EXPECT_EQ(track.pairs(), chunk); // the chunk that ends before 40 ms
    expectInPlace(track, 0.0, 0.02, 0.0);
}

TEST(AudioTrack, FinishWritesTheChunkThatReachesTheLastPicture) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advanceToTheEnd(0.0, 0.08);
    EXPECT_EQ(track.pairs(), 2 * chunk); // the first number of whole chunks that reaches 40 ms
    expectInPlace(track, 0.0, 0.04, 0.0);
    track.track.finish();
    EXPECT_EQ(track.pairs(), 2 * chunk);
}

TEST(AudioTrack, PictureThatTheSoundHasReachedWritesNothing) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 0.08);
    const std::int64_t before = track.pairs();
    track.track.advance(0.04, 0.04);
    track.track.advance(0.02, 0.02);
    EXPECT_EQ(track.pairs(), before);
}

TEST(AudioTrack, WithoutSoundTheTrackIsSilentAndAsLongAsThePictures) {
    Track track;
    track.advanceToTheEnd(0.0, 4.0);
    EXPECT_GE(track.pairs(), std::lround(3.96 * rate));
    EXPECT_LT(track.pairs(), std::lround(3.96 * rate) + chunk);
    expectSilence(track, 0.0, 3.96);
}

TEST(AudioTrack, ChunksCarryContiguousTimeStamps) {
    Track track;
    track.advanceToTheEnd(0.0, 1.0);
    ASSERT_GT(track.stamps.size(), 10U);
    for (std::size_t i = 0; i < track.stamps.size(); ++i) {
        EXPECT_EQ(track.stamps[i], static_cast<std::int64_t>(i) * chunk);
    }
}

TEST(AudioTrack, EncoderWithAFrameSizeGetsFramesOfThatSize) {
    Track track(960);
    track.advanceToTheEnd(0.0, 0.08);
    EXPECT_EQ(track.stamps, (std::vector<std::int64_t>{0, 960}));
}

TEST(AudioTrack, EncoderWithoutAFrameSizeGets1024Samples) {
    Track track(0);
    track.advanceToTheEnd(0.0, 0.08);
    EXPECT_EQ(track.stamps, (std::vector<std::int64_t>{0, 1024}));
}

TEST(AudioTrack, SoundStandsWhereItsPictureStandsInTheFile) {
    constexpr double offset = 0.4 - 100.0;
    Track track;
    track.pushSound(100.0, 103.0);
    track.advance(100.0, 102.0, offset);
    expectSilence(track, 0.0, 0.4);
    expectInPlace(track, 0.4, 2.3, offset);
}

TEST(AudioTrack, SoundFromBeforeTheFirstPictureIsPassedOver) {
    Track track;
    track.pushSound(0.0, 3.0);
    track.advance(1.0, 2.5, -1.0);
    expectInPlace(track, 0.0, 1.4, -1.0);
}

TEST(AudioTrack, SoundThatBeginsLateStartsAtItsOwnTime) {
    Track track;
    track.advance(0.0, 0.2);
    track.pushSound(0.25, 2.0);
    track.advance(0.2, 1.5);
    expectSilence(track, 0.0, 0.25);
    expectInPlace(track, 0.25, 1.4, 0.0);
}

TEST(AudioTrack, SoundThatComesALittleLateFindsItsPlace) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 1.8);
    track.pushSound(1.0, 3.0); // the pictures have been waiting for it
    track.advance(1.8, 2.5);
    expectInPlace(track, 0.0, 2.4, 0.0);
}

TEST(AudioTrack, SoundThatComesTooLateDoesNotShiftTheRest) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 3.0);
    const double written = static_cast<double>(track.pairs()) / rate;
    EXPECT_NEAR(written, 2.0, 0.06); // a second is how long it is waited for
    track.pushSound(1.0, 4.0);
    track.advance(3.0, 3.5);
    expectInPlace(track, 0.0, 1.0, 0.0);
    expectSilence(track, 1.0, written);
    expectInPlace(track, written, 3.4, 0.0);
}

TEST(AudioTrack, HoleInTheSoundStaysAHoleOfItsLength) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 1.4);
    track.pushSound(1.5, 3.0);
    track.advance(1.4, 2.5);
    expectSilence(track, 1.0, 1.5);
    expectInPlace(track, 1.5, 2.4, 0.0);
}

TEST(AudioTrack, SoundThatComesJustBehindItsPictureIsWhole) {
    Track track;
    for (double now = 0.0; now < 4.0 - 1e-9; now += pictureLength) {
        track.track.advance(now, now);
        track.pushSound(now, now + pictureLength);
    }
    expectInPlace(track, 0.0, 3.9, 0.0);
}

TEST(AudioTrack, SoundThatComesInBurstsBehindItsPicturesIsWhole) {
    Track track;
    double pushed = 0.0;
    for (double now = 0.0; now < 10.0 - 1e-9; now += pictureLength) {
        // What a stream file gives: half a second at a time, up to as much behind the picture.
        if (now - pushed > 0.5) {
            track.pushSound(pushed, pushed + 0.52);
            pushed += 0.52;
        }
        track.track.advance(now, now);
    }
    expectInPlace(track, 0.0, 9.0, 0.0);
}

// ------------------------------------------------------------------------------ sent live

constexpr auto live = Track::Waiting::whileSoundComes;

TEST(AudioTrackLive, SilenceIsNotHeldBackWhereNoSoundComes) {
    Track held;
    Track track(chunk, live);
    held.advance(0.0, 0.5);
    track.advance(0.0, 0.5);
    EXPECT_EQ(held.pairs(), 0); // it may still come
    EXPECT_EQ(track.pairs(), std::lround(0.48 * rate) / chunk * chunk);
}

TEST(AudioTrackLive, SoundThatComesBehindItsPictureIsWaitedForAndWhole) {
    Track track(chunk, live);
    track.advance(0.0, 0.4);
    for (int i = 0; i < 50; ++i) { // 0.32 s late, all the while
        const double at = i * pictureLength;
        track.pushSound(0.08 + at, 0.08 + at + pictureLength);
        track.track.advance(0.4 + at, 0.4 + at);
    }
    EXPECT_LT(track.pairs(), std::llround(2.1 * rate)); // as far as the sound has come
    expectInPlace(track, 0.6, 2.0, 0.0);
}

TEST(AudioTrackLive, WhenSoundStopsItIsWaitedForHalfASecondAndNoLonger) {
    Track track(chunk, live);
    for (int i = 0; i < 25; ++i) {
        track.pushSound(i * pictureLength, (i + 1) * pictureLength);
        track.track.advance(i * pictureLength, i * pictureLength);
    }
    track.advance(1.0, 1.4);
    EXPECT_LE(track.pairs(), rate); // all that came
    track.advance(1.4, 2.0);
    EXPECT_GE(track.pairs(), std::llround(1.96 * rate) - chunk); // up to the pictures again
    EXPECT_EQ(track.at(1.5), 0);
    for (int i = 50; i < 100; ++i) { // and when it comes again it is in its place
        track.pushSound(i * pictureLength, (i + 1) * pictureLength);
        track.track.advance(i * pictureLength, i * pictureLength);
    }
    expectInPlace(track, 2.1, 3.9, 0.0);
}

TEST(AudioTrack, HoleOfFarMoreThanWhatIsWaitedForIsKept) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 1.0);
    for (double now = 61.0; now < 66.0 - 1e-9; now += pictureLength) { // nothing came for a minute
        track.pushSound(now, now + pictureLength);
        track.track.advance(now, now);
    }
    track.pushSound(66.0, 67.0);
    for (double now = 66.0; now < 67.0 - 1e-9; now += pictureLength)
        track.track.advance(now, now);
    expectInPlace(track, 0.0, 1.0, 0.0);
    expectSilence(track, 1.0, 61.0);
    expectInPlace(track, 61.0, 66.0, 0.0);
}

TEST(AudioTrack, ChunksLongerThanAPictureAreWhole) {
    Track track(4608);
    for (double now = 0.0; now < 4.0 - 1e-9; now += pictureLength) {
        track.pushSound(now, now + pictureLength);
        track.track.advance(now, now);
    }
    expectInPlace(track, 0.0, 3.8, 0.0);
}

TEST(AudioTrack, SourceThatJumpsBackIsFollowed) {
    Track track;
    track.pushSound(10.0, 12.0);
    track.advance(10.0, 11.92, -10.0);
    track.pushSound(0.0, 3.0); // a loop: its first pictures stand 1.92 s into the file
    track.advance(0.0, 2.0, 1.92);
    expectInPlace(track, 0.0, 1.86, -10.0);
    expectInPlace(track, 1.96, 3.8, 1.92);
}

TEST(AudioTrack, SourceThatLoopsAfterASecondIsFollowed) {
    Track track;
    for (int loop = 0; loop < 5; ++loop) {
        for (int picture = 0; picture < 25; ++picture) { // sound is a little ahead of its picture
            const double now = picture * pictureLength;
            track.pushSound(now, now + pictureLength);
            track.track.advance(now, now + loop);
        }
    }
    for (int loop = 0; loop < 4; ++loop) {
        expectInPlace(track, loop, loop + 0.97, loop);
    }
}

TEST(AudioTrack, SourceThatJumpsForwardIsFollowed) {
    Track track;
    track.pushSound(0.0, 1.2);
    track.advance(0.0, 1.0);
    track.pushSound(60.0, 63.0);
    track.advance(60.0, 62.0, 1.0 - 60.0);
    expectInPlace(track, 0.0, 0.94, 0.0);
    expectInPlace(track, 1.04, 2.9, 1.0 - 60.0);
}

TEST(AudioTrack, StopThatTheSourcesClockDoesNotSeeBecomesSilence) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.advance(0.0, 1.0);
    track.pushSound(1.0, 3.0);
    track.advance(1.0, 2.0, 2.0); // it stood still for two seconds
    expectInPlace(track, 0.0, 0.96, 0.0);
    expectSilence(track, 1.1, 2.9);
    expectInPlace(track, 3.04, 3.9, 2.0);
}

// The source's time runs `speed` times as fast as that of the file. How far, at the worst, is what
// is heard with a picture from what belongs to it?
double worstDistance(double speed, double fileSeconds) {
    constexpr double lead = 0.12; // sound comes ahead of its picture
    Track track;
    track.pushSound(0.0, lead);
    std::vector<double> sourceTimes;
    for (double source = 0.0; source < fileSeconds * speed; source += pictureLength * speed) {
        track.track.push(sound(source + lead, std::lround(pictureLength * speed * rate)));
        track.track.advance(source, source / speed);
        sourceTimes.push_back(source);
    }
    double worst = 0.0;
    for (std::size_t i = 25; i + 25 < sourceTimes.size(); ++i) {
        // Looked at over two pictures: a slow source's sound is stretched by silence now and then.
        double nearest = 1e9;
        for (double around = 0.0; around < 2 * pictureLength; around += 0.005) {
            const double file = sourceTimes[i] / speed + around;
            const double heard = std::fabs(track.distance(file, sourceTimes[i] + around));
            nearest = std::min(nearest, heard);
        }
        worst = std::max(worst, nearest);
    }
    EXPECT_NEAR(static_cast<double>(track.pairs()) / rate, sourceTimes.back() / speed, 0.55);
    return worst;
}

TEST(AudioTrack, SourceThatRunsALittleFastStaysWithinTwoPictures) {
    EXPECT_LE(worstDistance(1.005, 60.0), 2 * pictureLength);
}

TEST(AudioTrack, SourceThatRunsALittleSlowStaysWithinTwoPictures) {
    EXPECT_LE(worstDistance(0.995, 60.0), 2 * pictureLength);
}

// A calculation on one thread: what a sanitizer could find in it the first minute shows.
TEST(AudioTrack, SourceAtTheWallClocksSpeedIsExactForTenMinutes) {
    constexpr double seconds = test::isInstrumented ? 60.0 : 600.0;
    EXPECT_LE(worstDistance(1.0, seconds), 1.0 / rate);
}

TEST(AudioTrack, SourceAtTwiceTheSpeedStaysWithTheTimeOfThePictures) {
    Track track;
    for (double source = 0.0; source < 60.0; source += 2 * pictureLength) {
        track.pushSound(source, source + 2 * pictureLength);
        track.track.advance(source, source / 2);
    }
    EXPECT_NEAR(static_cast<double>(track.pairs()) / rate, 30.0, 0.55);
}

TEST(AudioTrack, PicturesThatAllCarryTheSameTimeStillGetSound) {
    Track track;
    for (double file = 0.0; file < 10.0; file += pictureLength)
        track.track.advance(7.0, file);
    track.track.finish();
    EXPECT_NEAR(static_cast<double>(track.pairs()) / rate, 10.0, 0.6);
}

TEST(AudioTrack, SoundOfAnotherClockIsTakenInTheOrderOfItsArrival) {
    Track track;
    track.advance(0.0, 0.08);
    for (double at = 0.08; at < 4.0; at += pictureLength) {
        track.track.push(sound(5000.0 + at, std::lround(pictureLength * rate)));
        track.track.advance(at, at);
    }
    // Half a second is how long the sound of the right time is waited for.
    const auto first = std::find_if(track.left.begin(), track.left.end(),
                                    [](std::int16_t sample) { return sample != 0; });
    ASSERT_NE(first, track.left.end());
    EXPECT_NEAR(static_cast<double>(first - track.left.begin()) / rate, 0.55, 0.1);
    // Once it runs it runs without a break.
    for (std::size_t i = rate + 1; i < track.left.size(); ++i) {
        ASSERT_EQ(std::lround(std::remainder(track.left[i] - track.left[i - 1], rampLength)), 1);
    }
    EXPECT_GE(track.pairs(), 3 * rate);
}

TEST(AudioTrack, PopTakesTheOldestSoundWhateverTheTimeAskedFor) {
    Track track;
    track.track.push(sound(1.0, 10));
    track.track.push(sound(0.5, 10));
    std::vector<std::int16_t> got(2 * 15, 77);
    EXPECT_EQ(track.track.popAudioSamplesForPts(99.0, got.data(), 15), 15);
    EXPECT_EQ(got[0], valueOf(rate));
    EXPECT_EQ(got[2 * 9], valueOf(rate + 9));
    EXPECT_EQ(got[2 * 10], valueOf(rate / 2));
    EXPECT_EQ(track.track.popAudioSamplesForPts(-1.0, got.data(), 15), 5);
    EXPECT_EQ(got[0], valueOf(rate / 2 + 5)); // a record taken in part keeps its rest
}

TEST(AudioTrack, PopFillsWhatIsMissingWithSilenceAndTellsHowMuchThereWas) {
    Track track;
    track.track.push(sound(1.0, 3));
    std::vector<std::int16_t> got(2 * 8, 77);
    EXPECT_EQ(track.track.popAudioSamplesForPts(0.0, got.data(), 8), 3);
    EXPECT_THAT(std::vector<std::int16_t>(got.begin() + 6, got.end()), testing::Each(0));
    std::fill(got.begin(), got.end(), std::int16_t{77});
    EXPECT_EQ(track.track.popAudioSamplesForPts(0.0, got.data(), 8), 0);
    EXPECT_THAT(got, testing::Each(0));
}

TEST(AudioTrack, PopOfNothingTouchesNothing) {
    Track track;
    track.track.push(sound(0.0, 3));
    std::int16_t untouched = 77;
    EXPECT_EQ(track.track.popAudioSamplesForPts(0.0, &untouched, 0), 0);
    EXPECT_EQ(track.track.popAudioSamplesForPts(0.0, &untouched, -5), 0);
    EXPECT_EQ(untouched, 77);
}

TEST(AudioTrack, QueueHolds5000RecordsAndLosesTheOldest) {
    Track track;
    for (int i = 0; i < 5002; ++i)
        track.track.push(sound(static_cast<double>(i) / rate, 1));
    std::vector<std::int16_t> got(2 * 6000);
    EXPECT_EQ(track.track.popAudioSamplesForPts(0.0, got.data(), 6000), 5000);
    EXPECT_EQ(got[0], valueOf(2));
    EXPECT_EQ(got[2 * 4999], valueOf(5001));
}

TEST(AudioTrack, ClearForgetsAllSound) {
    Track track;
    track.pushSound(0.0, 1.0);
    track.track.clear();
    track.advanceToTheEnd(0.0, 1.0);
    expectSilence(track, 0.0, 0.9);
}

TEST(AudioTrack, SoundMayComeWhileTheTrackIsWritten) {
    Track track;
    std::atomic<bool> done{false};
    std::thread pusher([&] {
        for (double at = 0.0; at < 20.0; at += pictureLength)
            track.pushSound(at, at + pictureLength);
        done = true;
    });
    double now = 0.0;
    while (!done || now < 25.0) {
        track.advance(now, now + pictureLength);
        now += pictureLength;
    }
    pusher.join();
    track.track.finish();
    for (std::size_t i = 0; i < track.left.size(); ++i)
        ASSERT_EQ(track.left[i], -track.right[i]);
    EXPECT_GE(track.pairs(), std::lround(24.9 * rate));
}

// ------------------------------------------------------------------ what the encoder is given

// One chunk of known samples in the encoder's format.
quol::FramePtr encoderFrame(AVSampleFormat format) {
    const quol::CodecContextPtr encoder = fakeEncoder(format, 4);
    quol::FramePtr kept;
    quol::AudioTrack track(*encoder, pictureLength, [&kept](const AVFrame& frame) {
        if (!kept) kept = quol::cloneFrame(&frame);
    });
    quol::AudioRecord record;
    record.samples = {0, 1, -1, 32767, -32768, 256, 1000, -1000};
    track.push(std::move(record));
    track.advance(0.0, 0.0);
    track.advance(4.0 / rate, 4.0 / rate);
    EXPECT_NE(kept, nullptr);
    EXPECT_EQ(kept->format, format);
    EXPECT_EQ(kept->nb_samples, 4);
    EXPECT_EQ(kept->sample_rate, rate);
    EXPECT_EQ(kept->ch_layout.nb_channels, 2);
    return kept;
}

template <typename Sample>
std::vector<Sample> plane(const AVFrame& frame, int index, std::size_t count) {
    std::vector<Sample> samples(count);
    std::memcpy(samples.data(), frame.extended_data[index], count * sizeof(Sample));
    return samples;
}

TEST(AudioTrackFormat, S16IsCopied) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_S16);
    EXPECT_THAT(plane<std::int16_t>(*frame, 0, 8),
                testing::ElementsAre(0, 1, -1, 32767, -32768, 256, 1000, -1000));
}

TEST(AudioTrackFormat, FltIsInterleavedOver32768) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_FLT);
    EXPECT_THAT(plane<float>(*frame, 0, 8),
                testing::ElementsAre(0.0F, 1 / 32768.0F, -1 / 32768.0F, 32767 / 32768.0F, -1.0F,
                                     256 / 32768.0F, 1000 / 32768.0F, -1000 / 32768.0F));
}

TEST(AudioTrackFormat, FltpHasAPlaneForEachSide) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_FLTP);
    EXPECT_THAT(plane<float>(*frame, 0, 4),
                testing::ElementsAre(0.0F, -1 / 32768.0F, -1.0F, 1000 / 32768.0F));
    EXPECT_THAT(plane<float>(*frame, 1, 4), testing::ElementsAre(1 / 32768.0F, 32767 / 32768.0F,
                                                                 256 / 32768.0F, -1000 / 32768.0F));
}

TEST(AudioTrackFormat, S32HasTheSampleInItsUpperHalf) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_S32);
    EXPECT_THAT(plane<std::int32_t>(*frame, 0, 8),
                testing::ElementsAre(0, 65536, -65536, 32767 * 65536, INT32_MIN, 256 * 65536,
                                     1000 * 65536, -1000 * 65536));
}

TEST(AudioTrackFormat, S16pHasAPlaneForEachSide) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_S16P);
    EXPECT_THAT(plane<std::int16_t>(*frame, 0, 4), testing::ElementsAre(0, -1, -32768, 1000));
    EXPECT_THAT(plane<std::int16_t>(*frame, 1, 4), testing::ElementsAre(1, 32767, 256, -1000));
}

TEST(AudioTrackFormat, S32pHasAPlaneForEachSide) {
    const quol::FramePtr frame = encoderFrame(AV_SAMPLE_FMT_S32P);
    EXPECT_THAT(plane<std::int32_t>(*frame, 0, 4),
                testing::ElementsAre(0, -65536, INT32_MIN, 1000 * 65536));
    EXPECT_THAT(plane<std::int32_t>(*frame, 1, 4),
                testing::ElementsAre(65536, 32767 * 65536, 256 * 65536, -1000 * 65536));
}

} // namespace
