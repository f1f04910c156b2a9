// The end of a file that is converted to: on a slow disk, and where a write fails.
#include "outputs/ConvertOutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <vector>

#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/Frames.h"
#include "support/RecordedFile.h"

namespace {

using namespace std::chrono_literals;
using test::temporaryPath;

quol::ConvertSettings smallSettings(const std::string& path) {
    quol::ConvertSettings settings;
    settings.filePath = path;
    settings.videoFormat.width = 720;
    settings.videoFormat.height = 576;
    return settings;
}

void addPictures(quol::ConvertOutput& output, int count) {
    for (int i = 0; i < count; ++i) {
        output.addPicture(*test::makePicture(720, 576, AV_PIX_FMT_YUV420P, i));
        // A picture is written when the sound has come as far.
        output.addSound(*test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_FLTP));
    }
}

// As long as a network would have to answer: a disk that is slower still makes a whole file.
TEST(ConvertOutput, AFileIsNotGivenUpHoweverLongItsLastWritesTake) {
    const std::string path = temporaryPath("slow.mov");
    for (const std::string& name : {path, "file:" + path}) {
        quol::ConvertSettings settings = smallSettings(name);
        settings.container = "mov";
        settings.videoCodec = "mjpeg"; // every few pictures are a write
        settings.videoBitrate = 50000;
        settings.options.emplace("threads", "1");
        std::atomic<bool> stop{false};
        quol::ConvertOutput output(settings, stop);
        ASSERT_TRUE(output.open());
        addPictures(output, 20);
        stop = true;
        addPictures(output, 20);
        usleep(500000);
        addPictures(output, 20);
        EXPECT_TRUE(output.takesMore());
        output.finish();
        const test::RecordedFile file = test::readRecordedFile(path);
        EXPECT_EQ(file.error, "");
        EXPECT_EQ(file.pictures.size(), 60U);
    }
}

// Pictures of a sequence are files too, though the muxer opens them.
TEST(ConvertOutput, TheFilesOfASequenceAreNotGivenUpEither) {
    const std::string folder = temporaryPath("slow_frames");
    std::filesystem::create_directory(folder);
    quol::ConvertSettings settings = smallSettings(folder + "/out_%03d.png");
    settings.container = "image2";
    settings.videoCodec = "png";
    settings.audioCodec.clear();
    settings.options.emplace("threads", "1"); // keeps no picture back
    std::atomic<bool> stop{false};
    quol::ConvertOutput output(settings, stop);
    ASSERT_TRUE(output.open());
    stop = true;
    addPictures(output, 2);
    usleep(500000);
    addPictures(output, 4);
    EXPECT_TRUE(output.takesMore());
    output.finish();
    EXPECT_GT(std::filesystem::file_size(folder + "/out_005.png"), 100U);
}

// The encoder holds some fifty pictures back: only an end that nobody hurries waits for them.
TEST(ConvertOutput, WhatWaitsInTheEncoderIsLeftAtAStop) {
    const std::string path = temporaryPath("left.mp4");
    for (const bool stopped : {false, true}) {
        const quol::ConvertSettings settings = smallSettings(path);
        std::atomic<bool> stop{false};
        quol::ConvertOutput output(settings, stop);
        ASSERT_TRUE(output.open());
        addPictures(output, 100);
        stop = stopped;
        output.finish();
        const test::RecordedFile file = test::readRecordedFile(path);
        EXPECT_EQ(file.error, "");
        EXPECT_GE(file.pictures.size(), stopped ? 1U : 100U);
        EXPECT_LE(file.pictures.size(), stopped ? 90U : 100U);
        // The last piece of sound, which is no whole frame, is not waited for either.
        const int whole = 100 * 1920 / 1024 * 1024;
        if (stopped) {
            EXPECT_LE(file.soundSeconds(), whole / 48000.0);
        } else {
            EXPECT_GT(file.soundSeconds(), whole / 48000.0);
        }
    }
}

std::int64_t bytesOnDisk(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_blocks * 512LL;
}

// However the file is called.
TEST(ConvertOutput, RoomIsSetAsideForTheEndOfTheFile) {
    const std::string path = temporaryPath("reserved.mp4");
    std::vector<std::int64_t> bytes;
    for (const std::string& name : {path, "file:" + path}) {
        const quol::ConvertSettings settings = smallSettings(name);
        const std::atomic<bool> stop{false};
        quol::ConvertOutput output(settings, stop);
        ASSERT_TRUE(output.open());
        ASSERT_TRUE(output.takesMore());
        bytes.push_back(bytesOnDisk(path));
        output.finish();
    }
    EXPECT_EQ(bytes[1], bytes[0]);
    if (bytes[0] < 1000000) GTEST_SKIP() << "this file system sets nothing aside";
}

// In a child process: everything waits in the encoder, and then files may not grow any more.
int finishWithoutRoom(const std::string& path) {
    std::signal(SIGXFSZ, SIG_IGN);
    test::CapturedStream error(test::CapturedStream::Stream::error);
    const quol::ConvertSettings settings = smallSettings(path);
    const std::atomic<bool> stop{false};
    quol::ConvertOutput output(settings, stop);
    if (!output.open()) return 1;
    addPictures(output, 10);
    if (!output.takesMore()) return 2;
    if (!error.text().empty()) return 3;
    const rlimit none{100, 100};
    if (setrlimit(RLIMIT_FSIZE, &none) != 0) return 4;
    output.finish();
    const std::string line =
        std::string("LConvert: Conversion ended, ") + std::strerror(EFBIG) + ": " + path + "\n";
    return error.text() == line ? 0 : 5;
}

TEST(ConvertOutput, AWriteThatFailsAtTheVeryEndIsTold) {
    const std::string path = temporaryPath("no_end.mp4");
    test::ChildProcess child([&path] { return finishWithoutRoom(path); });
    EXPECT_EQ(child.wait(60s), 0);
}

} // namespace
