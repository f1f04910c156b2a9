// The stream player and servers that are there, go, come back, stand still or never were.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <thread>

#include "compositing/CompositorSink.h"
#include "core/Clock.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/Instrumented.h"
#include "support/LocalPort.h"
#include "support/Program.h"
#include "support/RtmpServer.h"
#include "support/StreamFeed.h"

namespace {

using test::ByteServer;
using test::CapturedStream;
using test::FullServer;
using test::isInstrumented;
using test::made;
using test::mediaPath;
using test::Program;
using test::RtmpServer;
using test::SilentServer;
using test::Stopwatch;
using test::StreamPlayer;
using test::waitUntil;
using testing::HasSubstr;
using namespace std::chrono_literals;

// What a host may wait; an instrumented player is no measure of it.
constexpr double longestStop = isInstrumented ? 5.0 : 1.0;
constexpr auto longestReturn = isInstrumented ? 5000ms : 2000ms;
constexpr double longestToTheFirstPicture = isInstrumented ? 20.0 : 3.0;

void expectQuickStop(LStreamPlay& stream) {
    const Stopwatch watch;
    stream.stop();
    EXPECT_LT(watch.seconds(), longestStop);
}

std::size_t countOf(const std::string& text, const std::string& word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

std::string failedToOpen(const std::string& url) {
    return "[LStreamPlay] openStream: avformat_open_input failed for URL " + url + " Error: ";
}

std::vector<std::string> publishing(const std::string& format, const std::string& address,
                                    bool picture = true, bool sound = true) {
    std::vector<std::string> words{"ffmpeg", "-v", "error", "-re"};
    const auto add = [&words](const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
    };
    if (picture) add({"-f", "lavfi", "-i", "testsrc=s=192x108:r=25"});
    if (sound) add({"-re", "-f", "lavfi", "-i", "sine=r=48000"});
    if (picture)
        add({"-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-g", "12"});
    if (sound) add({"-c:a", "aac"});
    add({"-f", format, address});
    return words;
}

} // namespace

// --------------------------------------------------------------------------- servers of bytes

TEST(LStreamPlayNetwork, SaysWhyAnAddressCannotBeOpenedAndTriesAgain) {
    CapturedStream output(CapturedStream::Stream::output);
    const std::string url = "tcp://127.0.0.1:" + std::to_string(test::freeTcpPort());
    StreamPlayer player(url);
    player.stream.play();
    const std::string line = failedToOpen(url) + "Connection refused\n";
    EXPECT_TRUE(waitUntil([&] { return countOf(output.text(), line) >= 3; })) << output.text();
    EXPECT_EQ(player.status(), 1);
    expectQuickStop(player.stream);
}

TEST(LStreamPlayNetwork, ASecondLiesBetweenTwoTries) {
    CapturedStream output(CapturedStream::Stream::output);
    const std::string url = test::temporaryPath("nothing.ts");
    StreamPlayer player(url);
    player.stream.play();
    ASSERT_TRUE(waitUntil([&] { return countOf(output.text(), failedToOpen(url)) >= 1; }));
    const Stopwatch watch;
    ASSERT_TRUE(waitUntil([&] { return countOf(output.text(), failedToOpen(url)) >= 4; }));
    EXPECT_GT(watch.seconds(), 2.5);
}

TEST(LStreamPlayNetwork, BadAddressesAreQuiet) {
    for (const char* bad : {"rtmp://", "://", "no such scheme://x", "rtmp:/\n/x", "udp://:-1",
                            "tcp://127.0.0.1:99999", "%s%n", "file:", "rtmp://[", "pipe:0"}) {
        StreamPlayer player(bad);
        EXPECT_TRUE(player.stream.play()) << bad;
        std::this_thread::sleep_for(50ms);
        expectQuickStop(player.stream);
        EXPECT_EQ(player.sink.pictureCount(), 0U);
    }
}

TEST(LStreamPlayNetwork, ComesBackWhenTheServerDoes) {
    CapturedStream output(CapturedStream::Stream::output);
    auto server = std::make_unique<ByteServer>();
    const int port = server->port();
    const std::string url = server->url();
    StreamPlayer player(url);
    player.stream.play();
    ASSERT_TRUE(server->accept());
    ASSERT_TRUE(server->sendFile(mediaPath("h264.ts")));
    ASSERT_TRUE(player.sink.waitForPictures(20));
    server.reset();
    ASSERT_TRUE(waitUntil([&] { return countOf(output.text(), failedToOpen(url)) >= 2; }));
    EXPECT_EQ(player.status(), 1);
    const std::size_t flushes = player.sink.flushCount();
    server = std::make_unique<ByteServer>(port);
    ASSERT_TRUE(server->accept(longestReturn));
    ASSERT_TRUE(server->sendFile(mediaPath("h264.ts")));
    EXPECT_TRUE(waitUntil([&] { return player.sink.flushCount() == flushes + 1; }));
    const std::size_t before = player.sink.pictureCount();
    EXPECT_TRUE(player.sink.waitForPictures(before + 20));
    // The first behind a break is due at once, and the others are paced from there.
    const auto pictures = player.sink.picturesSinceFlush();
    ASSERT_GE(pictures.size(), 20U);
    EXPECT_GT(static_cast<double>(pictures[19].arrived - pictures[0].arrived) / 1e9, 0.6);
}

TEST(LStreamPlayNetwork, AfterABreakConsumersSeeNoPicture) {
    ByteServer server;
    LStreamPlay stream;
    quol::CompositorSink sink(48000);
    stream.addSink(&sink);
    stream.streamUrlSet(server.url());
    stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(mediaPath("h264.ts")));
    EXPECT_TRUE(waitUntil([&] { return sink.newestFrame() != nullptr; }));
    server.dropGuest();
    EXPECT_TRUE(waitUntil([&] { return sink.newestFrame() == nullptr; }));
    stream.stop();
    stream.removeSink(&sink);
}

TEST(LStreamPlayNetwork, AfterABreakTheLastPictureStandsForASecondAndNoMoreCome) {
    ByteServer server;
    quol::CompositorSink sink(48000);
    StreamPlayer player(server.url());
    player.stream.addSink(&sink); // behind the one that knows when a picture came
    player.stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(mediaPath("h264.ts")));
    ASSERT_TRUE(waitUntil([&] { return sink.newestFrame() != nullptr; }));
    server.dropGuest();
    std::int64_t last = 0;
    ASSERT_TRUE(waitUntil([&] {
        last = player.sink.pictures().back().arrived;
        return sink.newestFrame() == nullptr;
    }));
    EXPECT_GE(static_cast<double>(quol::steadyNow() - last) / 1e9, 0.99);
    const std::size_t count = player.sink.pictureCount();
    ASSERT_TRUE(server.accept()); // it has come again, and gets nothing
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.sink.pictureCount(), count);
    EXPECT_EQ(sink.newestFrame(), nullptr);
    player.stream.stop();
    player.stream.removeSink(&sink);
}

TEST(LStreamPlayNetwork, AStreamOfNonsenseIsTriedAgain) {
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    std::string nonsense(100'000, '\0');
    unsigned state = 1;
    for (char& byte : nonsense)
        byte = static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(server.accept()) << i;
        server.send(nonsense);
        server.dropGuest();
    }
    ASSERT_TRUE(server.accept());
    EXPECT_TRUE(server.sendFile(mediaPath("h264.ts")));
    EXPECT_TRUE(player.sink.waitForPictures(10));
}

TEST(LStreamPlayNetwork, AStreamThatBreaksOffAtOnceIsNotTriedWithoutAPause) {
    // Sound alone is not paced: the file is at its end as soon as it is open.
    StreamPlayer player(mediaPath("mono.wav"));
    player.stream.play();
    ASSERT_TRUE(waitUntil([&] { return player.sink.flushCount() >= 1; }));
    const Stopwatch watch;
    ASSERT_TRUE(waitUntil([&] { return player.sink.flushCount() >= 12; }, 60s));
    EXPECT_GT(watch.seconds(), 0.95);
}

TEST(LStreamPlayNetwork, SaysThatNothingCanBeDecodedAndTriesAgain) {
    const std::string path = test::temporaryPath("words.srt");
    std::ofstream(path) << "1\n00:00:00,000 --> 00:00:01,000\nWords.\n";
    CapturedStream output(CapturedStream::Stream::output);
    StreamPlayer player(path);
    player.stream.play();
    const std::string line =
        "[LStreamPlay] openStream: nothing that can be decoded at URL " + path + "\n";
    EXPECT_TRUE(waitUntil([&] { return countOf(output.text(), line) >= 2; })) << output.text();
    EXPECT_EQ(player.status(), 1);
}

// ------------------------------------------------------- streams that set in late, or for a while
// The whole of a clip is sent, and the connection stays: what a player does not find in it, it
// waits for.

TEST(LStreamPlayNetwork, SoundThatSetsInBehindTheLookIsHeard) {
    // Announced from the start. Pictures so far apart are not waited for.
    const std::string path = made("late_sound.ts", {"-f",
                                                    "lavfi",
                                                    "-i",
                                                    "testsrc2=s=64x48:r=2/5:d=40",
                                                    "-itsoffset",
                                                    "20",
                                                    "-f",
                                                    "lavfi",
                                                    "-i",
                                                    "sine=r=48000:d=3",
                                                    "-c:v",
                                                    "libx264",
                                                    "-preset",
                                                    "ultrafast",
                                                    "-tune",
                                                    "zerolatency",
                                                    "-c:a",
                                                    "aac",
                                                    "-max_interleave_delta",
                                                    "0"});
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(path)) << path;
    EXPECT_TRUE(player.sink.waitForSounds(50));
    EXPECT_TRUE(player.sink.waitForPictures(5));
}

// FLV does not announce what is in it.
TEST(LStreamPlayNetwork, ATrackThatIsNotThereYetIsHeardOnceItComes) {
    const std::string path = made(
        "late_track.flv", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=4", "-itsoffset", "2",
                           "-f", "lavfi", "-i", "sine=r=44100:d=2", "-flvflags", "no_metadata",
                           "-c:v", "flv1", "-c:a", "libmp3lame", "-max_interleave_delta", "0"});
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    player.stream.switchAudioTrack(1);
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(path)) << path;
    EXPECT_TRUE(player.sink.waitForSounds(10));
    EXPECT_GT(player.sink.pictureCount(), 10U);
}

TEST(LStreamPlayNetwork, PicturesThatSetInLateHaveASizeAndARate) {
    const std::string path = made("late_picture.ts", {"-f",
                                                      "lavfi",
                                                      "-i",
                                                      "sine=r=48000:d=23",
                                                      "-itsoffset",
                                                      "20",
                                                      "-f",
                                                      "lavfi",
                                                      "-i",
                                                      "testsrc2=s=192x108:r=25:d=3",
                                                      "-c:v",
                                                      "libx264",
                                                      "-preset",
                                                      "ultrafast",
                                                      "-tune",
                                                      "zerolatency",
                                                      "-c:a",
                                                      "aac",
                                                      "-max_interleave_delta",
                                                      "0"});
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(path)) << path;
    ASSERT_TRUE(player.sink.waitForPictures(50));
    EXPECT_GE(player.sink.soundCount(), 500U);
    EXPECT_EQ(player.sink.flushCount(), 1U);
    EXPECT_EQ(player.sink.pictures()[0].width, 192);
    EXPECT_EQ(player.stream.getWidth(), 192);
    EXPECT_EQ(player.stream.getHeight(), 108);
    videoFormatProps format{};
    player.stream.getVideoFormat(format);
    EXPECT_EQ(format.width, 192);
    EXPECT_EQ(format.height, 108);
    EXPECT_EQ(format.fps, 25.0);
}

TEST(LStreamPlayNetwork, SoundAloneIsSwitchedOffAndOnAgain) {
    const std::string path =
        made("sound.ts", {"-f", "lavfi", "-i", "sine=r=48000:d=2", "-c:a", "aac"});
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    ASSERT_TRUE(server.accept());
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(server.sendFile(path)) << path;
    ASSERT_TRUE(player.sink.waitForSounds(50));
    player.stream.switchAudioTrack(-1);
    ASSERT_TRUE(waitUntil([&] {
        const std::size_t before = player.sink.soundCount();
        if (!server.sendFile(path)) return false;
        std::this_thread::sleep_for(300ms);
        return player.sink.soundCount() == before;
    }));
    player.stream.switchAudioTrack(0);
    const std::size_t before = player.sink.soundCount();
    ASSERT_TRUE(server.sendFile(path));
    EXPECT_TRUE(player.sink.waitForSounds(before + 50));
    EXPECT_EQ(player.sink.flushCount(), 1U);
}

TEST(LStreamPlayNetwork, PicturesInFlvDoNotWaitForSound) {
    const std::string path =
        made("two_seconds.flv", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=2", "-c:v",
                                 "libx264", "-preset", "ultrafast", "-tune", "zerolatency"});
    const std::string plain = test::contentsOf(path);
    ASSERT_GT(plain.size(), 13U) << path;
    // What a server says of itself where it sends over HTTP: FFmpeg has another name for it then.
    const std::string name = "NGINX RTMP";
    const std::string words = std::string("\2\0\12onMetaData\3\0\6Server\2\0", 24) +
                              static_cast<char>(name.size()) + name + std::string("\0\0\11", 3);
    const std::string tag = std::string("\22\0\0", 3) + static_cast<char>(words.size()) +
                            std::string(7, '\0') + words + std::string(3, '\0') +
                            static_cast<char>(words.size() + 11);
    const std::string told = plain.substr(0, 13) + tag + plain.substr(13);
    for (const std::string& stream : {plain, told}) {
        ByteServer server;
        StreamPlayer player(server.url());
        player.stream.play();
        ASSERT_TRUE(server.accept());
        ASSERT_TRUE(server.send(stream));
        EXPECT_TRUE(player.sink.waitForPictures(20)) << (stream.size() > plain.size());
    }
}

// ------------------------------------------------------------------- servers that do not answer

TEST(LStreamPlayNetwork, HalfAMinuteWithoutAByteIsABreak) {
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(mediaPath("h264.ts")));
    ASSERT_TRUE(player.sink.waitForPictures(1));
    const Stopwatch watch;
    // As long as this one is not dropped it is the player that comes again.
    ASSERT_TRUE(server.accept(60s));
    EXPECT_GT(watch.seconds(), 28.0);
}

TEST(LStreamPlayNetwork, StopsWhileAServerIsSilent) {
    const SilentServer server;
    const std::string address = "127.0.0.1:" + std::to_string(server.port());
    for (const char* scheme : {"tcp://", "rtmp://", "http://"}) {
        StreamPlayer player(scheme + address + "/live/x");
        player.stream.play();
        std::this_thread::sleep_for(300ms);
        expectQuickStop(player.stream);
    }
}

TEST(LStreamPlayNetwork, StopsWhileNobodyTakesTheConnection) {
    const FullServer server;
    for (const char* scheme : {"tcp://", "rtmp://"}) {
        StreamPlayer player(scheme + server.address() + "/live/x");
        player.stream.play();
        std::this_thread::sleep_for(300ms);
        expectQuickStop(player.stream);
    }
}

TEST(LStreamPlayNetwork, StopsWhileItWaitsForPackets) {
    const std::string address = "127.0.0.1:" + std::to_string(test::freeUdpPort());
    for (const char* scheme : {"udp://", "srt://"}) {
        StreamPlayer player(scheme + address);
        player.stream.play();
        std::this_thread::sleep_for(300ms);
        expectQuickStop(player.stream);
    }
}

TEST(LStreamPlayNetwork, StopsWhenAStreamHasGoneSilent) {
    ByteServer server;
    StreamPlayer player(server.url());
    player.stream.play();
    ASSERT_TRUE(server.accept());
    ASSERT_TRUE(server.sendFile(mediaPath("h264.ts")));
    ASSERT_TRUE(player.sink.waitForPictures(60));
    std::this_thread::sleep_for(300ms);
    expectQuickStop(player.stream);
}

TEST(LStreamPlayNetwork, StopsBetweenTwoTries) {
    StreamPlayer player(test::temporaryPath("nothing.ts"));
    player.stream.play();
    std::this_thread::sleep_for(200ms);
    expectQuickStop(player.stream);
}

TEST(LStreamPlayNetwork, StopsWhileAPictureWaitsForItsTime) {
    const std::string path = test::temporaryPath("slow.mkv");
    ASSERT_EQ(test::outputOf({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                              "testsrc2=size=64x48:rate=10/19:duration=40", "-c:v", "mpeg4", path}),
              "");
    StreamPlayer player(path);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(2)); // 1.9 s each
    const std::size_t count = player.sink.pictureCount();
    const Stopwatch watch;
    player.stream.stop();
    EXPECT_LT(watch.seconds(), isInstrumented ? 1.5 : longestStop);
    EXPECT_EQ(player.sink.pictureCount(), count); // what waited is not shown
}

TEST(LStreamPlayNetwork, AnotherAddressAndTheEndDoNotWaitEither) {
    const SilentServer server;
    const std::string url = "rtmp://127.0.0.1:" + std::to_string(server.port()) + "/live/x";
    const Stopwatch watch;
    {
        LStreamPlay stream;
        stream.streamUrlSet(url);
        stream.play();
        std::this_thread::sleep_for(200ms);
        stream.streamUrlSet("rtmp://127.0.0.1:1/live/x");
        stream.streamUrlSet(url);
        stream.play();
        std::this_thread::sleep_for(200ms);
    }
    EXPECT_LT(watch.seconds(), 2 * longestStop);
}

TEST(LStreamPlayNetwork, TellsOfNoFailureThatIsItsOwnEnd) {
    const SilentServer server;
    const std::string output = test::told([&] {
        StreamPlayer player("tcp://127.0.0.1:" + std::to_string(server.port()));
        player.stream.play();
        std::this_thread::sleep_for(300ms);
        player.stream.stop();
    });
    EXPECT_EQ(countOf(output, "[LStreamPlay]"), 0U) << output;
}

TEST(LStreamPlayNetwork, CheckingASilentServerTakesFiveSeconds) {
    const SilentServer server;
    LStreamPlay stream;
    const Stopwatch watch;
    EXPECT_FALSE(stream.checkStream("rtmp://127.0.0.1:" + std::to_string(server.port()) + "/a/b"));
    EXPECT_GT(watch.seconds(), 4.5);
    EXPECT_LT(watch.seconds(), 20.0);
}

// -------------------------------------------------------------------------- real ways of sending

TEST(LStreamPlayNetwork, PlaysATransportStreamOverUdp) {
    const std::string port = std::to_string(test::freeUdpPort());
    StreamPlayer player("udp://127.0.0.1:" + port);
    player.stream.play();
    const Program publisher(publishing("mpegts", "udp://127.0.0.1:" + port + "?pkt_size=1316"));
    EXPECT_TRUE(player.sink.waitForPictures(20, 60s)) << publisher.output();
    EXPECT_TRUE(player.sink.waitForSounds(20));
    EXPECT_EQ(player.stream.getWidth(), 192);
    EXPECT_EQ(player.stream.getFPS(), 25.0);
}

class LStreamPlayRtmp : public testing::Test {
protected:
    void SetUp() override {
        if (!RtmpServer::available()) GTEST_SKIP() << RtmpServer::unavailable;
    }
};

TEST_F(LStreamPlayRtmp, PlaysWhatIsPublished) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program publisher(publishing("flv", server.url("one")));
    StreamPlayer player(server.url("one"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(50, 60s)) << publisher.output() << server.log();
    EXPECT_TRUE(player.sink.waitForSounds(50));
    EXPECT_EQ(player.stream.getWidth(), 192);
    EXPECT_EQ(player.stream.getHeight(), 108);
    EXPECT_EQ(player.stream.getFPS(), 25.0);
    expectQuickStop(player.stream);
    // The protocol's number for what is live, and not a recording.
    EXPECT_THAT(server.log(), HasSubstr("start=-1000"));
}

TEST_F(LStreamPlayRtmp, PlaysPicturesWithoutSoundAndSoundWithoutPictures) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program silent(publishing("flv", server.url("silent"), true, false));
    const Program dark(publishing("flv", server.url("dark"), false, true));
    StreamPlayer silentPlayer(server.url("silent"));
    StreamPlayer darkPlayer(server.url("dark"));
    silentPlayer.stream.play();
    darkPlayer.stream.play();
    EXPECT_TRUE(silentPlayer.sink.waitForPictures(20, 60s)) << silent.output() << server.log();
    EXPECT_TRUE(darkPlayer.sink.waitForSounds(20, 60s)) << dark.output() << server.log();
    EXPECT_EQ(silentPlayer.sink.soundCount(), 0U);
    EXPECT_EQ(darkPlayer.sink.pictureCount(), 0U);
}

TEST_F(LStreamPlayRtmp, PicturesWithoutSoundAreSeenSoon) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program silent(publishing("flv", server.url("silent"), true, false));
    StreamPlayer first(server.url("silent"));
    first.stream.play();
    ASSERT_TRUE(first.sink.waitForPictures(1, 60s)) << silent.output() << server.log();
    StreamPlayer player(server.url("silent"));
    const Stopwatch watch;
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(1)) << silent.output() << server.log();
    EXPECT_LT(watch.at(player.sink.pictures()[0].arrived), longestToTheFirstPicture);
}

TEST_F(LStreamPlayRtmp, SoundThatSetsInLateIsHeard) {
    // Which of the two is first decides what the player is told of the sound before there is any.
    for (const bool playerFirst : {true, false}) {
        RtmpServer server;
        ASSERT_TRUE(server.running()) << server.log();
        StreamPlayer player(server.url("late"));
        if (playerFirst) {
            player.stream.play();
            ASSERT_TRUE(waitUntil([&] { return server.log().find("play:") != std::string::npos; }));
        }
        std::vector<std::string> words = publishing("flv", server.url("late"));
        words.insert(words.begin() + 8, {"-itsoffset", "4"}); // of the sound
        const Program publisher(words);
        ASSERT_TRUE(
            waitUntil([&] { return server.log().find("publish:") != std::string::npos; }, 60s))
            << publisher.output();
        player.stream.play();
        ASSERT_TRUE(player.sink.waitForPictures(5, 60s)) << publisher.output() << server.log();
        EXPECT_TRUE(player.sink.waitForSounds(20, 60s)) << publisher.output() << server.log();
        EXPECT_GT(player.sink.pictureCount(), 25U); // they did not wait for it
    }
}

TEST_F(LStreamPlayRtmp, LateSoundIsNotTakenByAHostWhoWantsNone) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    StreamPlayer player(server.url("late"));
    player.stream.play();
    player.stream.switchAudioTrack(-1);
    std::vector<std::string> words = publishing("flv", server.url("late"));
    words.insert(words.begin() + 8, {"-itsoffset", "2"});
    const Program publisher(words);
    ASSERT_TRUE(player.sink.waitForPictures(100, 60s)) << publisher.output() << server.log();
    EXPECT_EQ(player.sink.soundCount(), 0U);
}

TEST_F(LStreamPlayRtmp, ComesBackWhenTheServerWasKilled) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    CapturedStream output(CapturedStream::Stream::output);
    const std::string url = server.url("one");
    auto publisher = std::make_unique<Program>(publishing("flv", url));
    StreamPlayer player(url);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(20, 60s)) << publisher->output() << server.log();
    server.kill();
    ASSERT_TRUE(waitUntil([&] { return countOf(output.text(), failedToOpen(url)) >= 2; }));
    publisher.reset();
    const std::size_t guests = countOf(server.log(), "play:");
    ASSERT_TRUE(server.start()) << server.log();
    EXPECT_TRUE(waitUntil([&] { return countOf(server.log(), "play:") > guests; }, longestReturn));
    publisher = std::make_unique<Program>(publishing("flv", url));
    const std::size_t before = player.sink.pictureCount();
    EXPECT_TRUE(player.sink.waitForPictures(before + 20, 60s)) << publisher->output();
}

TEST_F(LStreamPlayRtmp, StopsWhenTheServerHasFrozen) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program publisher(publishing("flv", server.url("one")));
    StreamPlayer player(server.url("one"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(5, 60s)) << publisher.output() << server.log();
    server.freeze();
    std::this_thread::sleep_for(300ms);
    expectQuickStop(player.stream);
    player.stream.play();
    std::this_thread::sleep_for(300ms);
    expectQuickStop(player.stream);
    server.goOn();
}

TEST_F(LStreamPlayRtmp, ChecksAServer) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program publisher(publishing("flv", server.url("one")));
    LStreamPlay stream;
    EXPECT_TRUE(waitUntil([&] { return stream.checkStream(server.url("one")); }, 60s))
        << publisher.output() << server.log();
    server.stop();
    EXPECT_FALSE(stream.checkStream(server.url("one")));
}
