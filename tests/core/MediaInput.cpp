#include "core/MediaInput.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/FilePlayer.h"
#include "support/LocalPort.h"
#include "support/PlainFrames.h"

namespace {

using quol::MediaInput;
using test::mediaPath;

TEST(MediaInput, ClosedOneAnswersNeutrally) {
    MediaInput input;
    EXPECT_FALSE(static_cast<bool>(input));
    EXPECT_EQ(input.get(), nullptr);
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_VIDEO), -1);
    EXPECT_EQ(input.stream(0), nullptr);
    EXPECT_EQ(input.stream(-1), nullptr);
    EXPECT_EQ(input.durationMs(), 0.0);
    EXPECT_EQ(input.timecode(0), nullptr);
    input.close();
    input.interrupt(true);
    input.interrupt(false);
}

TEST(MediaInput, OpensAClipAndFindsItsStreams) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("h264_aac.mp4")));
    EXPECT_TRUE(static_cast<bool>(input));
    ASSERT_TRUE(input.findStreamInfo());
    const int video = input.bestStream(AVMEDIA_TYPE_VIDEO);
    const int audio = input.bestStream(AVMEDIA_TYPE_AUDIO, video);
    ASSERT_NE(input.stream(video), nullptr);
    ASSERT_NE(input.stream(audio), nullptr);
    EXPECT_EQ(input.stream(video)->codecpar->codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(input.stream(audio)->codecpar->codec_id, AV_CODEC_ID_AAC);
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_SUBTITLE), -1);
    EXPECT_EQ(input.stream(-1), nullptr);
    EXPECT_EQ(input.stream(static_cast<int>(input->nb_streams)), nullptr);
    EXPECT_NEAR(input.durationMs(), 4000.0, 100.0);
    input.close();
    EXPECT_FALSE(static_cast<bool>(input));
    EXPECT_EQ(input.durationMs(), 0.0);
}

TEST(MediaInput, ClipWithoutSoundOrPictureHasNoSuchStream) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("silent.mp4")) && input.findStreamInfo());
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_VIDEO), 0);
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_AUDIO), -1);
    ASSERT_TRUE(input.open(mediaPath("flac.flac")) && input.findStreamInfo());
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_VIDEO), -1);
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_AUDIO), 0);
}

TEST(MediaInput, TheFirstStreamOfATypeNeedNotBeTheBest) {
    MediaInput input;
    EXPECT_EQ(input.firstStream(AVMEDIA_TYPE_VIDEO), -1);
    ASSERT_TRUE(input.open(test::twoStreamClip()) && input.findStreamInfo());
    EXPECT_EQ(input.firstStream(AVMEDIA_TYPE_VIDEO), 0);
    EXPECT_EQ(input.bestStream(AVMEDIA_TYPE_VIDEO), 1);
    EXPECT_EQ(input.firstStream(AVMEDIA_TYPE_AUDIO), -1);
    ASSERT_TRUE(input.open(mediaPath("h264_aac.mp4")) && input.findStreamInfo());
    EXPECT_EQ(input.stream(input.firstStream(AVMEDIA_TYPE_AUDIO))->codecpar->codec_type,
              AVMEDIA_TYPE_AUDIO);
}

TEST(MediaInput, WhatIsNoMediaFileDoesNotOpenAndLeavesNothingOpen) {
    MediaInput input;
    for (const std::string& path :
         {std::string(), mediaPath("no such file.mp4"), mediaPath("empty.mp4"),
          mediaPath("text.mp4"), mediaPath("truncated_no_moov.mp4"), mediaPath("")}) {
        ASSERT_TRUE(input.open(mediaPath("silent.mp4")));
        EXPECT_FALSE(input.open(path)) << path;
        EXPECT_FALSE(static_cast<bool>(input)) << path;
        EXPECT_EQ(input.durationMs(), 0.0) << path;
    }
}

TEST(MediaInput, PipesAndDevicesAreRefused) {
    const std::string pipe = test::temporaryPath("pipe.mp4");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    MediaInput input;
    EXPECT_FALSE(input.open(pipe)); // and does not wait for somebody to write to it
    EXPECT_FALSE(input.open("/dev/zero"));
    EXPECT_FALSE(static_cast<bool>(input));
    unlink(pipe.c_str());
}

TEST(MediaInput, ForcedDemuxerReadsAnImageSequenceAtTheRateGiven) {
    MediaInput input;
    quol::Dictionary options;
    options.set("framerate", "50");
    options.set("nobody_knows", "this");
    ASSERT_TRUE(input.open(mediaPath("seq/seq_%04d.png"), "image2", &options));
    ASSERT_TRUE(input.findStreamInfo());
    EXPECT_STREQ(input->iformat->name, "image2");
    EXPECT_EQ(quol::rationalOrZero(input.stream(0)->avg_frame_rate), 50.0);
    EXPECT_NEAR(input.durationMs(), 200.0, 1.0);
    // What was understood is gone from the options.
    EXPECT_EQ(options.find("framerate"), nullptr);
    EXPECT_STREQ(options.find("nobody_knows"), "this");
}

TEST(MediaInput, TimecodeIsTheContainersElseTheStreams) {
    MediaInput mxf;
    ASSERT_TRUE(mxf.open(mediaPath("av_tc.mxf")) && mxf.findStreamInfo());
    EXPECT_STREQ(mxf.timecode(mxf.bestStream(AVMEDIA_TYPE_VIDEO)), "01:02:03:04");
    EXPECT_STREQ(mxf.timecode(-1), "01:02:03:04");

    MediaInput mov;
    ASSERT_TRUE(mov.open(mediaPath("prores.mov")) && mov.findStreamInfo());
    EXPECT_STREQ(mov.timecode(mov.bestStream(AVMEDIA_TYPE_VIDEO)), "00:59:59:00");
    EXPECT_EQ(mov.timecode(-1), nullptr); // it is the picture's track alone that has one

    MediaInput plain;
    ASSERT_TRUE(plain.open(mediaPath("silent.mp4")) && plain.findStreamInfo());
    EXPECT_EQ(plain.timecode(0), nullptr);
}

TEST(MediaInput, TellsWhyItCouldNot) {
    MediaInput input;
    EXPECT_FALSE(input.open(mediaPath("no_such_file.mp4")));
    EXPECT_EQ(input.error(), AVERROR(ENOENT));
    EXPECT_FALSE(input.open("pipe:0"));
    EXPECT_EQ(input.error(), AVERROR(EINVAL));
    const quol::PacketPtr packet = quol::makePacket();
    EXPECT_FALSE(input.readPacket(*packet));
    EXPECT_EQ(input.error(), AVERROR(EINVAL));
    ASSERT_TRUE(input.open(mediaPath("silent.mp4")));
    while (input.readPacket(*packet))
        av_packet_unref(packet.get());
    EXPECT_EQ(input.error(), AVERROR_EOF);
    input.interrupt(true);
    EXPECT_FALSE(input.open("tcp://127.0.0.1:1"));
    EXPECT_EQ(input.error(), AVERROR_EXIT);
}

TEST(MediaInput, WhatTakesTooLongFailsAndTheNextOneHasItsOwnTime) {
    const test::SilentServer server;
    const std::string url = "tcp://127.0.0.1:" + std::to_string(server.port());
    MediaInput input;
    input.setLongestWait(300'000'000);
    for (int i = 0; i < 2; ++i) {
        const test::Stopwatch watch;
        EXPECT_FALSE(input.open(url));
        EXPECT_EQ(input.error(), AVERROR(ETIMEDOUT));
        EXPECT_GT(watch.seconds(), 0.25);
    }
    EXPECT_TRUE(input.open(mediaPath("silent.mp4")));
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    EXPECT_TRUE(input.findStreamInfo()); // the time between two calls does not count
}

TEST(MediaInput, ReadsOnlyTheStreamsAskedFor) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("h264_aac.mp4")) && input.findStreamInfo());
    const int audio = input.bestStream(AVMEDIA_TYPE_AUDIO);
    input.readOnly(-1, audio);
    const quol::PacketPtr packet = quol::makePacket();
    int others = 0;
    int wanted = 0;
    while (input.readPacket(*packet)) {
        ++(packet->stream_index == audio ? wanted : others);
        av_packet_unref(packet.get());
    }
    EXPECT_GT(wanted, 50);
    EXPECT_LT(others, 20); // of 100: what looking at the streams had read already
    MediaInput().readOnly(0, 1);
}

TEST(MediaInput, WhereNothingIsWantedEverythingIsRead) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("h264_aac.mp4")) && input.findStreamInfo());
    const auto discarded = [&] {
        int count = 0;
        for (int i = 0; input.stream(i) != nullptr; ++i)
            count += input.stream(i)->discard == AVDISCARD_ALL ? 1 : 0;
        return count;
    };
    input.readOnly(0, -1);
    EXPECT_GE(discarded(), 1);
    input.readOnly(-1, -1);
    EXPECT_EQ(discarded(), 0);
    input.readOnly(-1, -1, AVMEDIA_TYPE_VIDEO);
    EXPECT_GE(discarded(), 1);
    input.readOnly(-1, -1, AVMEDIA_TYPE_SUBTITLE);
    EXPECT_EQ(discarded(), 0);
}

TEST(MediaInput, NoPictureWaitsInADecoderForWhatIsLive) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("tenbit.mp4")) && input.findStreamInfo());
    const AVStream* stream = input.stream(input.bestStream(AVMEDIA_TYPE_VIDEO));
    const auto decoder = quol::openDecoder(*stream, quol::DecoderThreads::live);
    ASSERT_TRUE(decoder);
    EXPECT_EQ(decoder->active_thread_type & FF_THREAD_FRAME, 0);
    EXPECT_LE(decoder->thread_count, 4);
}

TEST(MediaInput, InterruptMakesReadsFailAndWorkAgain) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("flash_beep.mov")) && input.findStreamInfo());
    const quol::PacketPtr packet = quol::makePacket();
    ASSERT_GE(av_read_frame(input.get(), packet.get()), 0);
    av_packet_unref(packet.get());

    input.interrupt(true);
    int result = 0;
    while (result >= 0) { // what was read ahead may still come
        result = av_read_frame(input.get(), packet.get());
        av_packet_unref(packet.get());
    }
    EXPECT_EQ(result, AVERROR_EXIT);

    // It holds for the next file too, until it is taken back.
    EXPECT_FALSE(input.open(mediaPath("flash_beep.mov")));
    input.interrupt(false);
    ASSERT_TRUE(input.open(mediaPath("flash_beep.mov")));
    EXPECT_GE(av_read_frame(input.get(), packet.get()), 0);
}

// A server that lets everybody in and never says a word.
class MuteServer {
public:
    MuteServer() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ready_ = bind(socket_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                 listen(socket_, 4) == 0 &&
                 getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        port_ = ntohs(address.sin_port);
    }
    ~MuteServer() { close(socket_); }
    MuteServer(const MuteServer&) = delete;
    MuteServer& operator=(const MuteServer&) = delete;

    bool ready() const { return ready_; }
    std::string url() const { return "tcp://127.0.0.1:" + std::to_string(port_); }

private:
    int socket_;
    bool ready_ = false;
    int port_ = 0;
};

TEST(MediaInput, InterruptEndsAnOpenThatGetsNoAnswer) {
    const MuteServer server;
    ASSERT_TRUE(server.ready());
    MediaInput input;
    std::atomic<bool> done{false};
    bool opened = true;
    std::thread opener([&] {
        opened = input.open(server.url());
        done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(done);
    input.interrupt(true);
    opener.join();
    EXPECT_FALSE(opened);
    EXPECT_FALSE(static_cast<bool>(input));
}

TEST(OpenDecoder, OpensTheStreamsDecoder) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("h264_aac.mp4")) && input.findStreamInfo());
    const AVStream* video = input.stream(input.bestStream(AVMEDIA_TYPE_VIDEO));
    const auto one = quol::openDecoder(*video, quol::DecoderThreads::one);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(one->width, 320);
    EXPECT_EQ(one->height, 180);
    EXPECT_EQ(one->thread_count, 1);
    EXPECT_EQ(av_cmp_q(one->pkt_timebase, video->time_base), 0);
    const auto automatic = quol::openDecoder(*video, quol::DecoderThreads::automatic);
    ASSERT_NE(automatic, nullptr);
    EXPECT_GE(automatic->thread_count, 1);
}

TEST(OpenDecoder, StreamThatNobodyDecodesHasNone) {
    MediaInput input;
    ASSERT_TRUE(input.open(mediaPath("silent.mp4")) && input.findStreamInfo());
    AVStream* video = input.stream(0);
    video->codecpar->codec_id = AV_CODEC_ID_NONE;
    EXPECT_EQ(quol::openDecoder(*video, quol::DecoderThreads::one), nullptr);
    // Parameters that contradict the decoder.
    video->codecpar->codec_id = AV_CODEC_ID_AAC;
    EXPECT_EQ(quol::openDecoder(*video, quol::DecoderThreads::one), nullptr);
}

TEST(DecodeFirstPicture, IsTheClipsFirstPicture) {
    for (const char* clip :
         {"h264_aac.mp4", "long_gop.mp4", "av_tc.mxf", "prores.mov", "mjpeg.avi", "vp9_opus.webm",
          "odd_size.mkv", "tenbit.mp4", "still.png", "mpeg2.mpg", "h264.ts"}) {
        const auto all = test::decodeAll(mediaPath(clip), AVMEDIA_TYPE_VIDEO);
        ASSERT_FALSE(all.empty()) << clip;
        const quol::FramePtr first = quol::decodeFirstPicture(mediaPath(clip), 1000);
        ASSERT_NE(first, nullptr) << clip;
        EXPECT_EQ(test::fingerprint(*first), test::fingerprint(*all.front())) << clip;
    }
}

TEST(DecodeFirstPicture, IsOfTheStreamThatIsChosen) {
    const std::string clip = test::twoStreamClip();
    const quol::FramePtr best = quol::decodeFirstPicture(clip, 100);
    ASSERT_NE(best, nullptr);
    EXPECT_EQ(best->width, test::bestStreamWidth);
    EXPECT_EQ(test::levelsAt(best.get(), 5, 5), test::bright);
    const quol::FramePtr first = quol::decodeFirstPicture(clip, 100, quol::StreamChoice::first);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->width, test::firstStreamWidth);
    EXPECT_EQ(test::levelsAt(first.get(), 5, 5), test::dark);
}

TEST(DecodeFirstPicture, StillNeedsOnePacketOnly) {
    const quol::FramePtr still = quol::decodeFirstPicture(mediaPath("still.png"), 1);
    ASSERT_NE(still, nullptr);
    EXPECT_EQ(still->width, 160);
    EXPECT_EQ(still->height, 90);
}

TEST(DecodeFirstPicture, PictureThatWaitsInTheDecoderComesToo) {
    // With pictures out of order the first one comes out behind the second packet at the earliest.
    const quol::FramePtr first = quol::decodeFirstPicture(mediaPath("silent.mp4"), 1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->width, 320);
}

TEST(DecodeFirstPicture, IsNullWhenAnyStepFails) {
    for (const char* name : {"no such file.png", "mono.wav", "flac.flac", "text.mp4", "empty.mp4",
                             "random.mp4", "huge_png.png", "truncated_no_moov.mp4"}) {
        EXPECT_EQ(quol::decodeFirstPicture(mediaPath(name), 10), nullptr) << name;
    }
    EXPECT_EQ(quol::decodeFirstPicture("", 10), nullptr);
    EXPECT_EQ(quol::decodeFirstPicture(mediaPath("still.png"), 0), nullptr);
}

TEST(RationalOrZero, IsTheRateOr0ForOneThatIsNone) {
    EXPECT_EQ(quol::rationalOrZero({25, 1}), 25.0);
    EXPECT_EQ(quol::rationalOrZero({30000, 1001}), 30000.0 / 1001);
    for (const AVRational none : {AVRational{0, 1}, AVRational{0, 0}, AVRational{1, 0},
                                  AVRational{-25, 1}, AVRational{25, -1}}) {
        EXPECT_EQ(quol::rationalOrZero(none), 0.0) << none.num << '/' << none.den;
    }
}

} // namespace
