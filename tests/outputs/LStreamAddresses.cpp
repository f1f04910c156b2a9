// Addresses besides RTMP and files, as far as this FFmpeg has them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/LocalPort.h"
#include "support/MachineWatch.h"
#include "support/Program.h"
#include "support/RecordedFile.h"
#include "support/Streaming.h"

extern "C" {
#include <libavformat/avio.h>
}

namespace {

using test::LiveSource;
using test::Program;
using test::temporaryPath;

bool carries(const std::string& protocol) {
    void* position = nullptr;
    while (const char* name = avio_enum_protocols(&position, 1))
        if (name == protocol) return true;
    return false;
}

constexpr int wanted = 75; // pictures, three seconds of them

// ffmpeg takes so many pictures, and the sound that comes with them, however long it takes: a
// machine that is away makes the stream leave some out.
std::vector<std::string> receiving(const std::string& address, const std::string& path,
                                   const std::vector<std::string>& options = {"-f", "mpegts"}) {
    std::vector<std::string> words{"ffmpeg", "-v", "fatal", "-nostdin", "-y"};
    words.insert(words.end(), options.begin(), options.end());
    for (const std::string& word :
         {std::string("-i"), address, std::string("-frames:v"), std::to_string(wanted),
          std::string("-c"), std::string("copy"), path})
        words.push_back(word);
    return words;
}

// Of the times between pictures the one in the middle: a machine that is away makes few of them
// long.
double usualStep(const test::RecordedFile& file) {
    std::vector<double> steps;
    for (std::size_t i = 1; i < file.pictures.size(); ++i)
        steps.push_back(file.pictures[i].seconds - file.pictures[i - 1].seconds);
    std::sort(steps.begin(), steps.end());
    return steps.empty() ? 0.0 : steps[steps.size() / 2];
}

void expectPlayable(const std::string& path) {
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.video()->codec, "h264");
    EXPECT_EQ(file.video()->width, 160);
    EXPECT_EQ(file.pictures.size(), static_cast<std::size_t>(wanted));
    EXPECT_NEAR(usualStep(file), 0.04, 0.01);
    EXPECT_GE(file.soundSeconds(), 1.5);
}

class LStreamAddresses : public testing::Test {
protected:
    LStreamAddresses() {
        stream.source = &source;
        stream.setProps("g", "12"); // a receiver waits for a whole picture
    }

    // What is sent to begin with, and what is called until somebody listens, which cannot be seen
    // from outside.
    enum class Reached { atOnce, inTime };

    // Streams until the receiver has had enough. Protocols wait for each other by the clock, and
    // what lies in a socket's buffer must be taken in time.
    void expectReceived(const std::string& url, Reached reached,
                        const std::vector<std::string>& receiving, const std::string& path) {
        stream.setStreamUrl(url);
        source.start();
        test::measured([&](test::MachineWatch& watch) {
            const Program receiver(receiving);
            watch.begin();
            const auto start = [this] { return stream.Start(); };
            const bool started = reached == Reached::atOnce
                                     ? start()
                                     : test::waitUntil(start, std::chrono::seconds(60));
            ASSERT_TRUE(started) << receiver.output();
            EXPECT_EQ(receiver.wait(), 0) << receiver.output();
            stream.Stop();
            expectPlayable(path);
        });
    }

    void expectNobodyThere(const std::string& url) {
        stream.setStreamUrl(url);
        test::CapturedStream error(test::CapturedStream::Stream::error);
        EXPECT_FALSE(stream.Start());
        EXPECT_THAT(error.text(), testing::HasSubstr("[LStream] URL açılamadı: " + url + "\n"));
    }

    LiveSource source;
    LStream stream;
};

TEST_F(LStreamAddresses, UdpIsAnMpegTransportStream) {
    const std::string port = std::to_string(test::freeUdpPort());
    const std::string path = temporaryPath("udp.mkv");
    const auto receiver = receiving("udp://127.0.0.1:" + port + "?timeout=30000000", path);
    expectReceived("udp://127.0.0.1:" + port + "?pkt_size=1316", Reached::atOnce, receiver, path);
}

TEST_F(LStreamAddresses, SrtIsAnMpegTransportStream) {
    if (!carries("srt")) GTEST_SKIP() << "this FFmpeg has no SRT";
    const std::string port = std::to_string(test::freeUdpPort());
    const std::string path = temporaryPath("srt.mkv");
    const auto receiver = receiving("srt://127.0.0.1:" + port + "?mode=listener", path);
    expectReceived("srt://127.0.0.1:" + port + "?mode=caller", Reached::inTime, receiver, path);
}

TEST_F(LStreamAddresses, SrtListenerThatIsNotThere) {
    if (!carries("srt")) GTEST_SKIP() << "this FFmpeg has no SRT";
    expectNobodyThere("srt://127.0.0.1:" + std::to_string(test::freeUdpPort()));
}

TEST_F(LStreamAddresses, TcpIsAnMpegTransportStream) {
    const std::string port = std::to_string(test::freeTcpPort());
    const std::string path = temporaryPath("tcp.mkv");
    const auto receiver = receiving("tcp://127.0.0.1:" + port + "?listen=1", path);
    expectReceived("tcp://127.0.0.1:" + port, Reached::inTime, receiver, path);
}

TEST_F(LStreamAddresses, RistIsAnMpegTransportStream) {
    if (!carries("rist")) GTEST_SKIP() << "this FFmpeg has no RIST";
    const std::string port = std::to_string(test::freeUdpPortPair());
    const std::string path = temporaryPath("rist.mkv");
    const auto receiver = receiving("rist://@127.0.0.1:" + port, path);
    expectReceived("rist://127.0.0.1:" + port, Reached::atOnce, receiver, path);
}

TEST_F(LStreamAddresses, RtspIsAnnouncedToAServer) {
    const std::string address = "rtsp://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/live";
    const std::string path = temporaryPath("rtsp.mkv");
    std::vector<std::string> words = receiving(address, path, {"-rtsp_flags", "listen"});
    // A newer one takes no block of this sound for a beginning, and would leave all of it out.
    words.insert(words.end() - 1, "-copyinkf:a");
    stream.customSet("rtsp_transport=tcp");
    expectReceived(address, Reached::inTime, words, path);
}

TEST_F(LStreamAddresses, RtspServerThatIsNotThere) {
    expectNobodyThere("rtsp://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/live");
}

TEST_F(LStreamAddresses, RtpIsATransportStream) {
    const std::string port = std::to_string(test::freeUdpPortPair());
    const std::string path = temporaryPath("rtp.mkv");
    const std::string description = temporaryPath("rtp.sdp");
    std::ofstream(description) << "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=-\r\n"
                               << "c=IN IP4 127.0.0.1\r\nt=0 0\r\n"
                               << "m=video " << port << " RTP/AVP 33\r\n"
                               << "a=rtpmap:33 MP2T/90000\r\n";
    const auto receiver =
        receiving(description, path, {"-protocol_whitelist", "file,rtp,udp", "-f", "sdp"});
    expectReceived("rtp://127.0.0.1:" + port, Reached::atOnce, receiver, path);
}

} // namespace
