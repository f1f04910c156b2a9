#include "outputs/EncoderSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>

#include "core/FFmpegCompat.h"
#include "outputs/EncoderPictures.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RecordedFile.h"
#include "support/ThisProcess.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace {

using quol::Dictionary;
using quol::EncoderSession;
using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

const AVOutputFormat& muxer(const char* name) {
    const AVOutputFormat* found = av_guess_format(name, nullptr, nullptr);
    EXPECT_NE(found, nullptr) << name;
    return *found;
}

const AVCodec& encoder(const char* name) {
    const AVCodec* found = avcodec_find_encoder_by_name(name);
    EXPECT_NE(found, nullptr) << name;
    return *found;
}

quol::VideoEncoding small(int width = 64, int height = 48) {
    return {width, height, {25, 1}, 500000};
}

// The field has another name in older versions of FFmpeg.
template <typename Frame>
auto& durationIn(Frame& picture) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return picture.duration;
#else
    return picture.pkt_duration;
#endif
}
void setDuration(AVFrame& picture, std::int64_t ticks) {
    durationIn(picture) = ticks;
}
std::int64_t durationOf(const AVFrame& picture) {
    return durationIn(picture);
}

TEST(ChooseEncoder, TakesTheEncoderOfThatName) {
    std::string name = "mpeg4";
    const AVCodec* codec = quol::chooseEncoder(muxer("mp4"), AVMEDIA_TYPE_VIDEO, "libx264", name);
    ASSERT_NE(codec, nullptr);
    EXPECT_STREQ(codec->name, "mpeg4");
    EXPECT_EQ(name, "mpeg4");
}

TEST(ChooseEncoder, EmptyNameTakesTheMuxersDefaultAndTellsItsName) {
    std::string name;
    const AVCodec* codec = quol::chooseEncoder(muxer("avi"), AVMEDIA_TYPE_VIDEO, "libx264", name);
    ASSERT_NE(codec, nullptr);
    EXPECT_EQ(codec->id, muxer("avi").video_codec);
    EXPECT_EQ(name, codec->name);
}

TEST(ChooseEncoder, EmptyNameTakesTheFallbackWhereTheMuxerHasNoDefault) {
    ASSERT_EQ(muxer("wav").video_codec, AV_CODEC_ID_NONE);
    std::string name;
    const AVCodec* codec = quol::chooseEncoder(muxer("wav"), AVMEDIA_TYPE_VIDEO, "libx264", name);
    ASSERT_NE(codec, nullptr);
    EXPECT_EQ(name, "libx264");
}

TEST(ChooseEncoder, UnknownNameFindsNothingAndStays) {
    std::string name = "no_such_encoder";
    EXPECT_EQ(quol::chooseEncoder(muxer("mp4"), AVMEDIA_TYPE_AUDIO, "aac", name), nullptr);
    EXPECT_EQ(name, "no_such_encoder");
}

TEST(ChooseEncoder, EncoderOfTheOtherKindIsNone) {
    std::string name = "aac";
    EXPECT_EQ(quol::chooseEncoder(muxer("mp4"), AVMEDIA_TYPE_VIDEO, "libx264", name), nullptr);
}

TEST(EncoderOrDefault, TakesTheEncoderOfThatNameElseTheMuxersOwn) {
    const auto nameOf = [](const AVCodec* codec) {
        return std::string(codec != nullptr ? codec->name : "");
    };
    const auto video = [&](const char* container, const char* name) {
        return nameOf(quol::encoderOrDefault(muxer(container), AVMEDIA_TYPE_VIDEO, name));
    };
    EXPECT_EQ(video("mp4", "mpeg4"), "mpeg4");
    for (const char* name : {"no_such_encoder", "", "aac"})
        EXPECT_EQ(video("avi", name), nameOf(avcodec_find_encoder(muxer("avi").video_codec)));
    EXPECT_EQ(video("wav", "no_such_encoder"), "");
}

TEST(AvailableContainers, AreAllMuxersSorted) {
    std::vector<std::string> all;
    void* position = nullptr;
    while (const AVOutputFormat* one = av_muxer_iterate(&position))
        all.emplace_back(one->name);
    std::sort(all.begin(), all.end());
    EXPECT_THAT(quol::availableContainers(), ElementsAreArray(all));
    EXPECT_THAT(all, Contains("mp4"));
}

std::vector<std::string> accepted(const char* container, AVMediaType type) {
    std::vector<std::string> names;
    void* position = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&position)) {
        if (av_codec_is_encoder(codec) == 0 || codec->type != type) continue;
        const int answer = avformat_query_codec(&muxer(container), codec->id, FF_COMPLIANCE_NORMAL);
        if (answer > 0) names.emplace_back(codec->name);
    }
    return names;
}

TEST(AvailableEncoders, AreThoseThatTheMuxerAccepts) {
    for (const char* container : {"mp4", "mov", "matroska", "webm", "mpegts", "mxf", "avi"}) {
        SCOPED_TRACE(container);
        EXPECT_THAT(quol::availableEncoders(container, AVMEDIA_TYPE_VIDEO),
                    ElementsAreArray(accepted(container, AVMEDIA_TYPE_VIDEO)));
        EXPECT_THAT(quol::availableEncoders(container, AVMEDIA_TYPE_AUDIO),
                    ElementsAreArray(accepted(container, AVMEDIA_TYPE_AUDIO)));
    }
    EXPECT_THAT(accepted("webm", AVMEDIA_TYPE_VIDEO), Contains("libvpx"));
    EXPECT_THAT(accepted("webm", AVMEDIA_TYPE_VIDEO), Not(Contains("libx264")));
}

TEST(AvailableEncoders, EmptyContainerIsMp4) {
    const auto video = quol::availableEncoders("", AVMEDIA_TYPE_VIDEO);
    EXPECT_THAT(video, ElementsAreArray(quol::availableEncoders("mp4", AVMEDIA_TYPE_VIDEO)));
    EXPECT_THAT(video, Contains("libx264"));
    EXPECT_THAT(quol::availableEncoders("", AVMEDIA_TYPE_AUDIO), Contains("aac"));
}

TEST(AvailableEncoders, UnknownContainerHasNone) {
    EXPECT_TRUE(quol::availableEncoders("no_such_container", AVMEDIA_TYPE_VIDEO).empty());
}

TEST(EncoderSession, UnknownContainerGivesNoOutput) {
    EncoderSession session;
    EXPECT_FALSE(session.createOutput("no_such_container", "file.mp4"));
    EXPECT_EQ(session.output(), nullptr);
}

TEST(EncoderSession, EmptyContainerGoesByTheEndingOfThePath) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("", "/nowhere/file.mkv"));
    EXPECT_STREQ(session.output()->oformat->name, "matroska");
    EXPECT_FALSE(EncoderSession().createOutput("", "/nowhere/file.no_such_ending"));
}

TEST(EncoderSession, NamedContainerWinsOverTheEnding) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mov", "/nowhere/file.mkv"));
    EXPECT_STREQ(session.output()->oformat->name, "mov");
}

TEST(EncoderSession, VideoEncoderIsOpenedAsAsked) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    ASSERT_TRUE(session.openVideo(encoder("libx264"), {64, 48, {30000, 1001}, 500000}, options));
    const AVCodecContext& video = *session.video();
    EXPECT_EQ(video.width, 64);
    EXPECT_EQ(video.height, 48);
    EXPECT_EQ(av_cmp_q(video.time_base, {1001, 30000}), 0);
    EXPECT_EQ(av_cmp_q(video.framerate, {30000, 1001}), 0);
    EXPECT_EQ(video.bit_rate, 500000);
    EXPECT_EQ(video.pix_fmt, AV_PIX_FMT_YUV420P);
    EXPECT_NE(video.flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0); // mp4 keeps headers out of band
    ASSERT_EQ(session.output()->nb_streams, 1U);
    EXPECT_EQ(av_cmp_q(session.output()->streams[0]->time_base, video.time_base), 0);
}

TEST(EncoderSession, HeadersStayInTheStreamWhereTheMuxerWantsThem) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mpegts", "file.ts"));
    Dictionary options;
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(), options));
    EXPECT_EQ(session.video()->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
}

TEST(EncoderSession, PixelFormatIs420WhereTheEncoderHasItElseItsFirst) {
    const auto formatOf = [](const char* container, const char* name) {
        EncoderSession session;
        Dictionary options;
        EXPECT_TRUE(session.createOutput(container, "file"));
        EXPECT_TRUE(session.openVideo(encoder(name), small(), options)) << name;
        return session.video() != nullptr ? session.video()->pix_fmt : AV_PIX_FMT_NONE;
    };
    EXPECT_EQ(formatOf("matroska", "ffv1"), AV_PIX_FMT_YUV420P);
    EXPECT_EQ(formatOf("matroska", "mjpeg"), AV_PIX_FMT_YUVJ420P);
    EXPECT_EQ(formatOf("mov", "prores_ks"), AV_PIX_FMT_YUV422P10);
    EXPECT_EQ(formatOf("mov", "v210"), AV_PIX_FMT_YUV422P10);
    EXPECT_EQ(formatOf("mov", "png"), AV_PIX_FMT_RGB24);
}

TEST(EncoderSession, TheFirstFormatsAreTakenOnRequest) {
    const auto pixelsOf = [](const char* name) {
        EncoderSession session;
        Dictionary options;
        quol::VideoEncoding encoding = small();
        encoding.format = quol::FormatChoice::first;
        EXPECT_TRUE(session.createOutput("matroska", "file"));
        EXPECT_TRUE(session.openVideo(encoder(name), encoding, options)) << name;
        return session.video() != nullptr ? session.video()->pix_fmt : AV_PIX_FMT_NONE;
    };
    EXPECT_EQ(pixelsOf("libx264"), quol::encoderPixelFormats(encoder("libx264")).front());
    EXPECT_EQ(pixelsOf("ffv1"), quol::encoderPixelFormats(encoder("ffv1")).front());
    EXPECT_EQ(pixelsOf("rawvideo"), AV_PIX_FMT_YUV420P); // it lists none
    EncoderSession session;
    Dictionary options;
    ASSERT_TRUE(session.createOutput("matroska", "file"));
    ASSERT_TRUE(
        session.openAudio(encoder("flac"), {48000, 2, 0, quol::FormatChoice::first}, options));
    EXPECT_EQ(session.audio()->sample_fmt, quol::encoderSampleFormats(encoder("flac")).front());
}

TEST(EncoderSession, OptionsThatTheEncoderKnowsAreTakenOut) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    options.set("preset", "ultrafast");
    options.set("g", "7");
    options.set("movflags", "faststart");
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(), options));
    EXPECT_EQ(session.video()->gop_size, 7);
    EXPECT_EQ(options.find("preset"), nullptr);
    EXPECT_EQ(options.find("g"), nullptr);
    EXPECT_STREQ(options.find("movflags"), "faststart");
}

TEST(EncoderSession, OddSizeThatTheEncoderRefusesIsRoundedDown) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    options.set("preset", "ultrafast");
    options.set("g", "7");
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(65, 49), options));
    EXPECT_EQ(session.video()->width, 64);
    EXPECT_EQ(session.video()->height, 48);
    EXPECT_EQ(session.video()->gop_size, 7); // the options reach the second try as well
    EXPECT_EQ(options.find("g"), nullptr);
    EXPECT_EQ(session.output()->nb_streams, 1U);
}

TEST(EncoderSession, OddSizeThatTheEncoderTakesStays) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("matroska", "file.mkv"));
    Dictionary options;
    ASSERT_TRUE(session.openVideo(encoder("ffv1"), small(65, 49), options));
    EXPECT_EQ(session.video()->width, 65);
    EXPECT_EQ(session.video()->height, 49);
}

TEST(EncoderSession, VideoEncoderThatDoesNotOpenLeavesNoStream) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    options.set("preset", "no_such_preset");
    EXPECT_FALSE(session.openVideo(encoder("libx264"), small(), options));
    EXPECT_EQ(session.video(), nullptr);
    EXPECT_EQ(session.output()->nb_streams, 0U);
}

TEST(EncoderSession, AudioEncoderIsOpenedAsAsked) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    ASSERT_TRUE(session.openAudio(encoder("aac"), {48000, 2, 96000}, options));
    const AVCodecContext& audio = *session.audio();
    EXPECT_EQ(audio.sample_rate, 48000);
    EXPECT_EQ(audio.ch_layout.nb_channels, 2);
    EXPECT_EQ(audio.bit_rate, 96000);
    EXPECT_EQ(audio.sample_fmt, AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(av_cmp_q(audio.time_base, {1, 48000}), 0);
    EXPECT_NE(audio.flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
}

TEST(EncoderSession, SampleFormatIsFltpWhereTheEncoderHasItElseItsFirst) {
    const auto formatOf = [](const char* container, const char* name) {
        EncoderSession session;
        Dictionary options;
        EXPECT_TRUE(session.createOutput(container, "file"));
        EXPECT_TRUE(session.openAudio(encoder(name), {48000, 2, 128000}, options)) << name;
        return session.audio() != nullptr ? session.audio()->sample_fmt : AV_SAMPLE_FMT_NONE;
    };
    EXPECT_EQ(formatOf("mov", "pcm_s16le"), AV_SAMPLE_FMT_S16);
    EXPECT_EQ(formatOf("mov", "pcm_s24le"), AV_SAMPLE_FMT_S32);
    EXPECT_EQ(formatOf("mov", "pcm_f32le"), AV_SAMPLE_FMT_FLT);
    EXPECT_EQ(formatOf("matroska", "libmp3lame"), AV_SAMPLE_FMT_FLTP); // it lists others before
    EXPECT_EQ(formatOf("matroska", "libopus"), AV_SAMPLE_FMT_S16);
}

TEST(EncoderSession, AudioEncoderThatDoesNotOpenLeavesNoStream) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    Dictionary options;
    EXPECT_FALSE(session.openAudio(encoder("aac"), {12345, 2, 96000}, options));
    EXPECT_EQ(session.audio(), nullptr);
    EXPECT_EQ(session.output()->nb_streams, 0U);
}

TEST(EncoderSession, FileInAFolderThatIsNotThereIsNotOpened) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    EXPECT_FALSE(session.openFile(test::temporaryPath("no_such_folder/file.mp4")));
}

TEST(EncoderSession, MuxerWithoutAFileNeedsNone) {
    EncoderSession session;
    ASSERT_TRUE(session.createOutput("null", "none"));
    EXPECT_TRUE(session.openFile(test::temporaryPath("no_such_folder/none")));
    EXPECT_EQ(session.bytesWritten(), 0);
}

TEST(EncoderSession, CodecThatTheMuxerRefusesFailsAtTheHeader) {
    const std::string path = test::temporaryPath("refused.mp4");
    EncoderSession session;
    Dictionary options;
    ASSERT_TRUE(session.createOutput("mp4", path));
    ASSERT_TRUE(session.openVideo(encoder("ffv1"), small(), options));
    ASSERT_TRUE(session.openFile(path));
    EXPECT_FALSE(session.writeHeader(options));
    session.finish(); // nothing to finish
}

// Without a file; the session itself is not changed by it.
TEST(EncoderSession, TellsWhetherTheMuxerTakesTheHeader) {
    const auto takes = [](const char* container, const char* video) {
        const std::string path = test::temporaryPath("asked");
        EncoderSession session;
        Dictionary options;
        EXPECT_TRUE(session.createOutput(container, path));
        EXPECT_TRUE(session.openVideo(encoder(video), small(), options));
        const bool taken = session.takesHeader();
        EXPECT_EQ(session.output()->pb, nullptr);
        EXPECT_FALSE(std::filesystem::exists(path));
        EXPECT_TRUE(session.openFile(path));
        EXPECT_EQ(session.writeHeader(options), taken) << container << ' ' << video;
        session.finish();
        std::filesystem::remove(path);
        return taken;
    };
    for (const char* container : {"mp4", "mov", "matroska", "mpegts", "mxf", "avi", "flv"})
        EXPECT_TRUE(takes(container, "libx264")) << container;
    EXPECT_TRUE(takes("mov", "huffyuv")); // not of its list, and yet written
    EXPECT_TRUE(takes("avi", "libx265"));
    EXPECT_TRUE(takes("image2", "png"));
    EXPECT_FALSE(takes("mp4", "ffv1"));
    EXPECT_FALSE(takes("webm", "libx264"));
    EXPECT_FALSE(takes("flv", "mpeg4"));
}

TEST(EncoderSession, FinishWithoutAHeaderDoesNothing) {
    EncoderSession session;
    session.finish();
    ASSERT_TRUE(session.createOutput("mp4", "file.mp4"));
    session.finish();
    EXPECT_NE(session.output(), nullptr);
}

// A session with picture and sound, ready for frames.
void begin(EncoderSession& session, const std::string& path, const char* container = "matroska") {
    Dictionary options;
    options.set("preset", "ultrafast");
    ASSERT_TRUE(session.createOutput(container, path));
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(), options));
    ASSERT_TRUE(session.openAudio(encoder("pcm_s16le"), {48000, 2, 0}, options));
    ASSERT_TRUE(session.openFile(path));
    ASSERT_TRUE(session.writeHeader(options));
}

TEST(EncoderSession, EveryFrameIsInTheFinishedFile) {
    const std::string path = test::temporaryPath("whole.mkv");
    EncoderSession session;
    ASSERT_NO_FATAL_FAILURE(begin(session, path));
    for (int i = 0; i < 25; ++i) {
        const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i);
        const auto sound = test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, i * 1920);
        session.encodeVideo(picture.get());
        session.encodeAudio(sound.get());
    }
    session.finish();
    EXPECT_EQ(session.error(), 0);
    EXPECT_EQ(session.output(), nullptr);
    EXPECT_EQ(session.video(), nullptr);
    EXPECT_EQ(session.audio(), nullptr);

    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_EQ(file.pictures.size(), 25U);
    for (int i = 0; i < 25; ++i)
        EXPECT_NEAR(file.pictures[i].seconds, i / 25.0, 0.001);
    EXPECT_EQ(file.soundPairs(), 48000U);
    EXPECT_NEAR(file.video()->rate, 25.0, 0.001);
}

// What the encoder still holds is not waited for; what was written is a whole file.
TEST(EncoderSession, TheRestIsLeftWhenItIsNotWanted) {
    const std::string path = test::temporaryPath("not_wanted.mkv");
    EncoderSession session;
    Dictionary options; // an encoder that looks far ahead
    ASSERT_TRUE(session.createOutput("matroska", path));
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(), options));
    ASSERT_TRUE(session.openFile(path));
    ASSERT_TRUE(session.writeHeader(options));
    for (int i = 0; i < 100; ++i) {
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i).get());
    }
    int asked = 0;
    session.finish([&asked] { return ++asked < 5; });
    EXPECT_EQ(session.error(), 0);
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GT(file.pictures.size(), 5U);
    EXPECT_LT(file.pictures.size(), 95U);
}

// The rate of the file is not that of the source, so its pictures' durations are not either.
TEST(EncoderSession, APictureTakesOneTickWhateverItTookBefore) {
    const std::string path = test::temporaryPath("one_tick.mkv");
    for (const char* name : {"libx264", "mpeg4", "rawvideo"}) {
        EncoderSession session;
        Dictionary options;
        int packets = 0;
        session.setTap([&](const AVPacket& packet, AVMediaType, AVRational) {
            EXPECT_EQ(packet.duration, 1) << name;
            ++packets;
        });
        ASSERT_TRUE(session.createOutput("matroska", path));
        ASSERT_TRUE(session.openVideo(encoder(name), small(), options));
        ASSERT_TRUE(session.openFile(path));
        ASSERT_TRUE(session.writeHeader(options));
        for (int i = 0; i < 5; ++i) {
            const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i);
            setDuration(*picture, 512);
            session.encodeVideo(picture.get());
        }
        session.finish();
        EXPECT_EQ(packets, 5) << name;
    }
}

// A picture that fits already goes on as it is, but for its duration.
TEST(EncoderPictures, TheDurationOfTheSourceIsLeftBehind) {
    EncoderSession session;
    Dictionary options;
    ASSERT_TRUE(session.createOutput("matroska", "file.mkv"));
    ASSERT_TRUE(session.openVideo(encoder("rawvideo"), small(), options));
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    setDuration(*picture, 512);
    quol::EncoderPictures pictures;
    const auto fitted = pictures.fit(*picture, *session.video(), SWS_BICUBIC);
    ASSERT_NE(fitted, nullptr);
    EXPECT_EQ(fitted->data[0], picture->data[0]);
    EXPECT_EQ(durationOf(*fitted), 0);
    EXPECT_EQ(durationOf(*picture), 512);
}

// A container that puts picture and sound in pairs fills the last block of sound.
TEST(EncoderSession, TheLastPictureStaysWhereTheSoundIsShorter) {
    const std::string path = test::temporaryPath("pairs.mxf");
    EncoderSession session;
    Dictionary options;
    ASSERT_TRUE(session.createOutput("mxf", path));
    ASSERT_TRUE(session.openVideo(encoder("mpeg2video"), small(), options));
    ASSERT_TRUE(session.openAudio(encoder("pcm_s16le"), {48000, 2, 0}, options));
    ASSERT_TRUE(session.openFile(path));
    ASSERT_TRUE(session.writeHeader(options));
    for (int i = 0; i < 25; ++i) {
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i).get());
        const int samples = i < 24 ? 1920 : 1000;
        session.encodeAudio(test::makeSound(samples, 48000, 2, AV_SAMPLE_FMT_S16, i * 1920).get());
    }
    session.finish();
    EXPECT_EQ(test::readRecordedFile(path).pictures.size(), 25U);
}

TEST(EncoderSession, RoomToFinishIsSecondsOfTheBitRateAtLeast) {
    const EncoderSession session;
    EXPECT_EQ(session.roomToFinish(0), 256 * 1024 + session.bytesHeldBack());
    EXPECT_EQ(session.roomToFinish(8'000'000), 256 * 1024 + 4'000'000);
    EXPECT_EQ(session.roomToFinish(-8'000'000), session.roomToFinish(0));
}

TEST(EncoderSession, NoBitRateAsksForMoreRoomThanADiskHas) {
    const EncoderSession session;
    constexpr std::int64_t most = 256 * 1024 + 500'000'000;
    EXPECT_EQ(session.roomToFinish(1'000'000'000), most);
    EXPECT_EQ(session.roomToFinish(2'147'483'647'000), most);
    EXPECT_EQ(session.roomToFinish(std::numeric_limits<std::int64_t>::max()), most);
}

TEST(EncoderSession, BytesWrittenGrowUpToTheSizeOfTheFile) {
    const std::string path = test::temporaryPath("growing.mov");
    EncoderSession session;
    EXPECT_EQ(session.bytesWritten(), 0);
    ASSERT_NO_FATAL_FAILURE(begin(session, path, "mov"));
    const std::int64_t afterHeader = session.bytesWritten();
    EXPECT_GT(afterHeader, 0);
    for (int i = 0; i < 25; ++i) {
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i).get());
        session.encodeAudio(test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, i * 1920).get());
    }
    const std::int64_t before = session.bytesWritten();
    EXPECT_GT(before, afterHeader);
    session.finish();
    EXPECT_LE(before, static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

TEST(EncoderSession, BytesHeldBackAreEnoughForTheEndOfTheFile) {
    const std::string path = test::temporaryPath("held_back.mov");
    EncoderSession session;
    Dictionary options; // an encoder and a muxer that both keep something back
    ASSERT_TRUE(session.createOutput("mov", path));
    ASSERT_TRUE(session.openVideo(encoder("libx264"), small(), options));
    ASSERT_TRUE(session.openFile(path));
    ASSERT_TRUE(session.writeHeader(options));
    for (int i = 0; i < 100; ++i) {
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i).get());
    }
    const std::int64_t bound = session.bytesWritten() + session.bytesHeldBack();
    session.finish();
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path));
    EXPECT_LE(size, bound);
    EXPECT_EQ(test::readRecordedFile(path).pictures.size(), 100U);
}

TEST(EncoderSession, FrameThatTheEncoderRefusesIsLeftOut) {
    const std::string path = test::temporaryPath("refused_frame.mkv");
    EncoderSession session;
    ASSERT_NO_FATAL_FAILURE(begin(session, path));
    session.encodeAudio(test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, 0).get());
    auto wrong = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, 0);
    wrong->width = 0;
    session.encodeAudio(wrong.get());
    session.encodeAudio(test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, 1920).get());
    session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, 0).get());
    session.finish();
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.soundPairs(), 2U * 1920);
}

TEST(EncoderSession, WithoutSoundAudioFramesGoNowhere) {
    const std::string path = test::temporaryPath("mute.mkv");
    EncoderSession session;
    Dictionary options;
    ASSERT_TRUE(session.createOutput("matroska", path));
    ASSERT_TRUE(session.openVideo(encoder("ffv1"), small(), options));
    ASSERT_TRUE(session.openFile(path));
    ASSERT_TRUE(session.writeHeader(options));
    session.encodeAudio(test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, 0).get());
    session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, 0).get());
    session.finish();
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.streams.size(), 1U);
    EXPECT_EQ(file.pictures.size(), 1U);
}

TEST(EncoderSession, WriteThatTheSystemRefusesIsTheSessionsError) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    EncoderSession session;
    ASSERT_NO_FATAL_FAILURE(begin(session, "/dev/full"));
    EXPECT_EQ(session.error(), 0);
    for (int i = 0; i < 2000 && session.error() == 0; ++i) {
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, i, {1, 25}, 1 + i).get());
        session.encodeAudio(test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, i * 1920).get());
    }
    EXPECT_EQ(session.error(), AVERROR(ENOSPC));
    session.finish();
    EXPECT_EQ(session.error(), AVERROR(ENOSPC));
}

TEST(EncoderSession, SessionThatIsDroppedHalfwayClosesItsFile) {
    const std::string path = test::temporaryPath("dropped.mkv");
    const int before = test::descriptorsOfThisProcess();
    {
        EncoderSession session;
        ASSERT_NO_FATAL_FAILURE(begin(session, path));
        EXPECT_GT(test::descriptorsOfThisProcess(), before);
        session.encodeVideo(test::makePicture(64, 48, AV_PIX_FMT_YUV420P, 0).get());
    }
    EXPECT_EQ(test::descriptorsOfThisProcess(), before);
}

} // namespace
