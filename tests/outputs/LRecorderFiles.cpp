// What is in the files that the recorder makes: containers and pictures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <thread>

#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/DecimalComma.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using namespace std::chrono_literals;
using test::Encoding;
using test::HandSource;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::temporaryPath;
using testing::HasSubstr;

const Encoding quick{"mov", "mpeg4", "pcm_s16le", ""};

// Records that many pictures of the source, from its start on.
void record(LRecorder& recorder, LiveSource& source, std::int64_t pictures) {
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    source.start();
    ASSERT_TRUE(test::waitForWritten(recorder, pictures));
    recorder.Stop();
    source.stop();
}

// The same picture some times over, in ticks of their own, pushed by hand.
RecordedFile recordPictures(LRecorder& recorder, const std::string& path, AVFrame& picture,
                            int count) {
    recorder.setFilePath(path);
    picture.pts = AV_NOPTS_VALUE; // it stands at the time it comes
    EXPECT_TRUE(recorder.Record());
    for (int i = 0; i < count; ++i) {
        if (i > 0) std::this_thread::sleep_for(50ms);
        recorder.pushVideoFrame(&picture);
    }
    recorder.Stop();
    return readRecordedFile(path, test::Keep::pictures);
}

RecordedFile recordOne(LRecorder& recorder, const std::string& path, AVFrame& picture) {
    return recordPictures(recorder, path, picture, 1);
}

// -------------------------------------------------------------------------------- containers

struct Case {
    const char* name;
    const char* ending;
    Encoding encoding;
    const char* container; // as FFmpeg's demuxer calls it, a part of the name
    const char* video;
    const char* audio;
};

const Case cases[] = {
    {"Mp4WithH264AndAac", "mp4", {}, "mp4", "h264", "aac"},
    {"MovWithH264AndPcm",
     "mov",
     {"mov", "libx264", "pcm_s16le", "preset=ultrafast"},
     "mov",
     "h264",
     "pcm_s16le"},
    {"Matroska",
     "mkv",
     {"matroska", "libx264", "libmp3lame", "preset=ultrafast"},
     "matroska",
     "h264",
     "mp3"},
    {"WebmWithVp8AndOpus",
     "webm",
     {"webm", "libvpx", "libopus", "deadline=realtime cpu-used=8"},
     "webm",
     "vp8",
     "opus"},
    {"Mpegts", "ts", {"mpegts", "libx264", "aac", "preset=ultrafast"}, "mpegts", "h264", "aac"},
    {"MxfWithMpeg2AndPcm",
     "mxf",
     {"mxf", "mpeg2video", "pcm_s16le", ""},
     "mxf",
     "mpeg2video",
     "pcm_s16le"},
    {"MovWithProRes", "mov", {"mov", "prores_ks", "pcm_s24le", ""}, "mov", "prores", "pcm_s24le"},
    {"MovWithDnxhr",
     "mov",
     {"mov", "dnxhd", "pcm_s16le", "profile=dnxhr_sq"},
     "mov",
     "dnxhd",
     "pcm_s16le"},
    {"AviWithMpeg4AndMp3", "avi", {"avi", "mpeg4", "libmp3lame", ""}, "avi", "mpeg4", "mp3"},
};

class LRecorderContainer : public testing::TestWithParam<Case> {};

TEST_P(LRecorderContainer, SecondOfPictureAndSoundIsReadBackWhole) {
    const Case& one = GetParam();
    const std::string path = temporaryPath(std::string("whole.") + one.ending);
    LiveSource source;
    source.changeSize(256, 144);
    LRecorder recorder;
    test::configure(recorder, path, one.encoding);
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 30));

    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_THAT(file.container, HasSubstr(one.container));
    ASSERT_NE(file.video(), nullptr);
    EXPECT_EQ(file.video()->codec, one.video);
    EXPECT_EQ(file.video()->width, 256);
    EXPECT_EQ(file.video()->height, 144);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->codec, one.audio);
    EXPECT_EQ(file.audio()->sampleRate, 48000);
    EXPECT_EQ(file.audio()->channels, 2);

    const auto pictures = static_cast<std::int64_t>(file.pictures.size());
    const bool mxf = one.encoding.container == "mxf";
    EXPECT_LE(pictures, statsOf(recorder).framesWritten);
    // The muxer of MXF leaves the last picture out when no sound goes with the whole of it.
    EXPECT_GE(pictures, statsOf(recorder).framesWritten - (mxf ? 1 : 0));
    for (const auto& picture : file.pictures) {
        EXPECT_EQ(picture.width, 256);
        EXPECT_EQ(picture.height, 144);
    }
    EXPECT_GE(file.soundSeconds(), 1.0);
    EXPECT_LT(file.soundHoles, 0.002);
    EXPECT_GE(test::flashes(file).size(), 2U);
    EXPECT_GE(test::beeps(file).size(), 1U);
    // It counts pictures, too, so that one which found its tick taken moves all those behind it.
    if (mxf) return;
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15 + source.largestLateness());
    // Behind a stall several pictures come within one tick, of which one is taken: it may be a
    // flash that is lost, for each tick that has none.
    const auto ticksWithout = std::lround(file.pictureSeconds() * 25.0) + 1 - pictures;
    const double near = 0.08 + source.largestLateness();
    const std::vector<double> apart = test::distances(test::beeps(file), test::flashes(file));
    EXPECT_LE(std::count_if(apart.begin(), apart.end(),
                            [near](double seconds) { return std::fabs(seconds) > near; }),
              ticksWithout);
}

INSTANTIATE_TEST_SUITE_P(All, LRecorderContainer, testing::ValuesIn(cases),
                         [](const auto& info) { return info.param.name; });

TEST(LRecorderFiles, EmptyContainerNameChoosesTheMuxerFromTheExtension) {
    for (const auto& [ending, container] :
         {std::pair{"mkv", "matroska"}, {"mov", "mov"}, {"ts", "mpegts"}, {"avi", "avi"}}) {
        const std::string path = temporaryPath(std::string("by_ending.") + ending);
        LRecorder recorder;
        test::configure(recorder, path, {"", "mpeg4", "none", ""});
        const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        const RecordedFile file = recordOne(recorder, path, *picture);
        EXPECT_EQ(file.error, "") << ending;
        EXPECT_THAT(file.container, HasSubstr(container));
    }
}

TEST(LRecorderFiles, ContainerOfANewRecorderIsMp4WhateverTheExtension) {
    const std::string path = temporaryPath("default.mkv");
    LRecorder recorder;
    recorder.customSet("preset=ultrafast");
    test::setPictures(recorder, 64, 48, 25);
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const RecordedFile file = recordPictures(recorder, path, *picture, 3);
    EXPECT_THAT(file.container, HasSubstr("mp4"));
    EXPECT_EQ(file.video()->codec, "h264");
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->codec, "aac");
}

TEST(LRecorderFiles, EmptyCodecNamesTakeTheMuxersDefaults) {
    for (const char* container : {"mp4", "avi", "mpegts", "matroska"}) {
        const std::string path = temporaryPath(std::string("defaults.") + container);
        LRecorder recorder;
        test::configure(recorder, path, {container, "", "", ""});
        test::setPictures(recorder, 64, 48, 25);
        const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        const RecordedFile file = recordPictures(recorder, path, *picture, 3);
        EXPECT_EQ(file.error, "") << container;
        const AVOutputFormat* muxer = av_guess_format(container, nullptr, nullptr);
        ASSERT_NE(file.video(), nullptr);
        EXPECT_EQ(file.video()->codec, avcodec_get_name(muxer->video_codec));
        ASSERT_NE(file.audio(), nullptr);
        EXPECT_EQ(file.audio()->codec, avcodec_get_name(muxer->audio_codec));
    }
}

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(LRecorderFiles, BitratesReachTheEncoders) {
    const std::string path = temporaryPath("bitrates.mkv");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, {"matroska", "libx264", "libmp3lame", "preset=ultrafast"});
    recorder.setVideoBitrate(321);
    recorder.setAudioBitrate(96);
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 10));
    EXPECT_THAT(bytesOf(path), HasSubstr(" bitrate=321 ")); // the encoder notes down its settings
    ASSERT_NE(readRecordedFile(path).audio(), nullptr);
    EXPECT_EQ(readRecordedFile(path).audio()->bitRate, 96000);
}

TEST(LRecorderFiles, BitratesOfANewRecorderAre5000And128) {
    const std::string path = temporaryPath("default_bitrates.mkv");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, {"matroska", "libx264", "libmp3lame", "preset=ultrafast"});
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 10));
    EXPECT_THAT(bytesOf(path), HasSubstr(" bitrate=5000 "));
    ASSERT_NE(readRecordedFile(path).audio(), nullptr);
    EXPECT_EQ(readRecordedFile(path).audio()->bitRate, 128000);
}

// A host in a country that writes 23,5 gives the options that FFmpeg's users know.
TEST(LRecorderFiles, OptionsHaveADecimalPointWhateverTheHostsLocaleSays) {
    const std::string path = temporaryPath("decimal.mkv");
    const test::DecimalComma comma;
    ASSERT_TRUE(comma.isSet());
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path,
                    {"matroska", "libx264", "libmp3lame", "preset=ultrafast crf=23.5"});
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 10));
    EXPECT_THAT(bytesOf(path), HasSubstr(" crf=23.5 "));
    EXPECT_TRUE(comma.isSet());
}

TEST(LRecorderFiles, ExistingFileIsReplaced) {
    const std::string path = temporaryPath("replaced.mov");
    std::ofstream(path) << std::string(1000000, 'x');
    LRecorder recorder;
    test::configure(recorder, path, {"mov", "mpeg4", "none", ""});
    test::setPictures(recorder, 64, 48, 25);
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(recordOne(recorder, path, *picture).pictures.size(), 1U);
    EXPECT_LT(bytesOf(path).size(), 100000U);
}

TEST(LRecorderFiles, RecordingWithoutAnyPictureIsStillFinished) {
    const std::string path = temporaryPath("nothing.avi");
    LRecorder recorder;
    test::configure(recorder, path, {"avi", "mpeg4", "pcm_s16le", ""});
    ASSERT_TRUE(recorder.Record());
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.streams.size(), 2U);
    EXPECT_TRUE(file.pictures.empty());
    EXPECT_EQ(file.soundPairs(), 0U);
}

// ----------------------------------------------------------------------------- size and rate

// All pictures stand on ticks of 1 / rate.
void expectTicks(const RecordedFile& file, double rate) {
    for (const auto& picture : file.pictures) {
        const double ticks = picture.seconds * rate;
        EXPECT_NEAR(ticks, std::round(ticks), 0.02);
    }
}

TEST(LRecorderFiles, NativeFormatTakesSizeAndRateFromTheSource) {
    const std::string path = temporaryPath("native.mov");
    LiveSource source;
    source.changeSize(192, 108);
    source.fps = 30000.0 / 1001;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 15));
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.video()->width, 192);
    EXPECT_EQ(file.video()->height, 108);
    expectTicks(file, 30000.0 / 1001);
}

TEST(LRecorderFiles, FormatOfAModeWinsOverTheSource) {
    const std::string path = temporaryPath("mode.mov");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    videoFormatProps format;
    format.mode = 3; // 720x576 at 25
    recorder.setVideoFormat(format);
    source.fps = 30.0;
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 10));
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.video()->width, 720);
    EXPECT_EQ(file.video()->height, 576);
    for (const auto& picture : file.pictures)
        EXPECT_EQ(picture.width, 720);
    expectTicks(file, 25.0);
}

TEST(LRecorderFiles, WhatAFormatLeavesOpenComesFromTheSource) {
    const std::string path = temporaryPath("partial.mov");
    LiveSource source;
    source.fps = 20.0;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    test::setPictures(recorder, 320, 0, 0.0);
    ASSERT_NO_FATAL_FAILURE(record(recorder, source, 10));
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.video()->width, 320);
    EXPECT_EQ(file.video()->height, 90);
    expectTicks(file, 20.0);
}

TEST(LRecorderFiles, SizeAndRateOfNativeModeAreNotTakenFromTheRecord) {
    HandSource source;
    LRecorder recorder;
    test::configure(recorder, "", {"mov", "mpeg4", "none", ""});
    videoFormatProps format;
    format.mode = 1;
    format.width = 32;
    format.height = 32;
    recorder.setVideoFormat(format);
    recorder.source = &source;
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const RecordedFile file = recordOne(recorder, temporaryPath("native_record.mov"), *picture);
    EXPECT_EQ(file.video()->width, 160);
    EXPECT_EQ(file.video()->height, 90);
}

TEST(LRecorderFiles, WithoutSourceAndFormatItIs1920x1080At25) {
    LRecorder recorder;
    test::configure(recorder, "", {"mov", "mpeg4", "none", ""});
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const std::string path = temporaryPath("default_size.mov");
    recorder.setFilePath(path);
    ASSERT_TRUE(recorder.Record());
    for (int i = 0; i < 5; ++i) {
        recorder.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(50ms);
    }
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.video()->width, 1920);
    EXPECT_EQ(file.video()->height, 1080);
    expectTicks(file, 25.0);
}

TEST(LRecorderFiles, OddSizeIsRoundedDownForAnEncoderThatRefusesIt) {
    HandSource source;
    source.width = 161;
    source.height = 91;
    LRecorder recorder;
    recorder.source = &source;
    const auto picture = test::makePicture(161, 91, AV_PIX_FMT_YUV420P);
    test::configure(recorder, "", {"mp4", "libx264", "aac", "preset=ultrafast"});
    const RecordedFile file = recordOne(recorder, temporaryPath("odd.mp4"), *picture);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.video()->width, 160);
    EXPECT_EQ(file.video()->height, 90);
    EXPECT_EQ(file.pictures.size(), 1U);
}

TEST(LRecorderFiles, OddSizeIsKeptByAnEncoderThatTakesIt) {
    HandSource source;
    source.width = 161;
    source.height = 91;
    LRecorder recorder;
    recorder.source = &source;
    const auto picture = test::makePicture(161, 91, AV_PIX_FMT_YUV420P);
    test::configure(recorder, "", {"matroska", "ffv1", "none", ""});
    const RecordedFile file = recordOne(recorder, temporaryPath("odd.mkv"), *picture);
    EXPECT_EQ(file.error, "");
    ASSERT_EQ(file.pictures.size(), 1U);
    EXPECT_EQ(file.pictures[0].width, 161);
    EXPECT_EQ(file.pictures[0].height, 91);
}

// ---------------------------------------------------------------------------------- pictures

// The luma plane, row by row.
std::string lumaOf(const AVFrame& frame) {
    std::string luma;
    for (int y = 0; y < frame.height; ++y) {
        const auto* row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        luma.append(reinterpret_cast<const char*>(row), static_cast<std::size_t>(frame.width));
    }
    return luma;
}

std::string scaledLuma(const AVFrame& source, int size, int flags) {
    const quol::SwsPtr scaler(sws_getContext(source.width, source.height, AV_PIX_FMT_YUV420P, size,
                                             size, AV_PIX_FMT_YUV420P, flags, nullptr, nullptr,
                                             nullptr));
    const auto target = test::makePicture(size, size, AV_PIX_FMT_YUV420P);
    sws_scale(scaler.get(), source.data, source.linesize, 0, source.height, target->data,
              target->linesize);
    return lumaOf(*target);
}

std::string recordedLuma(AVFrame& source, int size, const char* quality) {
    LRecorder recorder;
    test::configure(recorder, "", {"matroska", "ffv1", "none", ""});
    test::setPictures(recorder, size, size, 25);
    if (quality != nullptr) recorder.setProps("scaling_quality", quality);
    const RecordedFile file = recordOne(recorder, temporaryPath("scaled.mkv"), source);
    return file.pictures.size() == 1 ? lumaOf(*file.pictures[0].frame) : std::string();
}

TEST(LRecorderFiles, ScalingQualityChoosesTheScaler) {
    const auto source = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    const std::string point = scaledLuma(*source, 96, SWS_POINT);
    const std::string bilinear = scaledLuma(*source, 96, SWS_BILINEAR);
    const std::string lanczos = scaledLuma(*source, 96, SWS_LANCZOS);
    const std::string bicubic = scaledLuma(*source, 96, SWS_BICUBIC);
    ASSERT_NE(point, bilinear);
    ASSERT_NE(bilinear, lanczos);
    ASSERT_NE(lanczos, bicubic);
    ASSERT_NE(bicubic, bilinear);
    EXPECT_EQ(recordedLuma(*source, 96, "1"), point);
    EXPECT_EQ(recordedLuma(*source, 96, "2"), bilinear);
    EXPECT_EQ(recordedLuma(*source, 96, "3"), lanczos);
    EXPECT_EQ(recordedLuma(*source, 96, "4"), bicubic);
    EXPECT_EQ(recordedLuma(*source, 96, "0"), bicubic);
    EXPECT_EQ(recordedLuma(*source, 96, "-1"), bicubic);
    EXPECT_EQ(recordedLuma(*source, 96, nullptr), bilinear); // as a new recorder does
}

TEST(LRecorderFiles, PictureInTheEncodersFormatGoesInUntouched) {
    const auto source = test::makePicture(96, 64, AV_PIX_FMT_YUV420P, 0, {1, 25}, 7);
    LRecorder recorder;
    test::configure(recorder, "", {"matroska", "ffv1", "none", ""});
    test::setPictures(recorder, 96, 64, 25);
    const RecordedFile file = recordOne(recorder, temporaryPath("untouched.mkv"), *source);
    ASSERT_EQ(file.pictures.size(), 1U);
    EXPECT_EQ(lumaOf(*file.pictures[0].frame), lumaOf(*source));
}

TEST(LRecorderFiles, SourceThatChangesSizeAndFormatIsScaledToTheFile) {
    const std::string path = temporaryPath("changing.mp4");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path);
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    source.start();
    const auto next = [&] {
        return test::waitForWritten(recorder, statsOf(recorder).framesWritten + 16);
    };
    ASSERT_TRUE(next());
    source.changeSize(320, 240);
    ASSERT_TRUE(next());
    source.changeFormat(AV_PIX_FMT_YUV422P10LE);
    source.changeFormat(AV_PIX_FMT_NV12);
    ASSERT_TRUE(next());
    source.changeSize(63, 35);
    source.changeFormat(AV_PIX_FMT_RGB24);
    ASSERT_TRUE(next());
    source.changeSize(160, 90);
    source.changeFormat(AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(next());
    recorder.Stop();
    source.stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(static_cast<std::int64_t>(file.pictures.size()), statsOf(recorder).framesWritten);
    for (const auto& picture : file.pictures) {
        EXPECT_EQ(picture.width, 160);
        EXPECT_EQ(picture.height, 90);
        EXPECT_TRUE(picture.luma < 50 || picture.luma > 190) << picture.luma;
    }
    EXPECT_GE(test::flashes(file).size(), 4U); // one in every 15 pictures, whatever their form
}

TEST(LRecorderFiles, TypesOfTheSourcesPicturesDoNotForceTheEncoders) {
    const std::string path = temporaryPath("types.mp4");
    LRecorder recorder;
    test::configure(recorder, path);
    test::setPictures(recorder, 64, 48, 1000);
    ASSERT_TRUE(recorder.Record());
    for (int i = 0; i < 10; ++i) {
        const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 3);
        picture->pict_type = AV_PICTURE_TYPE_I;
        recorder.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(3ms);
    }
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    ASSERT_EQ(file.video()->packets.size(), 10U);
    EXPECT_TRUE(file.video()->packets[0].key);
    for (std::size_t i = 1; i < 10; ++i)
        EXPECT_FALSE(file.video()->packets[i].key);
}

} // namespace
