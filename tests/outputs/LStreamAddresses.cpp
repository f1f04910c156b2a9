// Addresses besides RTMP and files, as far as this FFmpeg has them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/LocalPort.h"
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

// ffmpeg takes three seconds of what comes.
std::vector<std::string> receiving(const std::string& address, const std::string& path,
                                   const std::vector<std::string>& options = {"-f", "mpegts"}) {
    std::vector<std::string> words{"ffmpeg", "-v", "fatal", "-nostdin", "-y"};
    words.insert(words.end(), options.begin(), options.end());
    for (const std::string& word : {std::string("-i"), address, std::string("-t"), std::string("3"),
                                    std::string("-c"), std::string("copy"), path})
        words.push_back(word);
    return words;
}

void expectPlayable(const std::string& path) {
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.video()->codec, "h264");
    EXPECT_EQ(file.video()->width, 160);
    EXPECT_GE(file.pictures.size(), 40U);
    EXPECT_GE(file.soundSeconds(), 1.5);
}

TEST(LStreamAddresses, UdpIsAnMpegTransportStream) {
    const std::string port = std::to_string(test::freeUdpPort());
    const std::string path = temporaryPath("udp.mkv");
    const Program receiver(receiving("udp://127.0.0.1:" + port + "?timeout=30000000", path));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("udp://127.0.0.1:" + port + "?pkt_size=1316");
    stream.setProps("g", "12"); // the receiver waits for a whole picture
    source.start();
    ASSERT_TRUE(stream.Start());
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

TEST(LStreamAddresses, SrtIsAnMpegTransportStream) {
    if (!carries("srt")) GTEST_SKIP() << "this FFmpeg has no SRT";
    const std::string port = std::to_string(test::freeUdpPort());
    const std::string path = temporaryPath("srt.mkv");
    const Program receiver(receiving("srt://127.0.0.1:" + port + "?mode=listener", path));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("srt://127.0.0.1:" + port + "?mode=caller");
    stream.setProps("g", "12");
    source.start();
    // Whether the listener is there cannot be seen from outside, so it is called until it is.
    ASSERT_TRUE(test::waitUntil([&] { return stream.Start(); }, std::chrono::seconds(60)))
        << receiver.output();
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

TEST(LStreamAddresses, SrtListenerThatIsNotThere) {
    if (!carries("srt")) GTEST_SKIP() << "this FFmpeg has no SRT";
    const std::string url = "srt://127.0.0.1:" + std::to_string(test::freeUdpPort());
    test::HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(url);
    test::CapturedStream error(test::CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_THAT(error.text(), testing::HasSubstr("[LStream] URL açılamadı: " + url + "\n"));
}

TEST(LStreamAddresses, TcpIsAnMpegTransportStream) {
    const std::string port = std::to_string(test::freeTcpPort());
    const std::string path = temporaryPath("tcp.mkv");
    const Program receiver(receiving("tcp://127.0.0.1:" + port + "?listen=1", path));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("tcp://127.0.0.1:" + port);
    source.start();
    ASSERT_TRUE(test::waitUntil([&] { return stream.Start(); }, std::chrono::seconds(60)))
        << receiver.output();
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

TEST(LStreamAddresses, RistIsAnMpegTransportStream) {
    if (!carries("rist")) GTEST_SKIP() << "this FFmpeg has no RIST";
    const std::string port = std::to_string(test::freeUdpPortPair());
    const std::string path = temporaryPath("rist.mkv");
    const Program receiver(receiving("rist://@127.0.0.1:" + port, path));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("rist://127.0.0.1:" + port);
    stream.setProps("g", "12");
    source.start();
    ASSERT_TRUE(stream.Start());
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

TEST(LStreamAddresses, RtspIsAnnouncedToAServer) {
    const std::string address = "rtsp://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/live";
    const std::string path = temporaryPath("rtsp.mkv");
    const Program receiver(receiving(address, path, {"-rtsp_flags", "listen"}));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(address);
    stream.customSet("rtsp_transport=tcp g=12");
    source.start();
    ASSERT_TRUE(test::waitUntil([&] { return stream.Start(); }, std::chrono::seconds(60)))
        << receiver.output();
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

TEST(LStreamAddresses, RtspServerThatIsNotThere) {
    const std::string url = "rtsp://127.0.0.1:" + std::to_string(test::freeTcpPort()) + "/live";
    test::HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(url);
    test::CapturedStream error(test::CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_THAT(error.text(), testing::HasSubstr("[LStream] URL açılamadı: " + url + "\n"));
}

TEST(LStreamAddresses, RtpIsATransportStream) {
    const std::string port = std::to_string(test::freeUdpPortPair());
    const std::string path = temporaryPath("rtp.mkv");
    const std::string description = temporaryPath("rtp.sdp");
    std::ofstream(description) << "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=-\r\n"
                               << "c=IN IP4 127.0.0.1\r\nt=0 0\r\n"
                               << "m=video " << port << " RTP/AVP 33\r\n"
                               << "a=rtpmap:33 MP2T/90000\r\n";
    const Program receiver(
        receiving(description, path, {"-protocol_whitelist", "file,rtp,udp", "-f", "sdp"}));
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl("rtp://127.0.0.1:" + port);
    stream.setProps("g", "12");
    source.start();
    ASSERT_TRUE(stream.Start());
    EXPECT_EQ(receiver.wait(), 0) << receiver.output();
    stream.Stop();
    expectPlayable(path);
}

} // namespace
