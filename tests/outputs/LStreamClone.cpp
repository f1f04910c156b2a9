// The local copy of a stream.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/SmallDisk.h"
#include "support/Streaming.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::temporaryPath;
using testing::HasSubstr;

class LStreamClone : public testing::Test {
protected:
    LStreamClone() : folder(temporaryPath(name())), url(temporaryPath(name() + ".flv")) {
        std::filesystem::create_directory(folder);
        stream.source = &source;
        stream.setStreamUrl(url);
        stream.setStreamClone(true);
        stream.setStreamClonePath(folder);
        source.start();
    }

    static std::string name() {
        return testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    void streamSome(std::int64_t count = 15) {
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, count));
        stream.Stop();
    }

    std::size_t files() const {
        const std::filesystem::directory_iterator entries(folder);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    const std::string folder;
    const std::string url;
    LiveSource source;
    LStream stream;
};

TEST_F(LStreamClone, IsAPlayableMp4WithTheSamePackets) {
    streamSome(40);
    const RecordedFile sent = readRecordedFile(url);
    const RecordedFile copy = readRecordedFile(folder + "/stream.mp4");
    EXPECT_EQ(copy.error, "");
    EXPECT_THAT(copy.container, HasSubstr("mp4"));
    ASSERT_EQ(copy.streams.size(), 2U);
    EXPECT_EQ(copy.streams[0].type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(copy.streams[1].type, AVMEDIA_TYPE_AUDIO);
    ASSERT_EQ(copy.pictures.size(), sent.pictures.size());
    for (std::size_t i = 0; i < copy.pictures.size(); ++i)
        EXPECT_DOUBLE_EQ(copy.pictures[i].luma, sent.pictures[i].luma) << i;
    EXPECT_NEAR(copy.soundSeconds(), sent.soundSeconds(), 0.05);
    EXPECT_LT(copy.soundHoles, 0.05);
}

TEST_F(LStreamClone, NamesCountUp) {
    streamSome(3);
    streamSome(3);
    std::ofstream(folder + "/stream_2.mp4") << "somebody's";
    stream.setStreamClonePath(folder + "/");
    streamSome(3);
    EXPECT_EQ(files(), 4U);
    for (const char* file : {"/stream.mp4", "/stream_1.mp4", "/stream_3.mp4"})
        EXPECT_EQ(readRecordedFile(folder + file).error, "") << file;
    std::string kept;
    std::ifstream(folder + "/stream_2.mp4") >> kept;
    EXPECT_EQ(kept, "somebody's");
}

TEST_F(LStreamClone, TwoStreamsIntoOneFolderHaveAFileEach) {
    LStream other;
    other.source = &source;
    other.setStreamUrl(temporaryPath("other.flv"));
    other.setStreamClone(true);
    other.setStreamClonePath(folder);
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(other.Start());
    ASSERT_TRUE(test::waitForSent(stream, 5));
    ASSERT_TRUE(test::waitForSent(other, 5));
    stream.Stop();
    other.Stop();
    EXPECT_EQ(readRecordedFile(folder + "/stream.mp4").error, "");
    EXPECT_EQ(readRecordedFile(folder + "/stream_1.mp4").error, "");
}

TEST_F(LStreamClone, EnabledWithAnEmptyPathIsNoCopy) {
    stream.setStreamClonePath("");
    streamSome(3);
    EXPECT_EQ(files(), 0U);
    EXPECT_FALSE(std::filesystem::exists("stream.mp4"));
}

TEST_F(LStreamClone, PathWithoutEnablingIsNoCopy) {
    stream.setStreamClone(false);
    streamSome(3);
    EXPECT_EQ(files(), 0U);
}

TEST_F(LStreamClone, FolderThatIsNotThereStopsTheStart) {
    stream.setStreamClonePath(folder + "/none");
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(error.text(), "[LStream] Clone dosya açılamadı!\n");
    EXPECT_EQ(test::statusOf(stream), 0);
}

// A folder that takes no files from anybody, root included.
TEST_F(LStreamClone, UnwritableFolderStopsTheStart) {
    stream.setStreamClonePath("/proc/self");
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(error.text(), "[LStream] Clone dosya açılamadı!\n");
    stream.setStreamClonePath(folder);
    streamSome(3); // and is as good as new
    EXPECT_EQ(readRecordedFile(folder + "/stream.mp4").error, "");
}

TEST_F(LStreamClone, CodecThatMp4DoesNotTakeStopsTheStartAndLeavesNoFile) {
    stream.setStreamUrl(temporaryPath("huff.mkv"));
    stream.setVideoCodec("ffvhuff");
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(error.text(), "[LStream] Clone dosya açılamadı!\n");
    EXPECT_EQ(files(), 0U);
}

TEST_F(LStreamClone, StreamThatDoesNotBeginLeavesNoFile) {
    stream.setVideoCodec("mpeg4"); // in mp4, but not in FLV
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(error.text(), "[LStream] Error occurred when writing header\n");
    EXPECT_EQ(files(), 0U);
}

// Where the stream keeps the decoder's parameters in the pictures, the copy has them in its head.
TEST_F(LStreamClone, OfATransportStream) {
    stream.setStreamUrl(temporaryPath("cloned.ts"));
    streamSome(40);
    const RecordedFile sent = readRecordedFile(temporaryPath("cloned.ts"));
    const RecordedFile copy = readRecordedFile(folder + "/stream.mp4");
    EXPECT_EQ(sent.error, "");
    EXPECT_EQ(copy.error, "");
    EXPECT_EQ(sent.pictures.size(), copy.pictures.size());
    EXPECT_GE(copy.pictures.size(), 40U);
    EXPECT_NEAR(copy.soundSeconds(), sent.soundSeconds(), 0.05);
}

// B pictures: the packets come in another order than they are shown.
TEST_F(LStreamClone, WithPicturesOutOfOrder) {
    stream.setProps("tune", "");
    stream.setProps("preset", "veryfast");
    stream.setProps("bf", "2");
    streamSome(60);
    const RecordedFile sent = readRecordedFile(url);
    const RecordedFile copy = readRecordedFile(folder + "/stream.mp4");
    EXPECT_EQ(copy.error, "");
    ASSERT_EQ(copy.pictures.size(), sent.pictures.size());
    for (std::size_t i = 0; i < copy.pictures.size(); ++i)
        EXPECT_DOUBLE_EQ(copy.pictures[i].luma, sent.pictures[i].luma) << i;
}

// What stands in front of a colon is no protocol.
TEST_F(LStreamClone, InARelativeFolderWithAColon) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    std::filesystem::create_directory("rec:1");
    stream.setStreamClonePath("rec:1");
    streamSome(3);
    EXPECT_EQ(readRecordedFile(folder + "/rec:1/stream.mp4").error, "");
    std::filesystem::current_path(before);
}

// In a child process with a small disk of its own: which step went wrong, 0 for none.
int copyOntoSmallDisk(const std::string& folder) {
    if (!test::mountSmallDisk(folder, 4 * 1024 * 1024)) return 1;
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(folder + ".flv"); // beside the disk
    stream.setStreamClone(true);
    stream.setStreamClonePath(folder);
    source.start();
    CapturedStream error(CapturedStream::Stream::error);
    if (!stream.Start()) return 2;
    const std::string line = std::string("[LStream] Copy ended, ") + std::strerror(ENOSPC) + ": " +
                             folder + "/stream.mp4\n";
    if (!test::waitUntil([&] { return error.text() == line; }, 60s)) return 3;
    const RecordedFile copy = readRecordedFile(folder + "/stream.mp4");
    if (!copy.error.empty()) return 4;
    if (copy.pictures.size() < 25) return 5;
    if (copy.soundSeconds() < copy.pictureSeconds() - 1.0) return 6;
    if (!test::waitForMore(stream, 25)) return 7; // the stream goes on
    stream.Stop();
    const RecordedFile sent = readRecordedFile(folder + ".flv");
    if (!sent.error.empty() || sent.pictures.size() < copy.pictures.size() + 25) return 8;
    return error.text() == line ? 0 : 9;
}

TEST(LStreamCopies, AFullDiskEndsTheCopyWholeAndTheStreamGoesOn) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = temporaryPath("small_disk");
    test::ChildProcess child([&folder] { return copyOntoSmallDisk(folder); });
    EXPECT_EQ(child.wait(100s), 0);
}

} // namespace
