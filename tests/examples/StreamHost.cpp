// The example host that goes live, sending into a pipe in the place of a server.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "support/CapturedStream.h"
#include "support/PlainFrames.h"
#include "support/Program.h"
#include "support/RecordedFile.h"

namespace {

constexpr auto patience = std::chrono::seconds(100);

// Opens the pipe after that time and keeps what comes through it until its end.
void receive(const std::string& pipe, const std::string& path, std::chrono::milliseconds after) {
    std::this_thread::sleep_for(after);
    std::ifstream in(pipe, std::ios::binary);
    std::ofstream(path, std::ios::binary) << in.rdbuf();
}

void expectTheClip(const std::string& path, int least) {
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    EXPECT_EQ(file.video()->width, 320);
    EXPECT_EQ(file.video()->height, 180);
    EXPECT_GE(static_cast<int>(file.pictures.size()), least);
    EXPECT_GT(file.soundSeconds(), least / 25.0 - 0.5);
}

TEST(StreamHost, SendsAndRecordsTheClipHoweverLongTheServerTakes) {
    const std::string pipe = test::temporaryPath("live.flv");
    const std::string sent = test::temporaryPath("sent.flv");
    const std::string recorded = test::temporaryPath("recorded.mp4");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const test::Program host({QUOLSDK_TEST_BIN_DIR "/stream_host", "2",
                              test::mediaPath("h264_aac.mp4"), recorded, pipe});
    receive(pipe, sent, std::chrono::seconds(2));
    EXPECT_EQ(host.wait(patience).value_or(-1), 0) << host.output();
    expectTheClip(recorded, 30);
    expectTheClip(sent, 30);
}

TEST(StreamHost, TellsAServerThatIsNotThere) {
    const test::Program host({QUOLSDK_TEST_BIN_DIR "/stream_host", "1",
                              test::mediaPath("h264_aac.mp4"), test::temporaryPath("none.mp4"),
                              test::temporaryPath("no such folder/live.flv")});
    EXPECT_EQ(host.wait(patience).value_or(-1), 1);
    EXPECT_NE(host.output().find("  NOT LIVE: "), std::string::npos) << host.output();
}

} // namespace
