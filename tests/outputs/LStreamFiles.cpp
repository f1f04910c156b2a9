// What a stream holds, read back from a file as its address.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <thread>

#include "core/Scaler.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/NoThreads.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Streaming.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::HandSource;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::StalledFile;
using test::statsOf;
using test::statusOf;
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

// Streams some pictures of a live source into a file.
RecordedFile streamed(LStream& stream, const std::string& path, std::int64_t count = 15) {
    LiveSource source;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    EXPECT_TRUE(stream.Start());
    EXPECT_TRUE(test::waitForSent(stream, count));
    stream.Stop();
    stream.source = nullptr;
    return readRecordedFile(path);
}

// The largest sample between two times of the file.
float loudestBetween(const RecordedFile& file, double from, double to) {
    float loudest = 0.0F;
    for (std::size_t i = 0; i < file.sound.size(); ++i) {
        const double seconds = file.soundStart + static_cast<double>(i / 2) / file.soundRate;
        if (seconds >= from && seconds < to) loudest = std::max(loudest, std::fabs(file.sound[i]));
    }
    return loudest;
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

// --------------------------------------------------------------------------------- the picture

constexpr double blackBelow = 16.5; // luma; the dark pictures of the source begin there
constexpr double sourceAbove = 17.0;

TEST(LStreamPictures, SourceThatChangesItsSizeIsScaled) {
    const std::string path = temporaryPath("resized.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    source.changeSize(320, 240);
    ASSERT_TRUE(test::waitForMore(stream, 10));
    source.changeFormat(AV_PIX_FMT_UYVY422);
    ASSERT_TRUE(test::waitForMore(stream, 10));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    for (const auto& picture : file.pictures) {
        EXPECT_EQ(picture.width, 160);
        EXPECT_EQ(picture.height, 90);
    }
}

TEST(LStreamPictures, AreScaledBicubically) {
    const std::string path = temporaryPath("scaled.mkv");
    HandSource source;
    LStream stream;
    stream.setVideoCodec("ffvhuff");
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(path);
    videoFormatProps format;
    format.width = 96;
    format.height = 54;
    stream.setVideoFormat(format);
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(stream.Start());
    stream.pushVideoFrame(picture.get());
    ASSERT_TRUE(test::waitForSent(stream, 1));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path, test::Keep::pictures);
    const auto first = std::find_if(file.pictures.begin(), file.pictures.end(),
                                    [](const auto& one) { return one.luma > blackBelow; });
    ASSERT_NE(first, file.pictures.end());
    const AVFrame& seen = *first->frame;
    const auto differsFrom = [&](int flags) {
        const auto wanted = test::makePicture(96, 54, static_cast<AVPixelFormat>(seen.format));
        quol::Scaler scaler;
        EXPECT_TRUE(scaler.scale(*picture, *wanted, flags));
        int different = 0;
        for (int y = 0; y < 54; ++y) {
            const std::uint8_t* one = seen.data[0] + y * seen.linesize[0];
            const std::uint8_t* other = wanted->data[0] + y * wanted->linesize[0];
            different += std::memcmp(one, other, 96) != 0 ? 1 : 0;
        }
        return different;
    };
    EXPECT_EQ(differsFrom(SWS_BICUBIC), 0);
    EXPECT_GT(differsFrom(SWS_BILINEAR), 0);
}

TEST(LStreamPictures, SourceThatStopsIsFollowedByBlackPicturesAndSilence) {
    const std::string path = temporaryPath("stalled.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 25));
    source.setSilent(true);
    ASSERT_TRUE(test::waitForMore(stream, 50));
    source.setSilent(false);
    ASSERT_TRUE(test::waitForMore(stream, 40));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    // The longest run of black pictures.
    double longest = 0.0;
    double from = -1.0;
    double to = -1.0;
    double begin = -1.0;
    for (const auto& picture : file.pictures) {
        if (picture.luma >= blackBelow) {
            begin = -1.0;
        } else if (begin < 0.0) {
            begin = picture.seconds;
        } else if (picture.seconds - begin > longest) {
            longest = picture.seconds - begin;
            from = begin;
            to = picture.seconds;
        }
    }
    EXPECT_GT(longest, 1.2); // of the 2 s
    EXPECT_LT(file.longestPictureGap(), 1.0);
    // Sound has no hole, is silent there, and comes back with the pictures.
    EXPECT_LT(file.soundHoles, 0.05);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.7);
    double loudest = 0.0;
    for (std::size_t i = 0; i < file.soundPairs(); ++i) {
        const double at = file.soundStart + static_cast<double>(i) / file.soundRate;
        if (at > from + 0.2 && at < to - 0.2)
            loudest = std::max<double>(loudest, std::fabs(file.sound[i * 2]));
    }
    EXPECT_LT(loudest, 0.01);
    const auto sounds = test::beeps(file);
    ASSERT_FALSE(sounds.empty());
    EXPECT_GT(sounds.back(), to);
    EXPECT_LT(sounds.front(), from);
}

TEST(LStreamPictures, SourceThatNeverBeginsIsABlackStreamWithSilence) {
    const std::string path = temporaryPath("nothing.ts");
    HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 40));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    for (const auto& picture : file.pictures)
        EXPECT_NEAR(picture.luma, 16.0, 0.6);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_GT(file.soundSeconds(), 1.0);
    EXPECT_LT(file.largestSample(), 0.001);
}

// Of no format, without memory, or with lines too short for the width that they tell.
TEST(LStreamPictures, SourceOfPicturesThatNobodyCanUseIsAStalledOne) {
    HandSource source;
    source.width = 64;
    source.height = 48;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("unusable.ts"));
    ASSERT_TRUE(stream.Start());
    std::atomic<bool> running{true};
    std::thread pushing([&] {
        const auto unknown = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        unknown->format = 999;
        const auto empty = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        empty->data[1] = nullptr;
        const auto narrow = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        narrow->linesize[0] = 8;
        for (; running; std::this_thread::sleep_for(5ms))
            for (const auto& picture : {unknown.get(), empty.get(), narrow.get()})
                source.distributeVideoFrame(picture);
    });
    // Black at the full rate, in whatever tick an unusable one falls.
    EXPECT_TRUE(test::waitForSent(stream, 10));
    const std::int64_t before = statsOf(stream).framesSent;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(test::waitForMore(stream, 75));
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    const auto sent = static_cast<double>(statsOf(stream).framesSent - before);
    EXPECT_GT(sent / taken.count(), 0.85 * stream.source.load()->getFPS());
    running = false;
    pushing.join();
    stream.Stop();
    for (const auto& picture : readRecordedFile(temporaryPath("unusable.ts")).pictures)
        EXPECT_NEAR(picture.luma, 16.0, 0.6);
}

TEST(LStreamPictures, BlackIs16And128InFullRangeFormatsToo) {
    for (const char* codec : {"libx264", "mjpeg"}) {
        const std::string path = temporaryPath(std::string("black_") + codec + ".mkv");
        HandSource source;
        LStream stream;
        stream.setVideoCodec(codec);
        stream.source = &source;
        stream.setStreamUrl(path);
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 5));
        stream.Stop();
        const RecordedFile file = readRecordedFile(path, test::Keep::pictures);
        ASSERT_FALSE(file.pictures.empty());
        const AVFrame& picture = *file.pictures.back().frame;
        EXPECT_NEAR(picture.data[0][0], 16, 1) << codec;
        EXPECT_NEAR(picture.data[1][0], 128, 1) << codec;
        EXPECT_NEAR(picture.data[2][0], 128, 1) << codec;
    }
}

TEST(LStreamPictures, PausedStreamIsBlackAndDropsWhatWaited) {
    const std::string path = temporaryPath("paused.ts");
    LiveSource source;
    source.setSound(true);
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.setPaused(true);
    EXPECT_EQ(statusOf(stream), 1);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    ASSERT_TRUE(test::waitForMore(stream, 40));
    EXPECT_EQ(statsOf(stream).framesDropped, 0); // refused, not dropped
    stream.setPaused(false);
    ASSERT_TRUE(test::waitForMore(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    const auto black = std::count_if(file.pictures.begin(), file.pictures.end(),
                                     [](const auto& one) { return one.luma < blackBelow; });
    EXPECT_GE(black, 30);
    EXPECT_GT(file.pictures.back().luma + file.pictures[file.pictures.size() - 2].luma,
              2 * sourceAbove - 2);
    const auto dark = [](const auto& one) { return one.luma < blackBelow; };
    EXPECT_FALSE(std::all_of(file.pictures.end() - 10, file.pictures.end(), dark));
    const auto begin = std::search_n(file.pictures.begin(), file.pictures.end(), 20, true,
                                     [&](const auto& one, bool is) { return dark(one) == is; });
    const auto end = std::find_if_not(begin, file.pictures.end(), dark);
    ASSERT_NE(end, file.pictures.end());
    EXPECT_GT(end->seconds - begin->seconds, 1.2); // the source beeps every 0.6 s
    EXPECT_LT(loudestBetween(file, begin->seconds + 0.3, end->seconds - 0.1), 0.001);
    EXPECT_GT(loudestBetween(file, 0.0, begin->seconds), 0.05);
    EXPECT_GT(loudestBetween(file, end->seconds, file.soundSeconds()), 0.05);
}

TEST(LStreamPictures, StartGoesOnWithAPausedStream) {
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("paused_before.ts"));
    stream.setPaused(true);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(temporaryPath("paused_before.ts"));
    const auto dark = [](const auto& one) { return one.luma < blackBelow; };
    EXPECT_FALSE(std::all_of(file.pictures.begin(), file.pictures.end(), dark));
}

// A slow source has its pictures far apart: that is no stall.
TEST(LStreamPictures, SlowSourceIsNotTakenForAStalledOne) {
    const std::string path = temporaryPath("slow.ts");
    HandSource source;
    source.fps = 1.0;
    LStream stream;
    stream.source = &source;
    videoFormatProps format;
    format.fps = 25.0;
    stream.setVideoFormat(format);
    stream.setStreamUrl(path);
    const auto grey = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    for (int plane = 0; plane < 3; ++plane)
        test::fillPlane(*grey, plane, 128);
    ASSERT_TRUE(stream.Start());
    for (int i = 0; i < 6; ++i) {
        stream.pushVideoFrame(grey.get());
        std::this_thread::sleep_for(300ms); // far more than 60 ms, far less than 1.5 s
    }
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.pictures.size(), 6U);
    for (const auto& picture : file.pictures)
        EXPECT_NEAR(picture.luma, 128.0, 2.0);
}

TEST(LStreamPictures, AreStamped60MillisecondsAhead) {
    HandSource source;
    source.fps = 1000.0;
    LStream stream;
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("ahead.mkv"));
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(stream.Start());
    stream.pushVideoFrame(picture.get());
    stream.pushVideoFrame(picture.get());
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    ASSERT_TRUE(test::waitForSent(stream, 1));
    stream.Stop();
    const RecordedFile file = readRecordedFile(temporaryPath("ahead.mkv"));
    const auto first = std::find_if(file.pictures.begin(), file.pictures.end(),
                                    [](const auto& one) { return one.luma > blackBelow; });
    ASSERT_NE(first, file.pictures.end());
    EXPECT_GE(first->seconds, 0.060);
    EXPECT_LE(first->seconds, 0.061 + taken.count());
}

TEST(LStreamPictures, SoundIsWithThePicture) {
    LStream stream;
    const RecordedFile file = streamed(stream, temporaryPath("sync.ts"), 120);
    const auto seen = test::flashes(file);
    const auto heard = test::beeps(file);
    ASSERT_GE(seen.size(), 3U);
    ASSERT_GE(heard.size(), 3U);
    std::vector<double> apart = test::distances(seen, heard);
    std::sort(apart.begin(), apart.end());
    EXPECT_NEAR(apart[apart.size() / 2], 0.0, 0.05);
}

// Seconds between pictures that a source announces are waited for up to two.
TEST(LStreamPictures, ASourceThatAnnouncesLessThanOneInTwoSecondsIsBlackBetween) {
    HandSource source;
    source.fps = 0.1;
    LStream stream;
    stream.source = &source;
    videoFormatProps format;
    format.fps = 25.0;
    stream.setVideoFormat(format);
    stream.setStreamUrl(temporaryPath("seldom.ts"));
    ASSERT_TRUE(stream.Start());
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    source.distributeVideoFrame(picture.get());
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(test::waitForSent(stream, 10));
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(taken.count(), 1.9);
    EXPECT_LT(taken.count(), 9.0); // not fifteen
}

TEST(LStreamPictures, UnusableSoundIsLeftOut) {
    const std::string path = temporaryPath("unusable_sound.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.setSound(false);
    source.start();
    ASSERT_TRUE(stream.Start());
    const auto slow = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_FLT);
    slow->sample_rate = 1; // a block of 96 million samples
    const auto nothing = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_S16);
    nothing->data[0] = nullptr;
    const auto unknown = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_S16);
    unknown->format = 99;
    for (AVFrame* block : {slow.get(), nothing.get(), unknown.get()})
        stream.pushAudioFrame(block);
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_LT(file.largestSample(), 0.001);
}

// --------------------------------------------------------------------------------- control

TEST(LStreamControl, MessagesOfAStream) {
    const std::string path = temporaryPath("messages.flv");
    HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    CapturedStream out(CapturedStream::Stream::output);
    ASSERT_TRUE(stream.Start());
    EXPECT_THAT(out.text(), HasSubstr("[LStream] Yayın Başladı: " + path + "\n[LObject] addSink"));
    EXPECT_FALSE(stream.Start()); // it streams already
    ASSERT_TRUE(test::waitForSent(stream, 2));
    stream.Stop();
    EXPECT_THAT(out.text(), HasSubstr("[LStream] Yayın Durduruldu.\n"));
    EXPECT_THAT(out.text(), HasSubstr("[LObject] removeSink success!\n"));
    const std::string before = out.text();
    stream.Stop();
    EXPECT_EQ(out.text(), before);
}

TEST(LStreamControl, StatsInEveryState) {
    const std::string path = temporaryPath("stats.flv");
    LiveSource source;
    LStream stream;
    LStream::Stats stats = statsOf(stream);
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.framesSent + stats.bytesSent + stats.framesDropped, 0);
    EXPECT_EQ(stats.width, 0);
    EXPECT_EQ(stats.fps, 0.0);
    EXPECT_EQ(stats.url, "");
    stream.source = &source;
    stream.setStreamUrl(path);
    EXPECT_EQ(statsOf(stream).url, path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    stream.setStreamUrl("other.flv");
    stats = statsOf(stream);
    EXPECT_TRUE(stats.running);
    EXPECT_GT(stats.bytesSent, 0);
    EXPECT_EQ(stats.width, 160);
    EXPECT_EQ(stats.height, 90);
    EXPECT_EQ(stats.fps, 25.0);
    EXPECT_EQ(stats.url, path); // of the one that runs
    stream.Stop();
    stats = statsOf(stream);
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.url, "other.flv");
    const RecordedFile file = readRecordedFile(path);
    std::int64_t bytes = 0;
    for (const auto& one : file.streams)
        for (const auto& packet : one.packets)
            bytes += packet.size;
    EXPECT_EQ(stats.framesSent, static_cast<std::int64_t>(file.pictures.size()));
    EXPECT_NEAR(static_cast<double>(stats.bytesSent), static_cast<double>(bytes),
                static_cast<double>(bytes) * 0.02); // start codes and lengths differ
}

TEST(LStreamControl, FullQueueOf11LosesTheNewestPictureAndCountsIt) {
    HandSource source;
    source.width = StalledFile::size;
    source.height = StalledFile::size;
    source.fps = 1000.0;
    StalledFile file("full.yuv"); // its ending names the muxer
    LStream stream;
    stream.setVideoCodec("rawvideo");
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(file.path());
    ASSERT_TRUE(stream.Start());
    const auto picture =
        test::makePicture(StalledFile::size, StalledFile::size, AV_PIX_FMT_YUV420P);
    std::size_t references = 0;
    for (int refused = 0; refused < 100;) {
        const std::int64_t before = statsOf(stream).framesDropped;
        stream.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(3ms);
        refused = statsOf(stream).framesDropped > before ? refused + 1 : 0;
        ASSERT_LT(++references, 10000U);
    }
    EXPECT_EQ(statsOf(stream).queueLength, 11);
    const std::int64_t dropped = statsOf(stream).framesDropped;
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 11);
    EXPECT_EQ(statsOf(stream).framesDropped, dropped + 1);
    stream.flush();
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 1);
    stream.setPaused(true);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    file.letGo();
    stream.Stop();
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
}

TEST(LStreamControl, WithoutAThreadStartIsFalseAndTheSourceIsLeft) {
    const std::string path = temporaryPath("no_thread.yuv");
    HandSource source;
    LStream stream;
    stream.setVideoCodec("rawvideo");
    stream.setProps("threads", "1"); // or the encoder is what fails
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(path);
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(stream.Start());
    }
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_THAT(out.text(), HasSubstr("removeSink success!"));
    EXPECT_THAT(error.text(), HasSubstr("[LStream] Could not start: "));
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    source.distributeVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    ASSERT_TRUE(stream.Start());
    EXPECT_TRUE(test::waitForSent(stream, 2));
    stream.Stop();
}

TEST(LStreamControl, IdleStreamRefusesAllFramesAndNullOnes) {
    LStream stream;
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const auto sound = test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16);
    stream.pushVideoFrame(picture.get());
    stream.pushAudioFrame(sound.get());
    stream.pushVideoFrame(nullptr);
    stream.pushAudioFrame(nullptr);
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
}

TEST(LStreamControl, DestroyedWhileStreamingItFinishesTheFile) {
    const std::string path = temporaryPath("destroyed.mp4");
    LiveSource source;
    source.start();
    {
        LStream stream;
        stream.source = &source;
        stream.setStreamUrl(path);
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 10));
    }
    ASSERT_TRUE(source.waitForPictures(2)); // it goes on without a sink
    EXPECT_EQ(readRecordedFile(path).error, "");
}

TEST(LStreamControl, ThreadsMayPressEverythingAtOnce) {
    LiveSource source;
    LStream stream;
    const std::string path = temporaryPath("pressed.flv");
    stream.setStreamUrl(path);
    stream.setStreamClone(true);
    const std::string folder = temporaryPath("pressed");
    std::filesystem::create_directory(folder);
    stream.setStreamClonePath(folder);
    stream.source = &source;
    source.start();
    const auto end = std::chrono::steady_clock::now() + 3s;
    std::atomic<int> started{0};
    const auto press = [&](unsigned seed) {
        unsigned random = seed;
        while (std::chrono::steady_clock::now() < end) {
            random = random * 1664525U + 1013904223U;
            switch (random >> 29) {
                case 0:
                case 1:
                    started += stream.Start() ? 1 : 0;
                    break;
                case 2:
                    stream.Stop();
                    break;
                case 3:
                    stream.setPaused(true);
                    break;
                case 4:
                    stream.setPaused(false);
                    break;
                case 5:
                    stream.setStreamUrl(path);
                    stream.flush();
                    break;
                case 6:
                    stream.customSet("g=12");
                    break;
                default:
                    EXPECT_GE(statsOf(stream).framesSent, 0);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds((random >> 16) % 40));
        }
    };
    std::thread one(press, 1U);
    std::thread two(press, 2U);
    one.join();
    two.join();
    EXPECT_GT(started, 0);
    stream.Stop();
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_EQ(streamed(stream, path).error, "");
}

} // namespace
