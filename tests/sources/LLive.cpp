// A live input on a machine without the vendors' runtimes.
#include "quolsdk/LLive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "core/Clock.h"
#include "core/SoundBlock.h"
#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/NoThreads.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;

constexpr int ndiDevice = 0;
constexpr int vtpDevice = 1;
constexpr int testDevice = 2;

class OpenLive : public LLive {
public:
    std::size_t queued() { return queuedFrames(); }
    // Seconds of the queued pictures, the oldest first.
    std::vector<double> queuedTimes() {
        const std::lock_guard lock(frameQueueMutex);
        std::vector<double> times;
        for (const AVFrame* frame : frameQueue)
            times.push_back(static_cast<double>(frame->pts) * av_q2d(frame->time_base));
        return times;
    }
    float peakLeft() const { return audioPeakLeft; }
    float peakRight() const { return audioPeakRight; }
};

class LLiveTest : public testing::Test {
protected:
    LLiveTest() { live.addSink(&sink); }
    ~LLiveTest() override {
        live.Stop();
        live.removeSink(&sink);
    }
    bool startTest() {
        live.DeviceSet(testDevice);
        live.DeviceChannelSet(0);
        return live.Start();
    }
    int status() {
        int value = -1;
        live.statusGet(value);
        return value;
    }

    CollectingSink sink{4};
    OpenLive live;
};

TEST_F(LLiveTest, WithoutCardsThereAreThreeDevices) {
    int count = -1;
    live.DeviceGetCount(count);
    EXPECT_EQ(count, 3);
    struct Row {
        const char* name;
        const char* description;
    };
    const Row rows[] = {{"NDI Receiver", "Network Device Interface"},
                        {"VTP Receiver", "Video Transmission Protocol"},
                        {"Test Signal", "Internal Generator"}};
    for (int i = 0; i < 3; ++i) {
        std::string name;
        std::string description;
        live.DeviceGetByIndex(i, name, description);
        EXPECT_EQ(name, rows[i].name);
        EXPECT_EQ(description, rows[i].description);
    }
    for (const int none : {-1, 3, 1000, INT32_MIN, INT32_MAX}) {
        std::string name = "x";
        std::string description = "x";
        live.DeviceGetByIndex(none, name, description);
        EXPECT_EQ(name, "");
        EXPECT_EQ(description, "");
    }
}

TEST_F(LLiveTest, ChannelsOfTheFixedDevices) {
    int count = -1;
    live.DeviceChannelGetCount(ndiDevice, count);
    EXPECT_EQ(count, 0);
    live.DeviceChannelGetCount(testDevice, count);
    EXPECT_EQ(count, 1);
    for (const int none : {-1, 3, 1000, INT32_MIN, INT32_MAX}) {
        count = -1;
        live.DeviceChannelGetCount(none, count);
        EXPECT_EQ(count, 0);
    }
    std::string name;
    std::string description = "x";
    live.DeviceChannelGetByIndex(testDevice, 0, name, description);
    EXPECT_EQ(name, "Internal SMPTE Pattern");
    EXPECT_EQ(description, "");
    for (const int device : {ndiDevice, vtpDevice, 3, -1}) {
        name.assign(1, 'x');
        live.DeviceChannelGetByIndex(device, 5, name, description);
        EXPECT_EQ(name, "");
    }
}

TEST_F(LLiveTest, FormatsOfTheFixedDevices) {
    int count = -1;
    std::string name;
    videoFormatProps format;
    for (const int device : {ndiDevice, vtpDevice}) {
        live.DeviceFormatVideoGetCount(device, 0, count);
        EXPECT_EQ(count, 1);
        live.DeviceFormatVideoGetByIndex(device, 0, 0, name, format);
        EXPECT_EQ(name, "Auto Detect");
        EXPECT_EQ(format.mode, 1U);
        EXPECT_EQ(format.width, 0);
        EXPECT_EQ(format.fps, 0.0);
    }
    live.DeviceFormatVideoGetCount(testDevice, 0, count);
    EXPECT_EQ(count, 1);
    live.DeviceFormatVideoGetByIndex(testDevice, 0, 0, name, format);
    EXPECT_EQ(name, "1080p25");
    EXPECT_EQ(format.mode, 1U);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(format.height, 1080);
    EXPECT_EQ(format.fps, 25.0);
    for (const int index : {-1, 1}) {
        live.DeviceFormatVideoGetByIndex(testDevice, 0, index, name, format);
        EXPECT_EQ(name, "1080p25"); // nothing is written
    }
    live.DeviceFormatVideoGetCount(7, 0, count);
    EXPECT_EQ(count, 0);
}

TEST_F(LLiveTest, StartWithoutADeviceIsFalse) {
    EXPECT_FALSE(live.Start());
    EXPECT_EQ(status(), 0);
    live.DeviceSet(77);
    EXPECT_FALSE(live.Start());
    live.Stop(); // nothing to do
}

TEST_F(LLiveTest, WithoutARuntimeConstructionSaysSoAndGoesOn) {
    std::string told;
    {
        CapturedStream error(CapturedStream::Stream::error);
        const LLive another;
        told = error.text();
    }
    EXPECT_EQ(told, "LLive: NDIlib_initialize failed!\n");
}

TEST_F(LLiveTest, NdiWithoutARuntimeEndsByItself) {
    live.DeviceSet(ndiDevice);
    live.DeviceChannelSet(0);
    EXPECT_TRUE(live.Start());
    EXPECT_TRUE(test::waitUntil([this] { return status() == 0; }));
    live.Stop();
    EXPECT_TRUE(live.Start()); // and can be tried again
}

TEST_F(LLiveTest, ANewOneHasItsDefaults) {
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(live.getFPS(), 25.0);
    EXPECT_EQ(live.getWidth(), 0);
    EXPECT_EQ(live.getHeight(), 0);
    EXPECT_EQ(live.getModeName(), "No Signal");
    EXPECT_EQ(live.getTimeCode(), "");
    videoFormatProps video;
    live.getVideoFormat(video);
    EXPECT_EQ(video.mode, 1U);
    EXPECT_EQ(video.width, 0);
    audioFormatProps audio{1, 1, 1, 1};
    live.getAudioFormat(audio);
    EXPECT_EQ(audio.mode, 0U);
    EXPECT_EQ(audio.sampleRate, 0);
    live.setProps("timecode", "true");
    EXPECT_EQ(live.getTimeCode(), "00:00:00:00");
    live.setProps("timecode", "True");
    EXPECT_EQ(live.getTimeCode(), "");
    live.setProps("timecode", "1");
    EXPECT_EQ(live.getTimeCode(), "00:00:00:00");
}

TEST_F(LLiveTest, FormatsAreExpandedByTheTables) {
    live.setVideoFormat({13, 1, 1, 1.0, 6});
    videoFormatProps video;
    live.getVideoFormat(video);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.fps, 50.0);
    EXPECT_EQ(video.pixelFormat, 6);
    EXPECT_EQ(live.getFPS(), 50.0);
    live.setAudioFormat({6, 0, 0, 0});
    audioFormatProps audio;
    live.getAudioFormat(audio);
    EXPECT_EQ(audio.sampleRate, 48000);
    EXPECT_EQ(audio.channels, 2);
}

TEST_F(LLiveTest, NumbersThatAreNoneThrowAndChangeNothing) {
    live.setProps("audio_gain", "50");
    EXPECT_THROW(live.setProps("timecodeSource", "abc"), std::invalid_argument);
    EXPECT_THROW(live.setProps("audio_gain", ""), std::invalid_argument);
    EXPECT_THROW(live.setProps("audio_gain", "99999999999"), std::out_of_range);
    live.setProps("no such key", "abc");
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForSounds(2));
    EXPECT_TRUE(test::waitUntil([this] { return std::abs(live.peakLeft() - 0.18F) < 0.02F; }));
}

TEST_F(LLiveTest, ATimecodeSourceThatIsNoNumberLeavesTheOneThereWas) {
    live.setProps("timecode", "1");
    live.setProps("timecodeStart", "50:00:00:00"); // no time of day
    live.setProps("timecodeSource", "2");
    EXPECT_THROW(live.setProps("timecodeSource", "abc"), std::invalid_argument);
    EXPECT_THROW(live.setProps("timecodeSource", "99999999999"), std::out_of_range);
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(sink.pictures()[0].timecode.substr(0, 3), "50:");
}

TEST_F(LLiveTest, ATimecodeRunsFromOneOClockUnlessToldOtherwise) {
    live.setProps("timecode", "1");
    live.setProps("timecodeSource", "2");
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(sink.pictures()[0].timecode.substr(0, 6), "01:00:");
}

TEST_F(LLiveTest, WithoutAThreadStartIsFalseAndNothingRuns) {
    live.DeviceSet(testDevice);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(live.Start());
        EXPECT_EQ(status(), 0);
    }
    EXPECT_TRUE(live.Start());
    EXPECT_TRUE(sink.waitForPictures(1));
}

TEST_F(LLiveTest, TheTestSignalGivesPicturesAndSoundUntilItIsStopped) {
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startTest());
        EXPECT_EQ(status(), 1);
        ASSERT_TRUE(sink.waitForPictures(5));
        ASSERT_TRUE(sink.waitForSounds(5));
        live.Stop();
        live.Stop();
        told = output.text();
    }
    EXPECT_EQ(told,
              "LLive: Starting Test Signal...\nLLive: Test Signal Thread Exiting.\n"
              "LLive: Stopped Safely.\n");
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(live.getWidth(), 1920);
    EXPECT_EQ(live.getHeight(), 1080);
    const std::size_t count = sink.pictureCount();
    std::int64_t last = -1;
    for (const test::PictureSeen& picture : sink.pictures()) {
        EXPECT_EQ(picture.width, 1920);
        EXPECT_EQ(picture.height, 1080);
        EXPECT_EQ(picture.format, AV_PIX_FMT_UYVY422);
        EXPECT_GT(picture.pts, last);
        EXPECT_NEAR(picture.seconds, static_cast<double>(picture.pts) / 1e6, 1e-6);
        EXPECT_EQ(picture.timecode, "");
        last = picture.pts;
    }
    for (const test::SoundSeen& sound : sink.sounds()) {
        EXPECT_EQ(sound.samples, 1920);
        EXPECT_EQ(sound.sampleRate, 48000);
        EXPECT_EQ(sound.channels, 2);
        EXPECT_EQ(sound.format, AV_SAMPLE_FMT_S16);
    }
    EXPECT_EQ(sink.pictureCount(), count);
    EXPECT_NEAR(live.peakLeft(), 12000 / 32768.0, 0.01);
    EXPECT_NEAR(live.peakRight(), 12000 / 32768.0, 0.01);
}

TEST_F(LLiveTest, TheModeIsNoSignalEvenWhileFramesArrive) {
    ASSERT_TRUE(startTest());
    for (const std::size_t pictures : {1U, 3U, 5U}) {
        ASSERT_TRUE(sink.waitForPictures(pictures));
        EXPECT_EQ(live.getModeName(), "No Signal");
    }
}

TEST_F(LLiveTest, AColourCodeThatAsksForNothingKeepsTheFormat) {
    live.setVideoFormat({1, 0, 0, 0.0, 4});
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(sink.pictures()[0].format, AV_PIX_FMT_UYVY422);
    live.setVideoFormat({0, 64, 36, 25.0, 4}); // also where the size is another
    EXPECT_TRUE(test::waitUntil([this] { return sink.pictures().back().width == 64; }));
    EXPECT_EQ(sink.pictures().back().format, AV_PIX_FMT_UYVY422);
}

TEST_F(LLiveTest, TheTestSignalIsDrawnOnceAndHandedOutUnchanged) {
    live.setProps("timecode", "1");
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForPictures(6));
    live.Stop();
    const auto kept = sink.keptPictures();
    ASSERT_GE(kept.size(), 2U);
    EXPECT_EQ(kept[0]->data[0], kept[1]->data[0]);
    EXPECT_EQ(av_frame_is_writable(kept[0].get()), 0);
    // Time and time code are each frame's own.
    EXPECT_NE(kept[0]->pts, kept[1]->pts);
}

TEST_F(LLiveTest, TheToneGoesOnFromBlockToBlock) {
    CollectingSink all(64);
    live.addSink(&all);
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(all.waitForSounds(12));
    live.Stop();
    live.removeSink(&all);
    int last = 0;
    for (const quol::FramePtr& block : all.keptSounds()) {
        const std::int16_t* samples = quol::samplesOf(*block);
        for (int i = 0; i < block->nb_samples; ++i) {
            ASSERT_LE(std::abs(samples[2 * i] - last), 1573);
            last = samples[2 * i];
        }
    }
}

TEST_F(LLiveTest, TheTestSignalKeepsItsRate) {
    constexpr std::size_t second = 25; // intervals
    ASSERT_TRUE(startTest());
    // No picture is ahead of its time, and when the machine has time no picture is late.
    const auto isInTime = [](const test::PictureSeen& from, const test::PictureSeen& to) {
        const double seconds = to.seconds - from.seconds;
        return seconds > 0.9 && seconds < 1.1;
    };
    EXPECT_TRUE(test::waitUntil(
        [&] {
            const auto seen = sink.pictures();
            return seen.size() > second && isInTime(seen[seen.size() - 1 - second], seen.back());
        },
        std::chrono::seconds(90)));
    live.Stop();
    const auto seen = sink.pictures();
    for (std::size_t i = 0; i < seen.size(); ++i)
        EXPECT_GE(seen[i].seconds, 0.04 * static_cast<double>(i) - 0.001) << i;
}

// What was stamped lies between the moments at which it can have been: `began` to `begun` is when
// the run was started.
template <typename Seen>
void expectStampedSince(const std::vector<Seen>& seen, std::int64_t began, std::int64_t begun) {
    constexpr double rounding = 1e-4;
    std::int64_t before = begun; // the earliest moment of the stamp
    for (const Seen& one : seen) {
        EXPECT_LE(one.seconds, static_cast<double>(one.arrived - began) / 1e9 + rounding);
        EXPECT_GE(one.seconds, static_cast<double>(before - begun) / 1e9 - rounding);
        before = one.arrived;
    }
}

TEST_F(LLiveTest, TimeBeginsWithTheStartAndAnewWithARestart) {
    live.DeviceSet(testDevice);
    for (int run = 0; run < 2; ++run) { // the second restarts the first
        const std::int64_t began = quol::steadyNow();
        ASSERT_TRUE(live.Start());
        const std::int64_t begun = quol::steadyNow();
        sink.clear(); // what is left of the run before
        ASSERT_TRUE(sink.waitForPictures(8));
        ASSERT_TRUE(sink.waitForSounds(8));
        expectStampedSince(sink.pictures(), began, begun);
        expectStampedSince(sink.sounds(), began, begun);
    }
}

TEST_F(LLiveTest, StartWhileItRunsIsARestart) {
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(sink.waitForPictures(3));
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(live.Start());
        told = output.text();
    }
    EXPECT_EQ(told,
              "LLive: Test Signal Thread Exiting.\nLLive: Stopped Safely.\n"
              "LLive: Starting Test Signal...\n");
    const std::size_t before = sink.pictureCount();
    EXPECT_TRUE(sink.waitForPictures(before + 3));
    EXPECT_EQ(status(), 1);
}

TEST_F(LLiveTest, WithoutASinkPicturesQueueUpToFiftyAndSoundVanishes) {
    OpenLive alone;
    alone.DeviceSet(testDevice);
    ASSERT_TRUE(alone.Start());
    ASSERT_TRUE(test::waitUntil([&] { return alone.queued() == 50; }));
    // From then on the oldest makes way for each that comes.
    const std::vector<double> first = alone.queuedTimes();
    ASSERT_EQ(first.size(), 50U);
    ASSERT_TRUE(test::waitUntil([&] { return alone.queuedTimes().front() > first[1]; }));
    const std::vector<double> later = alone.queuedTimes();
    EXPECT_EQ(later.size(), 50U);
    EXPECT_TRUE(std::is_sorted(later.begin(), later.end()));
    EXPECT_NE(std::find(later.begin(), later.end(), first.back()), later.end());
    // Of the sound until then nothing is left.
    CollectingSink counter;
    alone.addSink(&counter);
    ASSERT_TRUE(counter.waitForPictures(3));
    ASSERT_TRUE(counter.waitForSounds(1));
    EXPECT_GE(counter.sounds().front().seconds, later.back() - 0.001);
    alone.removeSink(&counter);
    const std::size_t count = counter.pictureCount();
    EXPECT_EQ(alone.queued(), 50U);
    ASSERT_TRUE(test::waitUntil([&] { return alone.queued() == 50; }));
    alone.Stop();
    EXPECT_EQ(alone.queued(), 50U);
    EXPECT_EQ(counter.pictureCount(), count);
}

TEST_F(LLiveTest, TimecodesReachPicturesAndGetTimeCode) {
    live.setProps("timecode", "true");
    live.setProps("timecodeSource", "2");
    live.setProps("timecodeStart", "23:59:59:24");
    ASSERT_TRUE(startTest());
    ASSERT_TRUE(test::waitUntil([this] { return live.getTimeCode() >= "24:00:00:01"; }));
    live.Stop();
    std::string last;
    for (const test::PictureSeen& picture : sink.pictures()) {
        EXPECT_GE(picture.timecode, "23:59:59:24");
        EXPECT_GE(picture.timecode, last);
        last = picture.timecode;
    }
    EXPECT_GE(last, "24:00:00:01"); // runs on without wrapping
    EXPECT_EQ(live.getTimeCode(), last);
}

TEST_F(LLiveTest, FormatsAndFiltersAreFollowedWhileItRuns) {
    LFilter mute(LFilter::Type::audio);
    LFilter flip(LFilter::Type::video);
    mute.setProps("volume", "0");
    flip.setProps("hflip", "1");
    ASSERT_TRUE(startTest());
    live.setVideoFormat({0, 64, 36, 25.0, 1});
    live.setAudioFormat({0, 16, 44100, 1});
    live.setVideoFilter(&flip);
    live.setAudioFilter(&mute);
    EXPECT_TRUE(test::waitUntil([this] {
        const quol::FramePtr picture = sink.latestPicture();
        const quol::FramePtr sound = sink.latestSound();
        return picture && sound && picture->width == 64 && picture->format == AV_PIX_FMT_YUV420P &&
               picture->data[0][0] < 30 && sound->sample_rate == 44100 &&
               sound->ch_layout.nb_channels == 1 && live.peakLeft() == 0.0F;
    }));
    live.setVideoFilter(nullptr);
    live.setAudioFilter(nullptr);
    live.setVideoFormat({1, 0, 0, 0.0, 0});
    EXPECT_TRUE(test::waitUntil([this] {
        const quol::FramePtr picture = sink.latestPicture();
        return picture->width == 1920 && live.peakLeft() > 0.3F;
    }));
}

TEST_F(LLiveTest, EverythingMayBeCalledFromEverywhereWhileItRuns) {
    ASSERT_TRUE(startTest());
    std::atomic<bool> end{false};
    std::thread host([&] {
        int number = 0;
        while (!end) {
            ++number;
            live.setProps("audio_gain", std::to_string(number % 200));
            live.setProps("timecode", number % 2 == 0 ? "1" : "0");
            live.setProps("timecodeSource", std::to_string(number % 3));
            live.setVideoFormat({number % 2 == 0 ? 0U : 1U, 64, 36, 25.0, number % 18});
            live.getTimeCode();
            live.getFPS();
            live.getWidth();
            int count = 0;
            live.DeviceGetCount(count);
            live.DeviceFormatVideoGetCount(testDevice, 0, count);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(sink.waitForPictures(10));
    for (int i = 0; i < 5; ++i)
        live.Start();
    live.Stop();
    end = true;
    host.join();
}

TEST(LLiveLife, ManyMayComeAndGoWhileTheyRun) {
    for (int i = 0; i < 20; ++i) {
        LLive live;
        live.DeviceSet(testDevice);
        ASSERT_TRUE(live.Start());
    }
}

} // namespace
