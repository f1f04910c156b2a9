// Files that are read while they grow (property "play_while_rec").
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "quolsdk/LFile.h"
#include "quolsdk/LReader.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::statusOf;
using test::temporaryPath;

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(LRecorderPlayWhileRec, FileIsInFragmentsOnlyWhenAskedFor) {
    for (const char* value : {"true", "1", "false", "TRUE"}) {
        LiveSource source;
        LRecorder recorder;
        const std::string path = temporaryPath("fragments.mp4");
        test::configure(recorder, path);
        recorder.setProps("play_while_rec", value);
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        source.start();
        ASSERT_TRUE(test::waitForWritten(recorder, 5));
        recorder.Stop();
        source.stop();
        const bool asked = value == std::string("true") || value == std::string("1");
        const std::string bytes = bytesOf(path);
        EXPECT_EQ(bytes.find("moof") != std::string::npos, asked) << value;
        EXPECT_EQ(bytes.find("moov") < bytes.find("mdat"), asked) << value; // empty_moov
        EXPECT_EQ(readRecordedFile(path).error, "") << value;
    }
}

class LRecorderGrowing : public testing::Test {
protected:
    void SetUp() override {
        test::configure(recorder, path, {"mp4", "libx264", "aac", "preset=ultrafast g=10"});
        recorder.setProps("play_while_rec", "true");
        recorder.source = &source;
        source.start();
        ASSERT_TRUE(recorder.Record());
    }
    void TearDown() override {
        recorder.Stop();
        source.stop();
        const RecordedFile file = readRecordedFile(path);
        EXPECT_EQ(file.error, "");
        EXPECT_EQ(static_cast<std::int64_t>(file.pictures.size()), statsOf(recorder).framesWritten);
        EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15 + source.largestLateness());
    }

    const std::string path = temporaryPath("growing.mp4");
    LiveSource source;
    LRecorder recorder;
};

TEST_F(LRecorderGrowing, FileIsReadableWhileItGrows) {
    ASSERT_TRUE(test::waitForWritten(recorder, 40));
    const std::size_t first = readRecordedFile(path).pictures.size();
    EXPECT_GE(first, 10U); // all but the fragment in the making, and what the encoder holds
    ASSERT_TRUE(test::waitForWritten(recorder, 80));
    const std::size_t second = readRecordedFile(path).pictures.size();
    EXPECT_GE(second, first + 20);
    EXPECT_EQ(statusOf(recorder), 1);
}

TEST_F(LRecorderGrowing, FileIsOpenedByTheReaderAndPlayedWhileItGrows) {
    ASSERT_TRUE(test::waitForWritten(recorder, 40));
    LReader reader;
    ASSERT_TRUE(reader.open(path));
    EXPECT_EQ(reader.getWidth(), 160);
    EXPECT_EQ(reader.getHeight(), 90);
    EXPECT_EQ(reader.getVideoCodec(), "h264");
    test::CollectingSink sink;
    LFile player;
    player.addSink(&sink);
    player.fileNameSet(path);
    ASSERT_TRUE(player.play());
    EXPECT_TRUE(sink.waitForPictures(10));
    EXPECT_TRUE(sink.waitForSounds(1));
    player.stop();
    player.removeSink(&sink);
    EXPECT_EQ(statusOf(recorder), 1);
}

} // namespace
