// What the recorder does when something outside it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/SmallDisk.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::ChildProcess;
using test::Encoding;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::statusOf;
using test::temporaryPath;
using testing::HasSubstr;
using testing::Not;

// ------------------------------------------------------------------------- failures to begin

// What Record says on the error stream when it returns false; that it does is seen to.
std::string refusal(const std::string& path, const Encoding& encoding) {
    LiveSource source;
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    LRecorder recorder;
    test::configure(recorder, path, encoding);
    recorder.source = &source;
    EXPECT_FALSE(recorder.Record());
    EXPECT_EQ(statusOf(recorder), 0);
    EXPECT_EQ(out.text(), ""); // not attached to the source, either
    source.start();
    EXPECT_TRUE(source.waitForPictures(2));
    test::pushGrey(recorder, 64, 48, 100);
    EXPECT_EQ(statsOf(recorder).framesWritten, 0);
    recorder.Stop();
    EXPECT_EQ(out.text(), "LRecorder: Stopped and resources freed.\n");
    return error.text();
}

TEST(LRecorderRefusal, UnknownContainer) {
    EXPECT_EQ(refusal(temporaryPath("file.mp4"), {"no_such_container", "libx264", "aac", ""}),
              "LRecorder: Could not create output context\n");
}

TEST(LRecorderRefusal, EmptyContainerAndAnEndingThatTellsNothing) {
    EXPECT_EQ(refusal(temporaryPath("file"), {"", "libx264", "aac", ""}),
              "LRecorder: Could not create output context\n");
}

TEST(LRecorderRefusal, UnknownVideoCodec) {
    EXPECT_EQ(refusal(temporaryPath("file.mp4"), {"mp4", "no_such_codec", "aac", ""}),
              "LRecorder: Video codec not found: no_such_codec\n");
    EXPECT_FALSE(std::filesystem::exists(temporaryPath("file.mp4")));
}

TEST(LRecorderRefusal, VideoCodecThatIsOfAnotherKind) {
    EXPECT_EQ(refusal(temporaryPath("file.mp4"), {"mp4", "aac", "aac", ""}),
              "LRecorder: Video codec not found: aac\n");
}

TEST(LRecorderRefusal, VideoEncoderThatDoesNotOpen) {
    EXPECT_EQ(refusal(temporaryPath("file.mov"), {"mov", "mpeg4", "aac", "b=no_number"}),
              "LRecorder: Could not open video codec\n");
}

TEST(LRecorderRefusal, FolderThatIsNotThere) {
    const std::string path = temporaryPath("no_such_folder/file.mp4");
    EXPECT_EQ(refusal(path, {}), "LRecorder: Could not open output file: " + path + "\n");
}

TEST(LRecorderRefusal, FolderThatTakesNoFiles) {
    EXPECT_EQ(refusal("/proc/self/file.mp4", {}),
              "LRecorder: Could not open output file: /proc/self/file.mp4\n");
}

TEST(LRecorderRefusal, PathOfAFolder) {
    const std::string path = temporaryPath("folder.mp4");
    std::filesystem::create_directory(path);
    EXPECT_EQ(refusal(path, {}), "LRecorder: Could not open output file: " + path + "\n");
}

TEST(LRecorderRefusal, EmptyPath) {
    EXPECT_EQ(refusal("", {}), "LRecorder: Could not open output file: \n");
}

TEST(LRecorderRefusal, CodecThatTheContainerDoesNotTake) {
    EXPECT_EQ(refusal(temporaryPath("file.mp4"), {"mp4", "ffv1", "aac", ""}),
              "LRecorder: Error occurred when writing header\n");
}

// ------------------------------------------------------------------------- failures on the way

// Pushes pictures that do not compress, at 100 a second, until the recording has ended or the time
// is up.
bool pushUntilItEnds(LRecorder& recorder, std::chrono::seconds limit) {
    std::vector<quol::FramePtr> pictures;
    for (unsigned i = 0; i < 8; ++i) {
        pictures.push_back(
            test::makePicture(160, 96, AV_PIX_FMT_YUV420P, AV_NOPTS_VALUE, {1, 100}, i));
    }
    const auto end = std::chrono::steady_clock::now() + limit;
    for (std::size_t i = 0; statusOf(recorder) == 1; ++i) {
        if (std::chrono::steady_clock::now() > end) return false;
        recorder.pushVideoFrame(pictures[i % pictures.size()].get());
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

void configureNoise(LRecorder& recorder, const std::string& path, const std::string& options = "") {
    test::configure(recorder, path, {"mp4", "libx264", "aac", "preset=ultrafast qp=20 " + options});
    test::setPictures(recorder, 160, 96, 100);
    recorder.setVideoBitrate(400);
    recorder.setAudioBitrate(64);
}

std::string endLine(int error, const std::string& path) {
    return std::string("LRecorder: Recording ended, ") + std::strerror(error) + ": " + path + "\n";
}

// In a child process with a small disk of its own: which step went wrong, 0 for none.
int recordOnSmallDisk(const std::string& folder, bool playWhileRec) {
    constexpr long diskBytes = 3 * 1024 * 1024;
    if (!test::mountSmallDisk(folder, diskBytes)) return 1;
    const std::string path = folder + "/full.mp4";
    CapturedStream error(CapturedStream::Stream::error);
    LRecorder recorder;
    configureNoise(recorder, path, "g=20");
    if (playWhileRec) recorder.setProps("play_while_rec", "1");
    if (!recorder.Record()) return 2;
    if (!pushUntilItEnds(recorder, 60s)) return 3;
    recorder.Stop();
    if (error.text() != endLine(ENOSPC, path)) return 4;
    const RecordedFile file = readRecordedFile(path);
    if (!file.error.empty()) return 5;
    if (static_cast<std::int64_t>(file.pictures.size()) != statsOf(recorder).framesWritten)
        return 6;
    if (file.soundSeconds() < file.pictureSeconds() - 0.1) return 7;
    // Most of the disk was of use, and nothing stays set aside.
    const std::int64_t bytes = statsOf(recorder).fileSize;
    struct stat status {};
    if (bytes < diskBytes / 2) return 8;
    if (stat(path.c_str(), &status) != 0 || status.st_blocks * 512L > bytes + 65536) return 9;
    // Elsewhere there is room.
    recorder.setFilePath(temporaryPath("elsewhere.mp4"));
    if (!recorder.Record()) return 10;
    return 0;
}

TEST(LRecorderFaults, FullDiskEndsTheRecordingAndTheFileIsWhole) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = temporaryPath("small_disk");
    ChildProcess child([&folder] { return recordOnSmallDisk(folder, false); });
    EXPECT_EQ(child.wait(90s), 0);
}

TEST(LRecorderFaults, FullDiskEndsAGrowingFileThatIsWhole) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = temporaryPath("small_disk");
    ChildProcess child([&folder] { return recordOnSmallDisk(folder, true); });
    EXPECT_EQ(child.wait(90s), 0);
}

// In a child process: files may not grow beyond a size. Nothing can be set aside against that.
int recordUpToALimit(const std::string& path) {
    constexpr long limit = 1024 * 1024;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit size{limit, limit};
    if (setrlimit(RLIMIT_FSIZE, &size) != 0) return 1;
    CapturedStream error(CapturedStream::Stream::error);
    LRecorder recorder;
    configureNoise(recorder, path, "g=20");
    recorder.setProps("play_while_rec", "true");
    if (!recorder.Record()) return 2;
    if (!pushUntilItEnds(recorder, 60s)) return 3;
    recorder.Stop();
    if (error.text() != endLine(EFBIG, path)) return 4;
    return 0;
}

TEST(LRecorderFaults, FileThatMayGrowNoFurtherEndsTheRecordingAndIsPlayable) {
    const std::string path = temporaryPath("limited.mp4");
    ChildProcess child([&path] { return recordUpToALimit(path); });
    EXPECT_EQ(child.wait(90s), 0);
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(std::filesystem::file_size(path), 1024U * 1024);
    EXPECT_GE(file.pictures.size(), 20U);
}

TEST(LRecorderFaults, DeviceThatIsAlwaysFullEndsTheRecording) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    std::string said;
    {
        CapturedStream error(CapturedStream::Stream::error);
        LRecorder recorder;
        configureNoise(recorder, "/dev/full");
        recorder.setContainer("mpegts"); // begins without a byte on the disk
        ASSERT_TRUE(recorder.Record());
        ASSERT_TRUE(pushUntilItEnds(recorder, 60s));
        recorder.Stop();
        said = error.text();
    }
    EXPECT_EQ(said, endLine(ENOSPC, "/dev/full"));
}

TEST(LRecorderFaults, ReaderThatGoesAwayEndsTheRecording) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string path = temporaryPath("pipe.ts");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    std::string said;
    {
        CapturedStream error(CapturedStream::Stream::error);
        LRecorder recorder;
        test::configure(recorder, path, {"mpegts", "mpeg2video", "mp2", ""});
        test::setPictures(recorder, 160, 96, 100);
        EXPECT_TRUE(recorder.Record());
        close(descriptor);
        EXPECT_TRUE(pushUntilItEnds(recorder, 60s));
        recorder.Stop();
        said = error.text();
    }
    EXPECT_EQ(said, endLine(EPIPE, path));
}

TEST(LRecorderFaults, RecordingThatEndedByItselfMayBeDestroyed) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    LiveSource source;
    source.start();
    {
        LRecorder recorder;
        configureNoise(recorder, "/dev/full");
        recorder.setContainer("mpegts");
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        ASSERT_TRUE(pushUntilItEnds(recorder, 60s));
    }
    EXPECT_TRUE(source.waitForPictures(2)); // it has been left
}

// ----------------------------------------------------------------------------------- killed

std::uint32_t numberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8U | static_cast<std::uint8_t>(bytes.at(at + i));
    }
    return number;
}

// Calls `visit(type, begin, end)` for every box that lies whole between two positions.
template <typename Visit>
void forEachBox(const std::string& bytes, std::size_t begin, std::size_t end, Visit visit) {
    while (begin + 8 <= end) {
        const std::size_t size = numberAt(bytes, begin);
        if (size < 8 || begin + size > end) return;
        visit(bytes.substr(begin + 4, 4), begin + 8, begin + size);
        begin += size;
    }
}

// Pictures of a fragment's head.
std::size_t picturesOf(const std::string& bytes, std::size_t begin, std::size_t end) {
    std::size_t pictures = 0;
    forEachBox(bytes, begin, end, [&](const std::string& type, std::size_t from, std::size_t to) {
        if (type != "traf") return;
        std::uint32_t track = 0;
        forEachBox(bytes, from, to, [&](const std::string& inner, std::size_t at, std::size_t) {
            if (inner == "tfhd") track = numberAt(bytes, at + 4);
            if (inner == "trun" && track == 1) pictures += numberAt(bytes, at + 4);
        });
    });
    return pictures;
}

// Pictures in all fragments of which both head and data are whole.
std::size_t picturesInFragments(const std::string& path, std::size_t& fragments) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::size_t all = 0;
    std::size_t pictures = 0;
    fragments = 0;
    forEachBox(bytes, 0, bytes.size(),
               [&](const std::string& type, std::size_t from, std::size_t to) {
                   if (type == "moof") pictures = picturesOf(bytes, from, to);
                   if (type == "mdat" && pictures > 0) {
                       all += pictures;
                       pictures = 0;
                       ++fragments;
                   }
               });
    return all;
}

TEST(LRecorderFaults, KilledGrowingFileIsPlayableUpToItsLastFragment) {
    const std::string path = temporaryPath("killed.mp4");
    ChildProcess child([&path] {
        LiveSource source;
        LRecorder recorder;
        test::configure(recorder, path, {"mp4", "libx264", "aac", "preset=ultrafast g=10"});
        recorder.setProps("play_while_rec", "true");
        recorder.source = &source;
        if (!recorder.Record()) return 1;
        source.start();
        std::this_thread::sleep_for(100s);
        return 2;
    });
    std::size_t fragments = 0;
    ASSERT_TRUE(test::waitUntil(
        [&] { return picturesInFragments(path, fragments) > 0 && fragments >= 5; }, 60s));
    child.kill();
    const std::size_t pictures = picturesInFragments(path, fragments);
    EXPECT_GE(fragments, 5U);
    EXPECT_GE(pictures, 50U);
    const RecordedFile file = readRecordedFile(path);
    ASSERT_NE(file.video(), nullptr);
    EXPECT_GE(file.pictures.size(), pictures);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.5);
    EXPECT_GE(test::flashes(file).size(), 3U);
    EXPECT_GE(test::beeps(file).size(), 2U);
}

} // namespace
