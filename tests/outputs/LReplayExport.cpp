// Parts of a replay as movies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "core/MediaInput.h"
#include "quolsdk/LReplay.h"
#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/Frames.h"
#include "support/PlainFrames.h"
#include "support/RecordedFile.h"
#include "support/Replays.h"
#include "support/SmallDisk.h"

namespace {

using test::ReplayStation;

std::string bytesOf(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

// The packets of a stream, one behind the other.
std::vector<std::string> packetsOf(const std::string& path, AVMediaType type) {
    std::vector<std::string> packets;
    quol::MediaInput input;
    if (!input.open(path) || !input.findStreamInfo()) return packets;
    const int stream = input.firstStream(type);
    const quol::PacketPtr packet = quol::makePacket();
    while (input.readPacket(*packet)) {
        if (packet->stream_index == stream)
            packets.emplace_back(reinterpret_cast<const char*>(packet->data), packet->size);
        av_packet_unref(packet.get());
    }
    return packets;
}

std::string joined(const std::vector<std::string>& parts) {
    std::string all;
    for (const std::string& part : parts)
        all += part;
    return all;
}

class LReplayExport : public testing::Test {
protected:
    ReplayStation station;
    std::string path = station.folder + "/out.mov";

    void record(int count, bool withSound = true) {
        ASSERT_TRUE(station.replay.startRecording());
        for (int number = 0; number < count; ++number) {
            station.push(number, {1, 50});
            if (withSound)
                station.replay.pushAudioFrame(test::numberedSound(number * 960, 960).get());
        }
    }
};

TEST_F(LReplayExport, HasTheStoredPicturesAndSoundByteForByte) {
    record(100);
    ASSERT_TRUE(station.replay.exportRange(0, 99, path));
    const auto pictures = packetsOf(path, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(pictures.size(), 100U);
    EXPECT_EQ(joined(pictures), bytesOf(station.videoPath()));
    EXPECT_EQ(joined(packetsOf(path, AVMEDIA_TYPE_AUDIO)), bytesOf(station.audioPath()));
}

TEST_F(LReplayExport, OfARangeHasItsPicturesAndItsSound) {
    record(100);
    ASSERT_TRUE(station.replay.exportRange(25, 74, path));
    const test::RecordedFile file = test::readRecordedFile(path, test::Keep::pictures);
    ASSERT_EQ(file.error, "");
    ASSERT_EQ(file.pictures.size(), 50U);
    for (std::size_t i = 0; i < file.pictures.size(); ++i) {
        EXPECT_EQ(test::numberIn(*file.pictures[i].frame), 25 + static_cast<int>(i));
        EXPECT_NEAR(file.pictures[i].seconds, static_cast<double>(i) * 0.02, 1e-4);
    }
    EXPECT_EQ(file.soundPairs(), 50U * 960);
    EXPECT_NEAR(file.sound[0] * 32768, (25 * 960) % 30000, 1.5);
    EXPECT_NEAR(file.soundStart, 0.0, 1e-4);
}

TEST_F(LReplayExport, TellsItsFormatAndTimecode) {
    record(60);
    ASSERT_TRUE(station.replay.exportRange(51, 59, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    ASSERT_EQ(file.error, "");
    ASSERT_NE(file.video(), nullptr);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.video()->codec, "mjpeg");
    EXPECT_EQ(file.video()->width, 320);
    EXPECT_EQ(file.video()->height, 64);
    EXPECT_NEAR(file.video()->rate, 50.0, 0.01);
    EXPECT_EQ(file.audio()->codec, "pcm_s16le");
    EXPECT_EQ(file.audio()->sampleRate, 48000);
    EXPECT_EQ(file.audio()->channels, 2);
    EXPECT_EQ(file.timecode(), "10:00:01:01");
    EXPECT_EQ(file.video()->metadata.at("timecode"), "10:00:01:01");
    // Where the container has a place for it, there too.
    const std::string other = station.folder + "/out.mkv";
    ASSERT_TRUE(station.replay.exportRange(51, 59, other));
    test::RecordedFile matroska = test::readRecordedFile(other);
    EXPECT_EQ(matroska.metadata["TIMECODE"] + matroska.metadata["timecode"], "10:00:01:01");
}

TEST_F(LReplayExport, OfAReversedRangeIsThatOfTheOrderedOne) {
    record(30);
    const std::string other = station.folder + "/other.mov";
    ASSERT_TRUE(station.replay.exportRange(5, 20, path));
    ASSERT_TRUE(station.replay.exportRange(20, 5, other));
    EXPECT_EQ(bytesOf(path), bytesOf(other));
}

TEST_F(LReplayExport, ClampsItsRange) {
    record(30);
    const auto count = [&](int first, int last) {
        EXPECT_TRUE(station.replay.exportRange(first, last, path));
        return packetsOf(path, AVMEDIA_TYPE_VIDEO).size();
    };
    EXPECT_EQ(count(-10, 4), 5U);
    EXPECT_EQ(count(25, 1000), 5U);
    EXPECT_EQ(count(1000, 2000), 1U);
    EXPECT_EQ(count(-20, -10), 1U);
    EXPECT_EQ(count(1000, -10), 30U);
    EXPECT_EQ(count(3, 3), 1U);
}

TEST_F(LReplayExport, ByTimeTakesWhatLiesBetween) {
    record(100);
    const auto count = [&](double first, double last) {
        EXPECT_TRUE(station.replay.exportRangeMs(first, last, path));
        return packetsOf(path, AVMEDIA_TYPE_VIDEO);
    };
    const auto all = count(0.0, 1e9);
    ASSERT_EQ(all.size(), 100U);
    EXPECT_EQ(count(100.0, 200.0).size(), 6U); // both ends lie on a frame
    EXPECT_EQ(count(101.0, 199.0).size(), 4U);
    EXPECT_EQ(count(100.0, 200.0)[0], all[5]);
    EXPECT_EQ(count(100.0, -5.0).size(), 6U); // no end: frames 0 to 5
    EXPECT_EQ(count(std::nan(""), std::nan("")).size(), 1U);
}

TEST_F(LReplayExport, ByTimeAStartPastTheEndIsFrame0) {
    record(30);
    ASSERT_TRUE(station.replay.exportRangeMs(5000.0, 200.0, path));
    const auto packets = packetsOf(path, AVMEDIA_TYPE_VIDEO);
    ASSERT_EQ(packets.size(), 11U);
    ASSERT_TRUE(station.replay.exportRange(0, 0, path));
    EXPECT_EQ(packets[0], packetsOf(path, AVMEDIA_TYPE_VIDEO)[0]);
}

TEST_F(LReplayExport, OfNothingFails) {
    EXPECT_FALSE(station.replay.exportRange(0, 10, path));
    EXPECT_FALSE(station.replay.exportRangeMs(0, 10, path));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LReplayExport, WithoutAFileNameIsCalledAfterItsTimes) {
    record(200);
    ASSERT_TRUE(station.replay.exportRange(60, 199, ""));
    EXPECT_TRUE(std::filesystem::exists(station.folder + "/cam_1s_2s.mov"));
    station.replay.setProps("name", "");
    ASSERT_TRUE(station.replay.exportRange(0, 199, ""));
    EXPECT_TRUE(std::filesystem::exists(station.folder + "/export_0s_3s.mov"));
}

TEST(LReplayExportPath, OfANewReplayIsTheFolderForTemporaryFiles) {
    const std::string name = "quol_" + std::to_string(getpid()); // nobody else's
    const std::string exported = "/tmp/" + name + "_0s_0s.mov";
    std::filesystem::remove(exported); // of a process that had the number and was killed
    LReplay replay;
    replay.setRecordPath(test::newFolder("default_export"), "replay");
    replay.setProps("name", name);
    ASSERT_TRUE(replay.startRecording());
    replay.pushVideoFrame(test::numberedPicture(1, 0, {1, 50}).get());
    ASSERT_EQ(replay.getTotalFrames(), 1);
    EXPECT_TRUE(replay.exportRange(0, 0, ""));
    EXPECT_TRUE(std::filesystem::remove(exported));
}

TEST_F(LReplayExport, WithoutSoundHasSilence) {
    record(100, false);
    ASSERT_TRUE(station.replay.exportRange(0, 99, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.pictures.size(), 100U);
    EXPECT_EQ(file.soundPairs(), 0U);
}

TEST_F(LReplayExport, SoundOfAnotherFormIsSilence) {
    record(20, false);
    for (int block = 0; block < 20; ++block)
        station.replay.pushAudioFrame(
            test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP, block * 960, 1000.0).get());
    ASSERT_TRUE(station.replay.exportRange(0, 19, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.pictures.size(), 20U);
    EXPECT_EQ(file.soundPairs(), 0U);
}

TEST_F(LReplayExport, GoesIntoOtherContainers) {
    record(20);
    for (const char* name : {"/out.mkv", "/out.avi"}) {
        const std::string other = station.folder + name;
        ASSERT_TRUE(station.replay.exportRange(0, 19, other)) << name;
        const auto pictures = packetsOf(other, AVMEDIA_TYPE_VIDEO);
        EXPECT_EQ(joined(pictures), bytesOf(station.videoPath())) << name;
    }
}

TEST_F(LReplayExport, ThatCannotBeWrittenFails) {
    record(10);
    EXPECT_FALSE(station.replay.exportRange(0, 9, "/nowhere/out.mov"));
    EXPECT_FALSE(station.replay.exportRange(0, 9, station.folder + "/out.no_such_ending"));
    EXPECT_FALSE(station.replay.exportRange(0, 9, station.folder)); // a folder
    // None of these takes this sound: what was made for it goes.
    for (const char* name : {"/out.3gp", "/out.webm"}) {
        EXPECT_FALSE(station.replay.exportRange(0, 9, station.folder + name)) << name;
        EXPECT_FALSE(std::filesystem::exists(station.folder + name)) << name;
    }
    const std::string pipe = station.folder + "/pipe.mov";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(station.replay.exportRange(0, 9, pipe));
}

TEST_F(LReplayExport, NeverGoesOverTheRecordingsOwnFiles) {
    record(10);
    const std::string before = bytesOf(station.videoPath());
    for (const std::string& own : {station.videoPath(), station.audioPath()}) {
        std::filesystem::remove(path);
        std::filesystem::create_symlink(own, path);
        EXPECT_FALSE(station.replay.exportRange(0, 9, path));
        std::filesystem::remove(path);
        std::filesystem::create_hard_link(own, path);
        EXPECT_FALSE(station.replay.exportRange(0, 9, path));
        EXPECT_FALSE(station.replay.exportRange(0, 9, "file:" + path));
    }
    EXPECT_EQ(bytesOf(station.videoPath()), before);
    EXPECT_EQ(station.shown(9)->number, 9);
}

TEST_F(LReplayExport, WithoutItsFilesFailsAndLeavesTheOldExport) {
    record(10);
    ASSERT_TRUE(station.replay.exportRange(0, 9, path));
    const std::string before = bytesOf(path);
    std::filesystem::remove(station.videoPath());
    EXPECT_FALSE(station.replay.exportRange(0, 4, path));
    EXPECT_EQ(bytesOf(path), before);
}

TEST_F(LReplayExport, LeavesOutWhatCannotBeRead) {
    record(10);
    std::filesystem::resize_file(station.videoPath(),
                                 std::filesystem::file_size(station.videoPath()) / 2);
    ASSERT_TRUE(station.replay.exportRange(0, 9, path));
    const auto pictures = packetsOf(path, AVMEDIA_TYPE_VIDEO).size();
    EXPECT_GT(pictures, 2U);
    EXPECT_LT(pictures, 6U);
}

TEST_F(LReplayExport, OfANativeFormatHasTheSizeOfThePictures) {
    station.replay.setVideoFormat({1, 0, 0, 50.0, 0});
    record(10);
    ASSERT_TRUE(station.replay.exportRange(0, 9, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.video()->width, 320);
    EXPECT_EQ(file.video()->height, 64);
}

TEST_F(LReplayExport, OfANativeFormatWorksWhereTheFirstPictureIsGone) {
    station.replay.setVideoFormat({1, 0, 0, 50.0, 0});
    record(10);
    {
        std::fstream file(station.videoPath(), std::ios::in | std::ios::out | std::ios::binary);
        file.put('\0'); // no JPEG any more
    }
    ASSERT_TRUE(station.replay.exportRange(0, 9, path));
    EXPECT_EQ(packetsOf(path, AVMEDIA_TYPE_VIDEO).size(), 9U);
    EXPECT_EQ(test::readRecordedFile(path).video()->width, 320);
}

TEST_F(LReplayExport, OfAnAudioRateOf0HasTheUsualOne) {
    station.replay.setAudioFormat({0, 0, 0, 0});
    record(10);
    ASSERT_TRUE(station.replay.exportRange(0, 9, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.audio()->sampleRate, 48000);
    EXPECT_EQ(file.soundPairs(), 10U * 960);
}

// A second recording over the first: its frames count from 0 again, the movie does not.
TEST_F(LReplayExport, AcrossTwoRecordingsHasTheSoundOfBothInItsOrder) {
    record(30);
    record(30);
    ASSERT_EQ(station.replay.getTotalFrames(), 60);
    ASSERT_TRUE(station.replay.exportRange(20, 59, path));
    const test::RecordedFile file = test::readRecordedFile(path, test::Keep::pictures);
    ASSERT_EQ(file.error, "");
    EXPECT_NEAR(file.soundStart, 0.0, 1e-4);
    // Frame 29 has no end: the next one's time lies before it.
    EXPECT_EQ(file.soundPairs(), 39U * 960);
}

TEST_F(LReplayExport, AtABrokenRateKeepsItsTimes) {
    station.replay.setVideoFormat({0, 320, 64, 30000.0 / 1001, 0});
    ASSERT_TRUE(station.replay.startRecording());
    station.record(60, {1001, 30000});
    ASSERT_TRUE(station.replay.exportRange(0, 59, path));
    const test::RecordedFile file = test::readRecordedFile(path);
    ASSERT_EQ(file.pictures.size(), 60U);
    for (std::size_t i = 0; i < 60; ++i)
        EXPECT_NEAR(file.pictures[i].seconds, static_cast<double>(i) * 1001 / 30000, 0.0011);
    EXPECT_EQ(file.timecode(), "10:20:04:05"); // the start's frames at 29.97, split by 29
}

TEST_F(LReplayExport, PlaysInTheFilePlayer) {
    record(50);
    ASSERT_TRUE(station.replay.exportRange(10, 49, path));
    test::FilePlayer player("silent.mp4", 100);
    player.file.fileNameSet(path);
    player.file.setVideoFormat(test::customVideo(320, 64, 50.0));
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.keptPictures();
    ASSERT_GE(pictures.size(), 38U);
    EXPECT_EQ(test::numberIn(*pictures.front()), 10);
    EXPECT_EQ(test::numberIn(*pictures.back()), 49);
    EXPECT_GT(player.sink.soundCount(), 0U);
}

TEST_F(LReplayExport, WorksWhileRecordingGoesOn) {
    record(200);
    std::atomic<bool> go{true};
    std::thread source([&] {
        for (int number = 200; go && number < 60000; ++number)
            station.push(number, {1, 50});
    });
    for (int round = 0; round < 5; ++round) {
        ASSERT_TRUE(station.replay.exportRange(10, 100, path));
        EXPECT_EQ(packetsOf(path, AVMEDIA_TYPE_VIDEO).size(), 91U);
        EXPECT_TRUE(station.replay.exportRange(0, 1000000, station.folder + "/all.mov"));
    }
    go = false;
    source.join();
}

TEST_F(LReplayExport, FailsWhenTheRecordingIsClearedMeanwhile) {
    record(300);
    std::atomic<bool> done{false};
    std::atomic<int> failed{0};
    std::thread exporter([&] {
        while (!done)
            if (!station.replay.exportRange(0, 299, path)) ++failed;
    });
    station.replay.clearRecording();
    EXPECT_TRUE(test::waitUntil([&] { return failed > 0; }));
    done = true;
    exporter.join();
    EXPECT_FALSE(station.replay.exportRange(0, 299, path));
}

TEST(LReplayExportDisk, OfAFullDiskFails) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "no disk of a test's own here";
    const std::string folder = test::temporaryPath("small_export");
    test::ChildProcess child([&] {
        if (!test::mountSmallDisk(folder, 65536)) return 1;
        ReplayStation station;
        if (!station.replay.startRecording()) return 2;
        station.record(200);
        if (station.replay.exportRange(0, 199, folder + "/out.mov")) return 3;
        if (!station.replay.exportRange(0, 199, station.folder + "/out.mov")) return 4;
        return 0;
    });
    EXPECT_EQ(child.wait(), 0);
}

TEST(LReplayExportDisk, ARecordingThatFillsTheDiskPlaysWhatIsThere) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "no disk of a test's own here";
    const std::string folder = test::temporaryPath("small_record");
    test::ChildProcess child([&] {
        if (!test::mountSmallDisk(folder, 65536)) return 1;
        ReplayStation station;
        station.replay.setRecordPath(folder, "replay");
        if (!station.replay.startRecording()) return 2;
        station.record(300);
        if (station.replay.getTotalFrames() != 300) return 3;
        const auto first = station.shown(5);
        if (!first || first->number != 5) return 4;
        station.sink.clear();
        station.replay.posSet(299);
        const auto again = station.shown(6);
        if (!again || again->number != 6 || station.sink.pictures().size() != 1) return 5;
        station.replay.stopRecording();
        station.replay.clearRecording();
        if (!station.replay.startRecording()) return 6;
        station.push(9, {1, 50});
        const auto anew = station.shown(0);
        return anew && anew->number == 9 ? 0 : 7;
    });
    EXPECT_EQ(child.wait(), 0);
}

} // namespace
