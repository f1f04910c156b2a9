// What a stream to a file holds: container, encoders and their options, and what it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Streaming.h"

namespace {

using test::CapturedStream;
using test::HandSource;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::statusOf;
using test::streamed;
using test::temporaryPath;
using testing::HasSubstr;
using testing::Not;

// What x264 writes about itself into the first picture; of a file that keeps a picture in one
// piece.
std::string settingsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const std::size_t begin = std::min(bytes.find("options: "), bytes.size());
    return bytes.substr(begin, std::min<std::size_t>(bytes.find('\0', begin) - begin, 2000));
}

// --------------------------------------------------------------------------------- addresses

TEST(LStreamFiles, MuxerComesFromTheEndingOfAFileName) {
    const std::pair<const char*, const char*> endings[] = {{"plain.flv", "flv"},
                                                           {"plain.ts", "mpegts"},
                                                           {"plain.mkv", "matroska"},
                                                           {"plain.mp4", "mov"}};
    for (const auto& [name, container] : endings) {
        LStream stream;
        const RecordedFile file = streamed(stream, temporaryPath(name));
        EXPECT_EQ(file.error, "") << name;
        EXPECT_THAT(file.container, HasSubstr(container));
        ASSERT_NE(file.video(), nullptr) << name;
        ASSERT_NE(file.audio(), nullptr) << name;
        EXPECT_EQ(file.video()->codec, "h264") << name;
        EXPECT_EQ(file.audio()->codec, "aac") << name;
        EXPECT_GE(file.pictures.size(), 15U) << name;
        EXPECT_EQ(static_cast<std::int64_t>(file.pictures.size()), statsOf(stream).framesSent);
    }
}

TEST(LStreamFiles, HlsFolder) {
    const std::string folder = temporaryPath("hls");
    std::filesystem::create_directory(folder);
    LStream stream;
    stream.customSet("hls_time=1");
    const RecordedFile file = streamed(stream, folder + "/live.m3u8", 80);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.container, "hls");
    EXPECT_GE(file.pictures.size(), 75U);
    EXPECT_TRUE(std::filesystem::exists(folder + "/live1.ts")); // the muxer knew its option
}

TEST(LStreamFiles, KeyIsTheLastPartOfTheAddress) {
    const std::string folder = temporaryPath("keyed");
    std::filesystem::create_directory(folder);
    LStream stream;
    stream.setStreamKey("key.flv");
    LiveSource source;
    stream.source = &source;
    stream.setStreamUrl(folder);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 3));
    EXPECT_EQ(statsOf(stream).url, folder);
    stream.Stop();
    EXPECT_EQ(readRecordedFile(folder + "/key.flv").error, "");
}

// --------------------------------------------------------------------------------- refusals

TEST(LStreamRefusal, WithoutASource) {
    LStream stream;
    stream.setStreamUrl(temporaryPath("no_source.flv"));
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_FALSE(std::filesystem::exists(temporaryPath("no_source.flv")));
}

// What Start says on the error stream when it returns false; that it does, and leaves nothing
// behind, is seen to.
std::string refusal(LStream& stream, const std::string& url) {
    HandSource source;
    stream.source = &source;
    stream.setStreamUrl(url);
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_FALSE(statsOf(stream).running);
    stream.Stop();
    EXPECT_EQ(out.text(), ""); // neither begun nor attached, so there is nothing to end
    stream.source = nullptr;
    return error.text();
}

TEST(LStreamRefusal, AddressThatNamesNoMuxer) {
    LStream stream;
    EXPECT_EQ(refusal(stream, ""), "[LStream] Output context oluşturulamadı!\n");
    EXPECT_EQ(refusal(stream, temporaryPath("file")), "[LStream] Output context oluşturulamadı!\n");
}

TEST(LStreamRefusal, FileThatCannotBeOpened) {
    LStream stream;
    const std::string path = temporaryPath("no_such_folder/file.flv");
    EXPECT_EQ(refusal(stream, path), "[LStream] URL açılamadı: " + path + "\n");
}

TEST(LStreamRefusal, VideoCodecs) {
    LStream stream;
    stream.setVideoCodec("no_such_codec");
    EXPECT_EQ(refusal(stream, temporaryPath("codec.flv")),
              "[LStream] Video codec not found: no_such_codec\n");
    stream.setVideoCodec("libx264");
    stream.setProps("preset", "no_such_preset");
    EXPECT_THAT(refusal(stream, temporaryPath("codec.flv")), // x264 has its say too
                HasSubstr("[LStream] Could not open video codec\n"));
    stream.setProps("preset", "fast");
    stream.setVideoCodec("mpeg2video"); // not in FLV
    EXPECT_EQ(refusal(stream, temporaryPath("codec.flv")),
              "[LStream] Error occurred when writing header\n");
    stream.setVideoCodec("libx264");
    EXPECT_EQ(streamed(stream, temporaryPath("codec.flv")).error, ""); // and is as good as new
}

TEST(LStreamRefusal, UnknownAudioCodecIsAStreamWithoutSound) {
    LStream stream;
    stream.setAudioCodec("no_such_codec");
    const RecordedFile file = streamed(stream, temporaryPath("mute.flv"));
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.audio(), nullptr);
    EXPECT_GE(file.pictures.size(), 15U);
}

// --------------------------------------------------------------------------------- encoding

TEST(LStreamEncoding, Defaults) {
    const std::string path = temporaryPath("defaults.flv");
    LStream stream;
    const RecordedFile file = streamed(stream, path);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->bitRate, 128000);
    const std::string settings = settingsOf(path);
    EXPECT_THAT(settings, HasSubstr("keyint=30 "));      // g
    EXPECT_THAT(settings, HasSubstr("me=dia subme=0 ")); // ultrafast
    EXPECT_THAT(settings, HasSubstr("rc_lookahead=0 ")); // zerolatency
    EXPECT_THAT(settings, HasSubstr("bitrate=4000 "));
    EXPECT_THAT(settings, HasSubstr("vbv_maxrate=4000 vbv_bufsize=4000 nal_hrd=cbr filler=1"));
}

TEST(LStreamEncoding, OptionsReplaceTheDefaults) {
    const std::string path = temporaryPath("options.flv");
    LStream stream;
    stream.setVideoBitrate(700);
    stream.setProps("g", "12");
    stream.setProps("preset", "superfast");
    stream.setProps("tune", ""); // none
    stream.customSet("bf=0 sc_threshold=0 g=10");
    const RecordedFile file = streamed(stream, path, 40);
    const std::string settings = settingsOf(path);
    EXPECT_THAT(settings, HasSubstr("keyint=10 "));
    EXPECT_THAT(settings, HasSubstr("subme=1 "));
    EXPECT_THAT(settings, HasSubstr("bitrate=700 "));
    EXPECT_THAT(settings, HasSubstr("vbv_maxrate=700 vbv_bufsize=700 nal_hrd=cbr"));
    ASSERT_NE(file.video(), nullptr);
    const auto& packets = file.video()->packets;
    int keys = 0;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_TRUE(packets[i].key || i % 10 != 0) << i;
        keys += packets[i].key ? 1 : 0;
    }
    EXPECT_GE(keys, 4);
}

TEST(LStreamEncoding, AnotherBitrateModeSetsNoHrd) {
    const std::string path = temporaryPath("variable.flv");
    LStream stream;
    stream.setProps("bitrate_mode", "vbr");
    streamed(stream, path);
    EXPECT_THAT(settingsOf(path), HasSubstr("rc=abr"));
    EXPECT_THAT(settingsOf(path), Not(HasSubstr("vbv_maxrate")));
    EXPECT_THAT(settingsOf(path), Not(HasSubstr("nal_hrd=cbr")));
    stream.setProps("bitrate_mode", "cbr");
    streamed(stream, path);
    EXPECT_THAT(settingsOf(path), HasSubstr("nal_hrd=cbr"));
}

// A host of the flat interface has no other way to set it.
TEST(LStreamEncoding, ConstantRateFollowsTheOptionForIt) {
    const std::string path = temporaryPath("rate.flv");
    LStream stream;
    stream.setProps("b", "900k");
    streamed(stream, path);
    EXPECT_THAT(settingsOf(path), HasSubstr("bitrate=900 "));
    EXPECT_THAT(settingsOf(path), HasSubstr("vbv_maxrate=900 vbv_bufsize=900 nal_hrd=cbr"));
}

TEST(LStreamEncoding, EncodersThatHaveNoPresetStreamToo) {
    for (const char* codec : {"mpeg2video", "mpeg4", "mjpeg", "flv"}) {
        LStream stream;
        stream.setVideoCodec(codec);
        stream.setAudioCodec("mp2");
        stream.setProps("threads", "1"); // with one the room for filling is least
        const RecordedFile file = streamed(stream, temporaryPath(std::string(codec) + ".mkv"));
        EXPECT_EQ(file.error, "") << codec;
        EXPECT_GE(file.pictures.size(), 15U) << codec;
        ASSERT_NE(file.audio(), nullptr);
        EXPECT_EQ(file.audio()->codec, "mp2");
    }
}

TEST(LStreamEncoding, OlderMpegIsFilledUpToItsRateToo) {
    LStream stream;
    stream.setVideoCodec("mpeg2video");
    stream.setVideoBitrate(600);
    stream.setProps("threads", "1");
    const RecordedFile file = streamed(stream, temporaryPath("filled.mkv"), 75);
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    // Flat pictures need next to nothing by themselves.
    const auto& packets = file.video()->packets;
    std::int64_t bytes = 0;
    for (std::size_t i = 25; i < packets.size(); ++i)
        bytes += packets[i].size;
    const double seconds = static_cast<double>(packets.size() - 25) / 25;
    EXPECT_NEAR(static_cast<double>(bytes) * 8 / seconds, 600000, 60000);
}

TEST(LStreamEncoding, SoundAtTheRateThatIsSet) {
    LStream stream;
    stream.setAudioBitrate(64);
    const RecordedFile file = streamed(stream, temporaryPath("sound_rate.flv"));
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->bitRate, 64000);
}

TEST(LStreamEncoding, ArePicturesOnlyWhereTheSoundCannotBeEncoded) {
    LStream stream;
    stream.setAudioCodec("mp2");
    stream.setAudioBitrate(1001); // none of its rates
    CapturedStream error(CapturedStream::Stream::error);
    const RecordedFile file = streamed(stream, temporaryPath("no_sound.ts"));
    EXPECT_THAT(error.text(), HasSubstr("[LStream] Could not open audio codec\n"));
    EXPECT_EQ(file.audio(), nullptr);
    EXPECT_GE(file.pictures.size(), 15U);
}

// Whatever is asked for: a stream, or a quiet refusal.
TEST(LStreamEncoding, AbsurdNumbersDoNoHarm) {
    for (const int kilobits :
         {-1, 0, 1, 2000000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        for (const char* options : {"g=-5", "g=0 bf=-3", "preset=nonsense", "threads=-1"}) {
            LiveSource source;
            LStream stream;
            stream.source = &source;
            stream.setVideoBitrate(kilobits);
            stream.setAudioBitrate(kilobits);
            stream.customSet(options);
            stream.setStreamUrl(temporaryPath("absurd.flv"));
            if (stream.Start()) stream.Stop();
            EXPECT_EQ(statusOf(stream), 0);
        }
    }
}

TEST(LStreamEncoding, SizeAndRateAsSet) {
    LStream stream;
    videoFormatProps format;
    format.mode = 4; // 1280x720 at 50
    stream.setVideoFormat(format);
    stream.getVideoFormat(format);
    EXPECT_EQ(format.width, 1280);
    EXPECT_EQ(format.fps, 50.0);
    format = {};
    format.width = 320;
    stream.setVideoFormat(format); // the rest is the source's
    const RecordedFile file = streamed(stream, temporaryPath("size.flv"));
    ASSERT_NE(file.video(), nullptr);
    EXPECT_EQ(file.video()->width, 320);
    EXPECT_EQ(file.video()->height, 90);
    EXPECT_EQ(statsOf(stream).width, 320);
    EXPECT_EQ(statsOf(stream).height, 90);
    EXPECT_EQ(statsOf(stream).fps, 25.0);
}

TEST(LStreamEncoding, AudioFormatIsStoredExpanded) {
    LStream stream;
    audioFormatProps format;
    format.mode = 17;
    stream.setAudioFormat(format);
    format = {};
    stream.getAudioFormat(format);
    EXPECT_EQ(format.bitsPerSample, 24);
    EXPECT_EQ(format.sampleRate, 48000);
    EXPECT_EQ(format.channels, 2);
}

} // namespace
