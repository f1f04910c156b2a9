// One stream from the source that is published to the sinks of a player, over a real server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "quolsdk/LRecorder.h"
#include "quolsdk/LStream.h"
#include "quolsdk/LStreamPlay.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/Program.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/RtmpServer.h"
#include "support/Streaming.h"

namespace {

using namespace std::chrono_literals;
using test::temporaryPath;

// Pictures, 25 a second, dark or bright as it is asked for.
class FlashSource : public test::HandSource {
public:
    ~FlashSource() override { stop(); }

    void start() {
        thread_ = std::thread([this] {
            auto next = std::chrono::steady_clock::now();
            for (; running_; std::this_thread::sleep_until(next += 40ms))
                push();
        });
    }
    void stop() {
        running_ = false;
        if (thread_.joinable()) thread_.join();
    }
    std::atomic<bool> sound{true};
    std::atomic<bool> bright{false};
    std::atomic<std::int64_t> brightAt{0}; // steady nanoseconds, when the latest turn went out

private:
    void push() {
        const bool turns = bright != wasBright_;
        wasBright_ ^= turns;
        if (sound) {
            const auto block = test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16, 1920 * count_);
            distributeAudioFrame(block.get());
        }
        const auto picture = test::makePicture(width, height, AV_PIX_FMT_YUV420P, count_++);
        test::fillPlane(*picture, 0, wasBright_ ? 200 : 40);
        if (turns && wasBright_) brightAt = quol::steadyNow();
        distributeVideoFrame(picture.get());
    }

    std::thread thread_;
    std::atomic<bool> running_{true};
    bool wasBright_ = false; // the thread's, as all that follows
    std::int64_t count_ = 0;
};

class FlashSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        ++pictures;
        const bool is = frame->data[0][0] > 120;
        if (is && !bright) brightAt = quol::steadyNow();
        bright = is;
    }
    void pushAudioFrame(AVFrame*) override {}

    std::atomic<int> pictures{0};
    std::atomic<bool> bright{false};
    std::atomic<std::int64_t> brightAt{0};
};

class StreamRoundTrip : public testing::Test {
protected:
    void SetUp() override {
        if (!test::RtmpServer::available()) GTEST_SKIP() << test::RtmpServer::unavailable;
        server = std::make_unique<test::RtmpServer>();
        ASSERT_TRUE(server->running()) << server->log();
        stream.setStreamUrl(server->url());
        stream.setStreamKey("round");
        player.streamUrlSet(server->url("round"));
    }

    // Ahead of the sources and sinks, which are members of the tests' own fixtures.
    void TearDown() override {
        player.stop();
        stream.Stop();
    }

    void publish(LObject& source) {
        stream.source = &source;
        ASSERT_TRUE(stream.Start()) << server->log();
    }

    std::unique_ptr<test::RtmpServer> server;
    LStream stream;
    LStreamPlay player;
};

class StreamDelay : public StreamRoundTrip, public testing::WithParamInterface<bool> {
protected:
    // From a bright picture that is pushed to the first that arrives, milliseconds.
    double delayOfOne() {
        source.bright = true;
        EXPECT_TRUE(test::waitUntil([this] { return sink.bright.load(); })) << server->log();
        const double delay = static_cast<double>(sink.brightAt - source.brightAt) / 1e6;
        source.bright = false;
        EXPECT_TRUE(test::waitUntil([this] { return !sink.bright; }));
        return delay;
    }

    FlashSource source;
    FlashSink sink;
};

INSTANTIATE_TEST_SUITE_P(, StreamDelay, testing::Bool(), [](const auto& info) {
    return info.param ? "WithSound" : "WithoutSound";
});

TEST_P(StreamDelay, APictureArrivesWithinHalfASecond) {
    source.sound = GetParam();
    source.start();
    publish(source);
    player.addSink(&sink);
    ASSERT_TRUE(player.play());
    ASSERT_TRUE(test::waitUntil([&] { return sink.pictures > 25; })) << server->log();
    std::vector<double> delays;
    for (int i = 0; i < 9; ++i)
        delays.push_back(delayOfOne());
    std::sort(delays.begin(), delays.end());
    const double median = delays[delays.size() / 2];
    RecordProperty("median_milliseconds", std::to_string(std::lround(median)));
    RecordProperty("worst_milliseconds", std::to_string(std::lround(delays.back())));
    EXPECT_LT(median, 500.0);
}

class StreamRecorded : public StreamRoundTrip {
protected:
    test::LiveSource source;
};

TEST_F(StreamRecorded, WhatIsPlayedIsRecordedWithPictureAndSoundTogether) {
    const std::string path = temporaryPath("round.mp4");
    source.start();
    publish(source);
    LRecorder recorder;
    test::configure(recorder, path);
    recorder.source = &player;
    ASSERT_TRUE(player.play());
    ASSERT_TRUE(test::waitUntil([&] { return player.getWidth() == 160; }));
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 100));
    recorder.Stop();

    const std::string seen = test::outputOf({"ffprobe", "-v", "error", "-show_entries",
                                             "stream=codec_name,width,height,sample_rate,channels",
                                             "-of", "csv=p=0", path});
    EXPECT_THAT(seen, testing::HasSubstr("h264,160,90"));
    EXPECT_THAT(seen, testing::HasSubstr("aac,48000,2"));
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.pictures.size(), 100U);
    const std::vector<double> seenFlashes = test::flashes(file);
    const std::vector<double> beeps = test::beeps(file);
    ASSERT_GE(seenFlashes.size(), 4U);
    std::vector<double> apart = test::distances(seenFlashes, beeps);
    std::sort(apart.begin(), apart.end());
    EXPECT_NEAR(apart[apart.size() / 2], 0.0, 0.08);
}

} // namespace
