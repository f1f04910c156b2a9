// What the recorder can be told before it records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "outputs/EncoderSession.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/Raised.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::temporaryPath;

TEST(LRecorderSettings, FormatsOfANewRecorderAreTheSources) {
    LRecorder recorder;
    videoFormatProps video;
    audioFormatProps audio;
    recorder.getVideoFormat(video);
    recorder.getAudioFormat(audio);
    EXPECT_EQ(video.mode, 1U);
    EXPECT_EQ(video.width, 0);
    EXPECT_EQ(video.height, 0);
    EXPECT_EQ(video.fps, 0.0);
    EXPECT_EQ(audio.mode, 0U);
    EXPECT_EQ(audio.sampleRate, 0);
    EXPECT_EQ(audio.channels, 0);
    EXPECT_EQ(audio.bitsPerSample, 0);
}

TEST(LRecorderSettings, FormatsAreExpandedByTheirModes) {
    LRecorder recorder;
    videoFormatProps video;
    video.mode = 10;
    recorder.setVideoFormat(video);
    recorder.getVideoFormat(video);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.height, 1080);
    EXPECT_EQ(video.fps, 30000.0 / 1001);
    audioFormatProps audio;
    audio.mode = 21;
    recorder.setAudioFormat(audio);
    recorder.getAudioFormat(audio);
    EXPECT_EQ(audio.sampleRate, 96000);
    EXPECT_EQ(audio.channels, 2);
    EXPECT_EQ(audio.bitsPerSample, 24);
}

TEST(LRecorderSettings, CustomAndNativeFormatsStayAsTheyWereWritten) {
    LRecorder recorder;
    for (const std::uint32_t mode : {0U, 1U}) {
        videoFormatProps video;
        video.mode = mode;
        video.width = 123;
        video.height = 45;
        video.fps = 6.5;
        video.pixelFormat = 7;
        recorder.setVideoFormat(video);
        video = {};
        recorder.getVideoFormat(video);
        EXPECT_EQ(video.mode, mode);
        EXPECT_EQ(video.width, 123);
        EXPECT_EQ(video.height, 45);
        EXPECT_EQ(video.fps, 6.5);
        EXPECT_EQ(video.pixelFormat, 7);
    }
}

TEST(LRecorderSettings, NumbersThatAreNoneThrow) {
    LRecorder recorder;
    const auto messageOf = [&recorder](const char* key, const char* value) {
        return test::raisedBy(recorder, key, value);
    };
    EXPECT_EQ(messageOf("durationMs", "soon"), "invalid stod");
    EXPECT_EQ(messageOf("durationMs", ""), "invalid stod");
    EXPECT_EQ(messageOf("durationMs", "1e999"), "range stod");
    EXPECT_EQ(messageOf("timecodeSource", "clock"), "invalid stoi");
    EXPECT_EQ(messageOf("timecodeSource", "99999999999"), "range stoi");
    EXPECT_EQ(messageOf("scaling_quality", "best"), "invalid stoi");
    EXPECT_EQ(messageOf("scaling_quality", "99999999999"), "range stoi");
    EXPECT_EQ(messageOf("durationMs", "12.5 ms"), "nothing");
    EXPECT_EQ(messageOf("timecodeSource", "2 given"), "nothing");
    EXPECT_EQ(messageOf("timecode", "perhaps"), "nothing");
    EXPECT_EQ(messageOf("play_while_rec", ""), "nothing");
    EXPECT_EQ(messageOf("timecodeStart", ""), "nothing");
}

TEST(LRecorderSettings, UnknownPropertyIsIgnoredWithoutAWord) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    LRecorder recorder;
    EXPECT_NO_THROW(recorder.setProps("no_such_key", "not a number"));
    EXPECT_NO_THROW(recorder.setProps("DurationMs", "not a number"));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TEST(LRecorderSettings, ListsAreThoseOfTheMuxersAndEncoders) {
    EXPECT_EQ(LRecorder::getAvailableContainers(), quol::availableContainers());
    EXPECT_EQ(LRecorder::getAvailableVideoCodecs("webm"),
              quol::availableEncoders("webm", AVMEDIA_TYPE_VIDEO));
    EXPECT_EQ(LRecorder::getAvailableAudioCodecs("webm"),
              quol::availableEncoders("webm", AVMEDIA_TYPE_AUDIO));
    EXPECT_EQ(LRecorder::getAvailableVideoCodecs(""), LRecorder::getAvailableVideoCodecs("mp4"));
    EXPECT_EQ(LRecorder::getAvailableAudioCodecs(""), LRecorder::getAvailableAudioCodecs("mp4"));
    EXPECT_THAT(LRecorder::getAvailableVideoCodecs("mp4"), testing::Contains("libx264"));
    EXPECT_THAT(LRecorder::getAvailableAudioCodecs("mp4"), testing::Contains("aac"));
}

// Records some pictures with these options and returns the number of those that are keys.
std::size_t keyPictures(const std::vector<std::string>& options, std::size_t& all,
                        const char* encoder = "mpeg4") {
    const std::string path = temporaryPath("keys.mov");
    LRecorder recorder;
    test::configure(recorder, path, {"mov", encoder, "none", ""});
    for (const std::string& one : options)
        recorder.customSet(one);
    test::setPictures(recorder, 64, 48, 1000);
    EXPECT_TRUE(recorder.Record());
    for (int i = 0; i < 10; ++i) {
        test::pushGrey(recorder, 64, 48, 100); // one like the other: no encoder's own keys
        std::this_thread::sleep_for(3ms);
    }
    recorder.Stop();
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    if (file.video() == nullptr) return 0;
    all = file.video()->packets.size();
    return static_cast<std::size_t>(std::count_if(file.video()->packets.begin(),
                                                  file.video()->packets.end(),
                                                  [](const auto& packet) { return packet.key; }));
}

TEST(LRecorderSettings, CustomSetTokenWithoutAnEqualSignGetsTheValue1) {
    std::size_t all = 0;
    EXPECT_EQ(keyPictures({"g"}, all), all); // every picture a group of its own
    EXPECT_EQ(all, 10U);
}

TEST(LRecorderSettings, CustomSetCutsATokenAtItsFirstEqualSign) {
    std::size_t all = 0;
    const std::string token = "x264-params=keyint=5:min-keyint=5";
    EXPECT_EQ(keyPictures({"preset=ultrafast " + token}, all, "libx264"), 2U);
    EXPECT_EQ(all, 10U);
}

TEST(LRecorderSettings, CustomSetReplacesAnEqualKeyAndKeepsTheOthers) {
    std::size_t all = 0;
    EXPECT_EQ(keyPictures({"g=2 bf=0", "g=5"}, all), 2U);
    EXPECT_EQ(keyPictures({"g=2 g=5"}, all), 2U);
    EXPECT_EQ(keyPictures({"g=5", ""}, all), 2U);
    EXPECT_EQ(keyPictures({"g=5", "   "}, all), 2U);
}

} // namespace
