// The sources when memory is short: a picture may be lost, the next one comes.
#include <gtest/gtest.h>

#include "quolsdk/LFile.h"
#include "quolsdk/LLive.h"
#include "quolsdk/LReader.h"
#include "quolsdk/LSignal.h"
#include "quolsdk/LStreamPlay.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/MemoryShortage.h"

namespace {

using test::CapturedStream;
using test::CountingSink;
using test::refuseInTurn;
using test::survivesDrought;

constexpr int testSignal = 2; // behind the two of the networks

TEST(LSignalMemory, APictureShortOfItIsLostAndTheNextComes) {
    LSignal signal;
    signal.setVideoFormat(test::customVideo(64, 48, 200));
    CountingSink sink;
    signal.addSink(&sink);
    ASSERT_TRUE(signal.Start());
    int colors = 0;
    const auto goesOn = [&] {
        test::withMemory([&] {
            signal.setColor(++colors % 2 == 0 ? "#FF0000" : "#00FF00"); // drawn anew
            signal.setVideoFormat(test::customVideo(64 + colors % 16 * 2, 48, 200));
            return 0;
        });
        return sink.getsPictures();
    };
    EXPECT_EQ(refuseInTurn(40, goesOn), 40);
    EXPECT_TRUE(survivesDrought(goesOn));
    signal.Stop();
    signal.removeSink(&sink);
}

TEST(LSignalMemory, WithoutASinkTheQueueLosesAPicture) {
    LSignal signal;
    signal.setVideoFormat(test::customVideo(64, 48, 500));
    ASSERT_TRUE(signal.Start());
    EXPECT_EQ(refuseInTurn(40, [] { return true; }), 40);
    CountingSink sink;
    signal.addSink(&sink);
    EXPECT_TRUE(sink.getsPictures());
    signal.Stop();
    signal.removeSink(&sink);
}

// Decoders do not all bear it where their own memory fails.
TEST(LFileMemory, APictureShortOfItIsLostAndTheNextComes) {
    test::refusesFFmpeg = false;
    LFile file;
    file.fileNameSet(test::mediaPath("flash_beep.mov"));
    file.setProps("loop", "true");
    file.setVideoFormat(test::customVideo(96, 54, 50));
    CountingSink sink;
    file.addSink(&sink);
    ASSERT_TRUE(file.play());
    const auto goesOn = [&] { return sink.getsPictures() && sink.getsSounds(); };
    ASSERT_TRUE(goesOn());
    EXPECT_GT(refuseInTurn(15, goesOn), 10);
    EXPECT_TRUE(survivesDrought(goesOn));
    file.stop();
    file.removeSink(&sink);
    test::refusesFFmpeg = true;
}

TEST(LFileMemory, AReferenceThatThereIsNoneForLosesOnePictureOnly) {
    test::FilePlayer player("numbered.mov");
    player.file.setProps("loop", "true");
    CountingSink sink;
    player.file.addSink(&sink);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(sink.getsPictures());
    EXPECT_GT(refuseInTurn(20, [&] { return sink.getsPictures(); }), 10);
    player.file.stop();
    player.file.removeSink(&sink);
}

TEST(LLiveMemory, APictureOrSoundShortOfItIsLostAndTheNextComes) {
    LLive live;
    live.DeviceSet(testSignal);
    live.setProps("timecode", "true");
    live.setVideoFormat(test::customVideo(64, 48, 25));
    live.setAudioFormat({1, 16, 44100, 2});
    CountingSink sink;
    live.addSink(&sink);
    ASSERT_TRUE(live.Start());
    const auto goesOn = [&] { return sink.getsPictures() && sink.getsSounds(); };
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(refuseInTurn(15, goesOn), 15);
    EXPECT_TRUE(survivesDrought(goesOn));
    live.Stop();
    live.removeSink(&sink);
}

TEST(LReaderMemory, AnOpenThatThereIsNoneForLeavesTheNextWhole) {
    test::refusesFFmpeg = false;
    LReader reader;
    const std::string path = test::mediaPath("h264_aac.mp4");
    EXPECT_GT(test::refuseEach([&] { reader.open(path); },
                               [&] {
                                   ASSERT_TRUE(reader.open(path));
                                   EXPECT_GT(reader.getWidth(), 0);
                                   reader.close();
                               }),
              0);
    test::refusesFFmpeg = true;
}

TEST(LStreamPlayMemory, APictureShortOfItIsLostAndTheNextComes) {
    test::refusesFFmpeg = false;
    const CapturedStream errors(CapturedStream::Stream::error);
    LStreamPlay player;
    player.streamUrlSet("file:" + test::mediaPath("h264_aac.mp4"));
    CountingSink sink;
    player.addSink(&sink);
    ASSERT_TRUE(player.play());
    const auto goesOn = [&] { return sink.getsPictures(); };
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(refuseInTurn(2, goesOn), 2);
    EXPECT_TRUE(survivesDrought(goesOn, 2));
    player.stop();
    player.removeSink(&sink);
    test::refusesFFmpeg = true;
}

} // namespace
