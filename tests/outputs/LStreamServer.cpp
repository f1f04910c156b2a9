// Publishing to a real server, and what becomes of it when the server does not play along.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <thread>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/LocalPort.h"
#include "support/MachineWatch.h"
#include "support/Program.h"
#include "support/RecordedFile.h"
#include "support/RtmpServer.h"
#include "support/Streaming.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::HandSource;
using test::LiveSource;
using test::outputOf;
using test::RtmpServer;
using test::statsOf;
using test::statusOf;
using test::temporaryPath;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// What is promised is a second for Stop and five for Start. A machine that is busy with other tests
// adds to that; what hangs does not come back at all.
constexpr double stopLimit = 4.0;
constexpr double startLimit = 15.0;

double stopSeconds(LStream& stream) {
    const auto begin = Clock::now();
    stream.Stop();
    const double taken = secondsSince(begin);
    testing::Test::RecordProperty("stop_milliseconds", std::to_string(std::lround(taken * 1000)));
    return taken;
}

class LStreamServer : public testing::Test {
protected:
    void SetUp() override {
        if (!RtmpServer::available()) GTEST_SKIP() << RtmpServer::unavailable;
        server = std::make_unique<RtmpServer>();
        ASSERT_TRUE(server->running()) << server->log();
        stream.source = &source;
        stream.setStreamUrl(server->url());
        stream.setStreamKey("one");
        source.start();
    }

    // For another measurement, with another server.
    void beginAnew() {
        stream.Stop();
        source.stop();
        source.forgetLateness();
        SetUp();
    }

    void cloneInto(const std::string& name) {
        clones = temporaryPath(name);
        std::filesystem::remove_all(clones);
        std::filesystem::create_directory(clones);
        stream.setStreamClone(true);
        stream.setStreamClonePath(clones);
    }

    // More than the two ends buffer within seconds: filling is part of a constant rate.
    void sendMuch() {
        stream.setVideoBitrate(40000);
        stream.setProps("bitrate_mode", "cbr");
    }

    std::unique_ptr<RtmpServer> server;
    LiveSource source;
    LStream stream;
    std::string clones;
};

// --------------------------------------------------------------------------------- publishing

TEST_F(LStreamServer, PlayersSeeWhatIsPublished) {
    test::measured([this](test::MachineWatch& watch) {
        beginAnew();
        watch.begin();
        bool started = false;
        EXPECT_THAT(test::told([&] { started = stream.Start(); }),
                    HasSubstr("[LStream] Yayın Başladı: " + server->url() + "\n"));
        ASSERT_TRUE(started) << server->log();
        ASSERT_TRUE(test::waitForSent(stream, 5));
        const std::string seen =
            outputOf({"ffprobe", "-v", "error", "-rw_timeout", "20000000", "-show_entries",
                      "stream=codec_name,width,height,sample_rate,channels", "-of", "csv=p=0",
                      server->url("one")});
        EXPECT_THAT(seen, HasSubstr("h264,160,90")) << server->log();
        EXPECT_THAT(seen, HasSubstr("aac,48000,2")) << server->log();
        // And that it decodes, with sound and picture in their places.
        const std::string path = temporaryPath("played.mkv");
        EXPECT_EQ(outputOf({"ffmpeg", "-v", "error", "-y", "-rw_timeout", "20000000", "-i",
                            server->url("one"), "-t", "3", "-c", "copy", path}),
                  "");
        EXPECT_THAT(test::told([&] { EXPECT_LT(stopSeconds(stream), stopLimit); }),
                    HasSubstr("[LStream] Yayın Durduruldu.\n"));
        const test::RecordedFile played = test::readRecordedFile(path);
        EXPECT_EQ(played.error, "");
        EXPECT_GE(played.pictures.size(), 50U);
        EXPECT_GE(played.soundSeconds(), 2.0);
        EXPECT_LT(played.soundHoles, 0.05);
        EXPECT_THAT(server->log(), testing::Not(HasSubstr("[error]")));
    });
}

TEST_F(LStreamServer, CopyHasTheSamePictures) {
    cloneInto("same");
    ASSERT_TRUE(stream.Start()) << server->log();
    ASSERT_TRUE(test::waitForSent(stream, 30));
    stream.Stop();
    const test::RecordedFile copy = test::readRecordedFile(clones + "/stream.mp4");
    EXPECT_EQ(copy.error, "");
    EXPECT_EQ(static_cast<std::int64_t>(copy.pictures.size()), statsOf(stream).framesSent);
    ASSERT_NE(copy.audio(), nullptr);
}

TEST_F(LStreamServer, TwoStreamsAtOnce) {
    LiveSource other;
    LStream second;
    second.source = &other;
    second.setStreamUrl(server->url());
    second.setStreamKey("two");
    other.width = 320;
    other.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(second.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    ASSERT_TRUE(test::waitForSent(second, 10));
    EXPECT_THAT(outputOf({"ffprobe", "-v", "error", "-rw_timeout", "20000000", "-show_entries",
                          "stream=width", "-of", "csv=p=0", server->url("two")}),
                HasSubstr("320"));
}

// ------------------------------------------------------------------------------------- faults

TEST_F(LStreamServer, KilledServerEndsTheSendingButNotTheCopy) {
    test::measured([this](test::MachineWatch& watch) {
        beginAnew();
        cloneInto("killed");
        watch.begin();
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 20));
        CapturedStream error(CapturedStream::Stream::error);
        server->kill();
        const auto said = [&](const std::string& text) {
            return error.text().find(text) != std::string::npos;
        };
        ASSERT_TRUE(test::waitUntil([&] { return said("[LStream] Sending failed, "); }, 60s));
        EXPECT_THAT(error.text(), HasSubstr(": " + server->url() + "\n"));
        const LStream::Stats broken = statsOf(stream);
        EXPECT_TRUE(broken.running);
        EXPECT_EQ(statusOf(stream), 1);
        // Three seconds of pictures, without those that a machine that was away makes it drop.
        const std::int64_t given = source.pictures();
        const auto dropped = [&] { return statsOf(stream).framesDropped - broken.framesDropped; };
        const auto kept = [&] { return source.pictures() - given - dropped(); };
        ASSERT_TRUE(test::waitUntil([&] { return kept() >= 75; }, 60s));
        EXPECT_LE(dropped(), 35 + std::lround(source.largestLateness() * source.fps));
        EXPECT_EQ(statsOf(stream).framesSent, broken.framesSent);
        EXPECT_EQ(statsOf(stream).bytesSent, broken.bytesSent);
        EXPECT_LT(stopSeconds(stream), stopLimit);
        EXPECT_EQ(statusOf(stream), 0);
        const test::RecordedFile copy = test::readRecordedFile(clones + "/stream.mp4");
        EXPECT_EQ(copy.error, "");
        EXPECT_GE(static_cast<std::int64_t>(copy.pictures.size()), broken.framesSent + 40);
        EXPECT_GE(test::flashes(copy).size(), 4U); // the source's, and no black instead
        EXPECT_LT(copy.longestPictureGap(), 1.0 + source.largestLateness());
        EXPECT_LT(copy.soundHoles, 0.05);
    });
}

TEST_F(LStreamServer, StopAndStartBeginAgainWhenTheServerIsBack) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(stream.Start()) << server->log();
        ASSERT_TRUE(test::waitForSent(stream, 30));
        server->kill();
        ASSERT_TRUE(test::waitForStandstill(stream));
        EXPECT_LT(stopSeconds(stream), stopLimit);
        CapturedStream error(CapturedStream::Stream::error);
        EXPECT_FALSE(stream.Start()); // nobody is there
        EXPECT_EQ(error.text(), "[LStream] URL açılamadı: " + server->url() + "\n");
        ASSERT_TRUE(server->start()) << server->log();
    }
    test::measured([&](test::MachineWatch& watch) {
        watch.begin();
        ASSERT_TRUE(stream.Start()) << server->log();
        EXPECT_LT(statsOf(stream).framesSent, 20); // counts anew
        EXPECT_TRUE(test::waitForSent(stream, 30));
        EXPECT_LT(stopSeconds(stream), stopLimit);
    });
}

TEST_F(LStreamServer, StopOfAStreamWhoseServerStandsStill) {
    sendMuch();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    server->freeze();
    // The stream thread is held up when pictures are left.
    ASSERT_TRUE(test::waitUntil([&] { return statsOf(stream).queueLength == 11; }, 60s));
    EXPECT_LT(stopSeconds(stream), stopLimit);
}

TEST_F(LStreamServer, ServerThatTakesNothingCountsAsGoneAndTheCopyGoesOn) {
    cloneInto("frozen");
    sendMuch();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    CapturedStream error(CapturedStream::Stream::error);
    server->freeze();
    ASSERT_TRUE(test::waitUntil(
        [&] { return error.text().find("[LStream] Sending failed, ") != std::string::npos; }, 60s));
    EXPECT_GT(statsOf(stream).framesDropped, 0); // those of the five seconds
    ASSERT_TRUE(test::waitUntil([&] { return statsOf(stream).queueLength < 3; }));
    const std::int64_t dropped = statsOf(stream).framesDropped;
    const std::int64_t sent = statsOf(stream).framesSent;
    ASSERT_TRUE(source.waitForPictures(50));
    EXPECT_LT(statsOf(stream).framesDropped, dropped + 40); // it keeps pace again
    EXPECT_EQ(statsOf(stream).framesSent, sent);
    EXPECT_LT(stopSeconds(stream), stopLimit);
    const test::RecordedFile copy = test::readRecordedFile(clones + "/stream.mp4");
    EXPECT_EQ(copy.error, "");
    EXPECT_GT(static_cast<std::int64_t>(copy.pictures.size()), sent + 30);
}

TEST_F(LStreamServer, DestroyedWhileTheServerStandsStill) {
    auto* other = new LStream;
    other->source = &source;
    other->setStreamUrl(server->url("other"));
    ASSERT_TRUE(other->Start());
    ASSERT_TRUE(test::waitForSent(*other, 5));
    server->freeze();
    const auto begin = Clock::now();
    delete other;
    EXPECT_LT(secondsSince(begin), stopLimit);
}

// --------------------------------------------------------------------- addresses that never answer

TEST(LStreamSilence, StartGivesUpOnAnAddressThatNeverAnswers) {
    const test::SilentServer silent;
    HandSource source;
    LStream stream;
    const std::string url = "rtmp://127.0.0.1:" + std::to_string(silent.port()) + "/live";
    stream.source = &source;
    stream.setStreamUrl(url);
    CapturedStream error(CapturedStream::Stream::error);
    const auto begin = Clock::now();
    EXPECT_FALSE(stream.Start());
    EXPECT_GT(secondsSince(begin), 4.5); // a server may be slow
    EXPECT_LT(secondsSince(begin), startLimit);
    EXPECT_EQ(error.text(), "[LStream] URL açılamadı: " + url + "\n");
    EXPECT_EQ(statusOf(stream), 0);
}

TEST(LStreamSilence, StopEndsAStartThatStillWaits) {
    const test::SilentServer silent;
    HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("rtmp://127.0.0.1:" + std::to_string(silent.port()) + "/live");
    bool started = true;
    const auto begin = Clock::now();
    std::thread starting([&] { started = stream.Start(); });
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(stream) == 1; }));
    std::this_thread::sleep_for(200ms); // it may be anywhere on its way, and mostly waits
    stream.Stop();
    EXPECT_LT(secondsSince(begin), stopLimit);
    starting.join();
    EXPECT_FALSE(started);
    EXPECT_EQ(statusOf(stream), 0);
}

TEST(LStreamSilence, NobodyListens) {
    HandSource source;
    LStream stream;
    const std::string url = "rtmp://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/live";
    stream.source = &source;
    stream.setStreamUrl(url);
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(error.text(), "[LStream] URL açılamadı: " + url + "\n");
}

} // namespace
