#include "outputs/StreamAddress.h"

#include <gtest/gtest.h>

namespace {

using quol::isLocalFile;
using quol::streamAddress;
using quol::streamMuxer;

TEST(StreamAddress, KeyStandsBehindOneSlash) {
    EXPECT_EQ(streamAddress("rtmp://host/live", "key"), "rtmp://host/live/key");
    EXPECT_EQ(streamAddress("rtmp://host/live/", "key"), "rtmp://host/live/key");
    EXPECT_EQ(streamAddress("rtmp://host/live", ""), "rtmp://host/live");
    EXPECT_EQ(streamAddress("rtmp://host/live/", ""), "rtmp://host/live/");
    EXPECT_EQ(streamAddress("", "key"), "/key");
    EXPECT_EQ(streamAddress("", ""), "");
}

TEST(StreamAddress, RtmpIsFlvWhateverItsEnding) {
    EXPECT_EQ(streamMuxer("rtmp://host/live/key"), "flv");
    EXPECT_EQ(streamMuxer("rtmp://host/live/key.mp4"), "flv");
    for (const char* other : {"rtmps", "rtmpt", "rtmpe", "rtmpte", "rtmpts"})
        EXPECT_EQ(streamMuxer(std::string(other) + "://host/live/key"), "flv") << other;
}

TEST(StreamAddress, EndingsSayWhatTheMuxerIs) {
    EXPECT_EQ(streamMuxer("/folder/file.mp4"), "mp4");
    EXPECT_EQ(streamMuxer("file.flv"), "flv");
    EXPECT_EQ(streamMuxer("/folder/file.ts"), "mpegts");
    EXPECT_EQ(streamMuxer("file.mkv"), "matroska");
    EXPECT_EQ(streamMuxer("/folder/live.m3u8"), "hls");
    EXPECT_EQ(streamMuxer("http://host/live.m3u8"), "hls");
}

TEST(StreamAddress, ProtocolsSayItWhereTheEndingSaysNothing) {
    EXPECT_EQ(streamMuxer("udp://127.0.0.1:1234"), "mpegts");
    EXPECT_EQ(streamMuxer("udp://127.0.0.1:1234?pkt_size=1316"), "mpegts");
    EXPECT_EQ(streamMuxer("srt://127.0.0.1:1234?mode=caller"), "mpegts");
    EXPECT_EQ(streamMuxer("tcp://127.0.0.1:1234"), "mpegts");
    EXPECT_EQ(streamMuxer("rist://127.0.0.1:1234"), "mpegts");
    EXPECT_EQ(streamMuxer("rtp://127.0.0.1:1234"), "rtp_mpegts");
    EXPECT_EQ(streamMuxer("rtsp://127.0.0.1:1234/live"), "rtsp");
}

TEST(StreamAddress, NothingTellsTheMuxer) {
    EXPECT_EQ(streamMuxer(""), "");
    EXPECT_EQ(streamMuxer("file"), "");
    EXPECT_EQ(streamMuxer("file.no_such_ending"), "");
    EXPECT_EQ(streamMuxer("gopher://host/live"), "");
    EXPECT_EQ(streamMuxer("RTMP://host/live"), "");
}

TEST(StreamAddress, FilesAreLocalAndNetworksAreNot) {
    EXPECT_TRUE(isLocalFile("/folder/file.mp4"));
    EXPECT_TRUE(isLocalFile("file.m3u8"));
    EXPECT_TRUE(isLocalFile("file:/folder/file.mp4"));
    EXPECT_FALSE(isLocalFile("rtmp://host/live"));
    EXPECT_FALSE(isLocalFile("udp://127.0.0.1:1234"));
}

} // namespace
