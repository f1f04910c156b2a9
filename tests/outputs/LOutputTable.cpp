// The output's tables, settings and states on a machine without cards and without NDI.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "quolsdk/LOutput.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/PlainFrames.h"
#include "support/RefusingSource.h"
#include "support/RunningOutput.h"

namespace {

using test::CapturedStream;
using test::statsOf;
using testing::HasSubstr;

constexpr auto outputStream = CapturedStream::Stream::output;
constexpr auto errorStream = CapturedStream::Stream::error;

constexpr const char* noNdi = "NDIlib_initialize failed!\n";

TEST(LOutputTable, HasTwoDevicesWithoutCards) {
    LOutput output;
    int count = -1;
    output.DeviceGetCount(count);
    EXPECT_EQ(count, 2);
    std::string name;
    std::string description;
    output.DeviceGetByIndex(0, name, description);
    EXPECT_EQ(name, "NDI Output");
    EXPECT_EQ(description, "Network Device Interface");
    output.DeviceGetByIndex(1, name, description);
    EXPECT_EQ(name, "VTP Output");
    EXPECT_EQ(description, "Video Transmission Protocol");
    for (int index : {-1, 2, 1000}) {
        name = description = "left";
        output.DeviceGetByIndex(index, name, description);
        EXPECT_EQ(name, "");
        EXPECT_EQ(description, "");
    }
}

TEST(LOutputTable, NetworkDevicesHaveOneChannel) {
    LOutput output;
    for (int device : {0, 1}) {
        int count = -1;
        output.DeviceChannelGetCount(device, count);
        EXPECT_EQ(count, 1);
        std::string name;
        std::string description;
        output.DeviceChannelGetByIndex(device, 0, name, description);
        EXPECT_EQ(name, "Auto");
        EXPECT_EQ(description, "Auto Channel");
        for (int channel : {-1, 1}) {
            output.DeviceChannelGetByIndex(device, channel, name, description);
            EXPECT_EQ(name, "");
            EXPECT_EQ(description, "");
        }
    }
    int count = -1;
    output.DeviceChannelGetCount(2, count);
    EXPECT_EQ(count, 0);
    output.updateDeckLinkLines(0);
    output.updateDeckLinkLines(-3);
}

TEST(LOutputTable, NetworkDevicesHaveThirtyFiveFormatsAndTwoBehindThem) {
    LOutput output;
    for (int device : {0, 1}) {
        int count = -1;
        output.DeviceFormatVideoGetCount(device, 0, count);
        EXPECT_EQ(count, 35);
        std::string name;
        videoFormatProps format;
        format.pixelFormat = 7;
        output.DeviceFormatVideoGetByIndex(device, 0, 35, name, format);
        EXPECT_EQ(name, "4096x2160p50");
        EXPECT_EQ(format.mode, 37U);
        EXPECT_EQ(format.width, 4096);
        EXPECT_EQ(format.height, 2160);
        EXPECT_EQ(format.fps, 50.0);
        EXPECT_EQ(format.pixelFormat, 7) << "the caller's";
        output.DeviceFormatVideoGetByIndex(device, 0, 10, name, format);
        EXPECT_EQ(name, "1920x1080i50");
        EXPECT_EQ(format.fps, 25.0);
        output.DeviceFormatVideoGetByIndex(device, 0, 37, name, format);
        EXPECT_EQ(name, "");
        EXPECT_EQ(format.width, 0);
        EXPECT_EQ(format.height, 0);
        EXPECT_EQ(format.fps, 0.0);
    }
    int count = -1;
    output.DeviceFormatVideoGetCount(7, 0, count);
    EXPECT_EQ(count, 0);
    std::string name = "left";
    videoFormatProps format;
    output.DeviceFormatVideoGetByIndex(7, 0, 0, name, format);
    EXPECT_EQ(name, "left");
}

TEST(LOutputTable, NewOneHasItsDefaults) {
    LOutput output;
    const OutputStats stats = statsOf(output);
    EXPECT_EQ(stats.width, 1920);
    EXPECT_EQ(stats.height, 1080);
    EXPECT_EQ(stats.frameRate, 25.0);
    EXPECT_EQ(stats.audioChannels, 2);
    EXPECT_EQ(stats.audioRate, 48000);
    EXPECT_EQ(stats.framesDropped, 0);
    EXPECT_EQ(stats.framesQueued, 0);
    EXPECT_EQ(stats.framesSent, 0);
}

TEST(LOutputTable, ChoicesArePrinted) {
    CapturedStream out(outputStream);
    LOutput output;
    output.setDevice(0); // as it is
    output.setDevice(1);
    output.DeviceChannelSet(3);
    output.DeviceFormatVideoSet(5);  // 1080p23
    output.DeviceFormatVideoSet(11); // 1080p50
    output.DeviceFormatVideoSet(13); // 1080p59
    output.DeviceFormatVideoSet(99);
    EXPECT_EQ(out.text(),
              "[LOutput] Device set to index: 1\n"
              "[LOutput] Channel set to index: 3\n"
              "[LOutput] Video Format set to: 1920x1080 @ 23.976 FPS\n"
              "[LOutput] Video Format set to: 1920x1080 @ 50 FPS\n"
              "[LOutput] Video Format set to: 1920x1080 @ 59.9401 FPS\n"
              "[LOutput] Video Format set to: 0x0 @ 0 FPS\n");
    EXPECT_EQ(statsOf(output).width, 0);
    EXPECT_EQ(statsOf(output).frameRate, 0.0);
}

TEST(LOutputTable, FormatsBehindTheCountMayBeChosen) {
    CapturedStream out(outputStream);
    LOutput output;
    output.setDevice(1);
    for (const auto& [index, rate] : {std::pair(35, 50.0), std::pair(36, 60.0)}) {
        output.DeviceFormatVideoSet(index);
        EXPECT_EQ(statsOf(output).width, 4096) << index;
        EXPECT_EQ(statsOf(output).height, 2160) << index;
        EXPECT_EQ(statsOf(output).frameRate, rate);
    }
}

TEST(LOutputTable, SoundFormatIsTheRecordsOrTheModes) {
    CapturedStream out(outputStream);
    LOutput output;
    output.DeviceFormatAudioSet({0, 16, 44100, 6});
    EXPECT_EQ(statsOf(output).audioRate, 44100);
    EXPECT_EQ(statsOf(output).audioChannels, 6);
    output.DeviceFormatAudioSet({1, 16, 32000, 1});
    output.DeviceFormatAudioSet({8, 0, 1, 1});
    output.DeviceFormatAudioSet({38, 16, 44100, 2});
    EXPECT_EQ(out.text(),
              "[LOutput] Audio Format set to: 44100Hz, 6CH\n"
              "[LOutput] Audio Format set to: 32000Hz, 1CH\n"
              "[LOutput] Audio Format set to: 48000Hz, 8CH\n"
              "[LOutput] Audio Format set to: 0Hz, 0CH\n");
    EXPECT_EQ(statsOf(output).audioRate, 0);
    EXPECT_EQ(statsOf(output).audioChannels, 0);
}

TEST(LOutputTable, EnabledIsTakenWhateverTheStartReturned) {
    CapturedStream error(errorStream);
    LOutput output;
    output.setEnabled(true);
    EXPECT_EQ(error.text(), noNdi);
    output.setEnabled(true);
    EXPECT_EQ(error.text(), noNdi) << "no change, no effect";
    output.setEnabled(false);
    output.setEnabled(true);
    EXPECT_EQ(error.text(), std::string(noNdi) + noNdi);
}

TEST(LOutputTable, StartsOfWhatIsNotThereAreFalse) {
    CapturedStream error(errorStream);
    LOutput output;
    EXPECT_FALSE(output.startNDI());
    EXPECT_FALSE(output.startDeckLink());
    EXPECT_EQ(error.text(), noNdi) << "device 0 is no card, which is no error";
    output.stopNDI();
    output.stopVTP();
    output.stopDeckLink();
}

TEST(LOutputTable, DeviceBeyondTheTableStartsNothingAndEnables) {
    CapturedStream error(errorStream);
    CapturedStream out(CapturedStream::Stream::output);
    LOutput output;
    output.setDevice(2);
    output.setEnabled(true);
    output.setDevice(-5);
    EXPECT_EQ(error.text(), "");
    // Whatever starts says so.
    EXPECT_EQ(out.text(), "[LOutput] Device set to index: 2\n[LOutput] Device set to index: -5\n");
    output.setDevice(0); // enabled all the while, so this one is started
    EXPECT_EQ(error.text(), noNdi);
}

TEST(LOutputTable, PushesAreRefusedWhileNothingRuns) {
    LOutput output;
    const auto picture = test::levelPicture(1);
    const auto sound = test::plainSound(10, 5, 5);
    const auto pushBoth = [&] {
        for (int i = 0; i < 10; ++i) {
            output.pushVideoFrame(picture.get());
            output.pushAudioFrame(sound.get());
        }
        output.pushVideoFrame(nullptr);
        output.pushAudioFrame(nullptr);
    };
    pushBoth();
    output.setEnabled(true); // NDI is not there
    pushBoth();
    EXPECT_EQ(statsOf(output).framesQueued, 0);
    EXPECT_EQ(statsOf(output).framesDropped, 0);
    std::int16_t samples[4] = {9, 9, 9, 9};
    EXPECT_EQ(output.popAudioSamplesForPts(0.0, samples, 2), 0);
    EXPECT_THAT(samples, testing::Each(0));
}

TEST(LOutputTable, EnabledPropertyIsABooleanInTheNarrowSense) {
    CapturedStream error(errorStream);
    LOutput output;
    for (const char* text : {"True", "yes", "", "0"}) {
        output.setProps("enabled", text);
        EXPECT_EQ(error.text(), "") << text;
    }
    output.setProps("enabled", "1");
    EXPECT_EQ(error.text(), noNdi);
    output.setProps("enabled", "TRUE"); // false
    output.setProps("enabled", "true");
    EXPECT_EQ(error.text(), std::string(noNdi) + noNdi);
}

TEST(LOutputTable, GainThatIsNoNumberThrows) {
    LOutput output;
    output.setProps("audio_gain", "80 percent");
    try {
        output.setProps("audio_gain", "loud");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "stof");
    }
    EXPECT_THROW(output.setProps("audio_gain", "1e99"), std::out_of_range);
    output.setProps("audio_gain", "inf");
    output.setProps("audio_gain", "nan");
}

TEST(LOutputTable, OtherPropertiesAreTakenQuietly) {
    CapturedStream out(outputStream);
    CapturedStream error(errorStream);
    LOutput output;
    for (const char* key :
         {"stream_name", "NDI.color_format", "DeckLink.color_format", "scaling_quality", "timecode",
          "timecode_format", "vtp_interface", "vtp_secret", "Enabled", "", "no such key"}) {
        for (const char* value : {"", "BGRA", "bicubic", "true", "whatever"})
            EXPECT_NO_THROW(output.setProps(key, value)) << key;
    }
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TEST(LOutputTable, SourceIsAttachedAndLeft) {
    CapturedStream out(outputStream);
    test::HandSource first;
    test::HandSource second;
    {
        LOutput output;
        output.setSource(&first);
        EXPECT_THAT(out.text(), HasSubstr("addSink"));
        output.setSource(&second);
        EXPECT_THAT(out.text(), HasSubstr("removeSink success!"));
        output.setSource(nullptr);
        output.setSource(nullptr);
        output.setSource(&first);
    }
    // Nobody is called any more.
    first.distributeVideoFrame(test::levelPicture(1).get());
    second.distributeVideoFrame(test::levelPicture(1).get());
    EXPECT_EQ(out.text().find("FAILED"), std::string::npos);
}

TEST(LOutputTable, SourceThatCouldNotBeHadIsNotLeftEither) {
    CapturedStream out(outputStream);
    test::RefusingSource source;
    {
        LOutput output;
        EXPECT_THROW(output.setSource(&source), std::bad_alloc);
        output.setSource(nullptr);
    }
    EXPECT_EQ(source.left, 0);
}

// A sink beside the output that asks it for things with every picture, as a host's monitor does.
class AskingSink : public LSink {
public:
    explicit AskingSink(LOutput& output) : output_(output) {}
    void pushVideoFrame(AVFrame* /*frame*/) override {
        int count = 0;
        output_.DeviceGetCount(count);
        output_.setProps("stream_name", "monitor " + std::to_string(asked));
        ++asked;
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    std::atomic<int> asked{0};

private:
    LOutput& output_;
};

TEST(LOutputTable, AnswersInsideAPushWhileItsSourceChanges) {
    const CapturedStream out(outputStream);
    test::HandSource source;
    LOutput output;
    AskingSink asking(output);
    source.addSink(&asking);
    std::atomic<bool> running{true};
    std::thread pushing([&] {
        const auto picture = test::levelPicture(1);
        while (running)
            source.distributeVideoFrame(picture.get());
    });
    const int before = asking.asked;
    for (int i = 0; i < 200 || asking.asked < before + 20; ++i)
        output.setSource(i % 2 == 0 ? &source : nullptr);
    running = false;
    pushing.join();
    output.setSource(nullptr);
    source.removeSink(&asking);
}

} // namespace
