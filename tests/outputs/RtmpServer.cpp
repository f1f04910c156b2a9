// What the streaming tests rely on: a server that hands on what is published to it.
#include "support/RtmpServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CollectingSink.h"
#include "support/LocalPort.h"

namespace {

using test::Program;
using test::RtmpServer;
using testing::HasSubstr;

class RtmpServerTest : public testing::Test {
protected:
    void SetUp() override {
        if (!RtmpServer::available()) GTEST_SKIP() << RtmpServer::unavailable;
    }
};

std::vector<std::string> publishing(const std::string& address) {
    return {"ffmpeg", "-v",          "error",   "-re",
            "-f",     "lavfi",       "-i",      "testsrc=s=192x108:r=25",
            "-f",     "lavfi",       "-i",      "sine=r=48000",
            "-c:v",   "libx264",     "-preset", "ultrafast",
            "-tune",  "zerolatency", "-g",      "12",
            "-c:a",   "aac",         "-f",      "flv",
            address};
}

std::string probed(const std::string& address) {
    return test::outputOf({"ffprobe", "-v", "error", "-rw_timeout", "20000000", "-show_entries",
                           "stream=codec_name,width,height", "-of", "csv=p=0", address});
}

TEST_F(RtmpServerTest, PlaysWhatIsPublished) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const Program publisher(publishing(server.url("one")));
    ASSERT_TRUE(test::waitUntil([&] {
        return server.log().find("publish") != std::string::npos || !publisher.running();
    })) << publisher.output();
    const std::string seen = probed(server.url("one"));
    EXPECT_THAT(seen, HasSubstr("h264,192,108")) << server.log();
    EXPECT_THAT(seen, HasSubstr("aac")) << server.log();
}

TEST_F(RtmpServerTest, ComesBackOnItsPort) {
    RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    const int port = server.port();
    server.kill();
    EXPECT_FALSE(server.running());
    EXPECT_FALSE(test::acceptsTcp(port));
    ASSERT_TRUE(server.start()) << server.log();
    EXPECT_EQ(server.port(), port);
    EXPECT_TRUE(test::acceptsTcp(port));
    server.stop();
    EXPECT_FALSE(test::acceptsTcp(port));
}

} // namespace
