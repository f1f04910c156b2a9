// What the converter does when something outside it fails, and how it is stopped.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "quolsdk/LConvert.h"
#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/ClipFile.h"
#include "support/CollectingSink.h"
#include "support/Converting.h"
#include "support/FilePlayer.h"
#include "support/NumberedClip.h"
#include "support/RecordedFile.h"
#include "support/SmallDisk.h"
#include "support/ThisProcess.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::ChildProcess;
using test::configureSmall;
using test::convertAll;
using test::endlessInputs;
using test::longestStop;
using test::mediaPath;
using test::readRecordedFile;
using test::RecordedFile;
using test::statusOf;
using test::Stopwatch;
using test::temporaryPath;
using test::toldBy;
using test::waitForEnd;
using test::waitUntil;

void expectQuickStop(LConvert& convert) {
    const Stopwatch watch;
    convert.Stop();
    EXPECT_LT(watch.seconds(), longestStop);
    EXPECT_NE(statusOf(convert), 1);
}

std::string bytesOf(const std::string& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

std::string refusedLine(const std::string& path) {
    return "LConvert: Could not open output file: " + path + "\n";
}

// ------------------------------------------------------------------------------------ stops

class LConvertStop : public testing::TestWithParam<const char*> {};

TEST_P(LConvertStop, InTheMiddleLeavesAFileThatCanBePlayed) {
    const std::string path = temporaryPath("stopped");
    LConvert convert;
    configureSmall(convert, path, endlessInputs());
    convert.setContainer(GetParam());
    convert.setProps("preset", "medium"); // looks some fifty pictures ahead
    ASSERT_TRUE(convert.Start());
    // Five seconds of the clip, far more than the encoder holds.
    ASSERT_TRUE(waitUntil([&] { return convert.progress > test::progressAfter(5.0); }, 90s));
    expectQuickStop(convert);
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(convert.progress, 1.0);
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.pictures.size(), 25U);
    EXPECT_GT(file.soundSeconds(), 1.0);
    EXPECT_LT(file.pictures.size(), 500U * 500);
}

INSTANTIATE_TEST_SUITE_P(All, LConvertStop,
                         testing::Values("mp4", "mov", "matroska", "mpegts", "avi", "flv"),
                         [](const auto& info) { return std::string(info.param); });

TEST(LConvertStops, AtOnceOrInTheMeasuringPass) {
    const std::string path = temporaryPath("at_once.mp4");
    for (int i = 0; i < 20; ++i) {
        LConvert convert;
        configureSmall(convert, path, endlessInputs());
        ASSERT_TRUE(convert.Start());
        if (i > 0) usleep(static_cast<useconds_t>(i * i * 100)); // another moment each time
        expectQuickStop(convert);
        EXPECT_EQ(convert.progress, 1.0);
    }
}

TEST(LConvertStops, TwiceAndWhenIdleIsHarmless) {
    LConvert convert;
    convert.Stop();
    convert.Stop();
    configureSmall(convert, temporaryPath("idle.mp4"), {mediaPath("silent.mp4")});
    EXPECT_EQ(convertAll(convert), 0);
    convert.Stop();
    convert.Stop();
    EXPECT_EQ(readRecordedFile(temporaryPath("idle.mp4")).pictures.size(), 25U);
}

// A port of this machine on which connections are taken and nothing is ever said.
class SilentPort {
public:
    SilentPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(socket_, 4);
        socklen_t length = sizeof address;
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        url_ = "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~SilentPort() { close(socket_); }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;
    const std::string& url() const { return url_; }
    // Waits until somebody has connected.
    int acceptGuest() const { return accept(socket_, nullptr, nullptr); }

private:
    int socket_;
    std::string url_;
};

TEST(LConvertStops, AnInputThatNeverAnswersIsLeft) {
    const SilentPort port;
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureSmall(convert, temporaryPath("silent.mp4"), {port.url(), mediaPath("silent.mp4")});
    ASSERT_TRUE(convert.Start());
    const int guest = port.acceptGuest();
    ASSERT_GE(guest, 0);
    expectQuickStop(convert);
    EXPECT_EQ(error.text(), ""); // it was not the input's fault
    close(guest);
}

// It opens, and then nothing comes any more.
TEST(LConvertStops, AnInputThatFallsSilentBehindItsFirstBytesIsLeft) {
    constexpr std::size_t enoughToOpen = 12UL * 188;
    const std::string bytes = bytesOf(mediaPath("h264.ts")).substr(0, enoughToOpen);
    const SilentPort port;
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureSmall(convert, temporaryPath("fell_silent.mp4"),
                   {port.url(), mediaPath("silent.mp4")});
    ASSERT_TRUE(convert.Start());
    const int guest = port.acceptGuest();
    EXPECT_EQ(write(guest, bytes.data(), bytes.size()), static_cast<ssize_t>(enoughToOpen));
    EXPECT_FALSE(waitForEnd(convert, 500ms));
    expectQuickStop(convert);
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(error.text(), "");
    close(guest);
}

// The far end takes the connection and then no bytes: the writes wait, the stop does not.
TEST(LConvertStops, AnOutputThatTakesNothingIsLeft) {
    const SilentPort port;
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureSmall(convert, port.url(), endlessInputs());
    convert.setContainer("mpegts");
    convert.setVideoBitrate(50000);
    test::setPictures(convert, 720, 576, 25.0);
    ASSERT_TRUE(convert.Start());
    const int guest = port.acceptGuest();
    ASSERT_GE(guest, 0);
    // Until it stands: no progress for two seconds, longer than a slow machine takes for a picture.
    double before = -1.0;
    ASSERT_TRUE(waitUntil(
        [&] {
            const double last = before;
            usleep(2000000);
            before = convert.progress;
            return before > 0.0 && before == last;
        },
        90s));
    expectQuickStop(convert);
    // It was in a write that the stop came.
    EXPECT_EQ(error.text(),
              "LConvert: Conversion ended, Immediate exit requested: " + port.url() + "\n");
    close(guest);
}

// ------------------------------------------------------------------------ inputs in danger

TEST(LConvertOutput, AnInputIsNeverWrittenTo) {
    const std::string clip = temporaryPath("precious.mp4");
    std::filesystem::copy_file(mediaPath("h264_aac.mp4"), clip);
    const std::string before = bytesOf(clip);
    const std::string linked = temporaryPath("linked.mp4");
    const std::string hard = temporaryPath("hard.mp4");
    std::filesystem::create_symlink(clip, linked);
    std::filesystem::create_hard_link(clip, hard);
    const std::string round = temporaryPath(
        "../" + std::filesystem::path(clip).parent_path().filename().string() + "/precious.mp4");
    for (const std::string& output : {clip, linked, hard, "file:" + clip, round}) {
        EXPECT_EQ(toldBy(output, {mediaPath("silent.mp4"), clip}, -1), refusedLine(output));
        EXPECT_EQ(bytesOf(clip), before) << output;
    }
    EXPECT_EQ(toldBy(clip, {"file:" + clip}, -1), refusedLine(clip));
    EXPECT_EQ(bytesOf(clip), before);
}

// A muxer that opens its files by itself is held to it too.
TEST(LConvertOutput, AnInputIsNotWrittenToByASequenceEither) {
    const std::string pattern = test::pngSequence("frames", test::countingPictures(3));
    const std::string first = pattern.substr(0, pattern.size() - 8) + "001.png";
    const std::string before = bytesOf(first);
    ASSERT_FALSE(before.empty()) << first;
    LConvert convert;
    configureSmall(convert, pattern, {first, mediaPath("silent.mp4")});
    convert.setContainer("image2");
    convert.setVideoCodec("png");
    convertAll(convert);
    EXPECT_EQ(bytesOf(first), before);
    convert.clearInputFiles();
    convert.addInputFile(pattern);
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_EQ(convertAll(convert), -1);
    EXPECT_EQ(error.text(), refusedLine(pattern));
    EXPECT_EQ(bytesOf(first), before);
}

// A picture of a sequence is an input, though it is not named.
TEST(LConvertOutput, APictureOfASequenceThatIsReadIsNotWrittenTo) {
    const std::string pattern = test::pngSequence("read_frames", test::countingPictures(3));
    const std::string stem = pattern.substr(0, pattern.size() - 8);
    const std::string first = stem + "001.png";
    const std::string before = bytesOf(first);
    ASSERT_FALSE(before.empty()) << first;
    LConvert convert;
    configureSmall(convert, first, {pattern});
    convert.setContainer("image2");
    convert.setVideoCodec("png");
    {
        CapturedStream error(CapturedStream::Stream::error);
        EXPECT_EQ(convertAll(convert), -1);
        EXPECT_EQ(error.text(), refusedLine(first));
    }
    EXPECT_EQ(bytesOf(first), before);
    const std::filesystem::path file(pattern);
    const std::string other = file.parent_path().string() + "/./" + file.filename().string();
    convert.setFilePath(other);
    CapturedStream error(CapturedStream::Stream::error);
    EXPECT_EQ(convertAll(convert), 0);
    EXPECT_EQ(error.text(), "LConvert: Conversion ended, Input/output error: " + other + "\n");
    EXPECT_EQ(bytesOf(first), before);
}

// ---------------------------------------------------------------------- outputs that fail

TEST(LConvertOutput, PipesAndDevicesAreNoFiles) {
    const std::string pipe = temporaryPath("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, std::string("pipe:1"), std::string("/dev/null")})
        EXPECT_EQ(toldBy(path, {mediaPath("silent.mp4")}, -1), refusedLine(path));
}

TEST(LConvertOutput, AFolderIsNoFile) {
    const std::string path = temporaryPath("folder.mp4");
    std::filesystem::create_directory(path);
    EXPECT_EQ(toldBy(path, {mediaPath("silent.mp4")}, -1), refusedLine(path));
}

TEST(LConvertOutput, AnExistingFileIsReplaced) {
    const std::string path = temporaryPath("replaced.mp4");
    const std::string linked = temporaryPath("replaced_link.mp4");
    std::filesystem::create_symlink(path, linked);
    for (const std::string& name : {path, "file:" + path, linked}) {
        std::ofstream(path) << std::string(1000000, 'x');
        EXPECT_EQ(toldBy(name, {mediaPath("silent.mp4")}), "");
        EXPECT_EQ(readRecordedFile(path).pictures.size(), 25U);
        EXPECT_LT(std::filesystem::file_size(path), 200000U);
    }
}

// Far more than any disk has is not set aside for it.
TEST(LConvertOutput, AnAbsurdBitRateDoesNotFillTheDisk) {
    const std::string path = temporaryPath("absurd_rate.avi");
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureSmall(convert, path, {mediaPath("silent.mp4")});
    convert.setContainer("avi");
    convert.setVideoCodec("rawvideo");
    convert.setVideoBitrate(std::numeric_limits<int>::max());
    EXPECT_EQ(convertAll(convert), 0);
    EXPECT_EQ(error.text(), "");
    EXPECT_EQ(readRecordedFile(path).pictures.size(), 25U);
}

std::string endLine(int error, const std::string& path) {
    return std::string("LConvert: Conversion ended, ") + std::strerror(error) + ": " + path + "\n";
}

void configureLarge(LConvert& convert, const std::string& path) {
    configureSmall(convert, path, endlessInputs());
    test::setPictures(convert, 720, 576, 25.0);
    convert.setVideoBitrate(4000);
    convert.setProps("g", "25");
}

// In a child process with a small disk of its own: which step went wrong, 0 for none.
int convertOnSmallDisk(const std::string& folder) {
    constexpr long diskBytes = 8 * 1024 * 1024;
    if (!test::mountSmallDisk(folder, diskBytes)) return 1;
    const std::string path = folder + "/full.mp4";
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureLarge(convert, path);
    if (convertAll(convert) != 0) return 2;
    if (convert.progress != 1.0) return 3;
    if (error.text() != endLine(ENOSPC, path)) return 4;
    const RecordedFile file = readRecordedFile(path);
    if (!file.error.empty()) return 5;
    if (file.pictures.size() < 50) return 6;
    if (file.soundSeconds() < file.pictureSeconds() - 1.0) return 7;
    const auto bytes = static_cast<long>(std::filesystem::file_size(path));
    struct stat status {};
    if (bytes < diskBytes / 2) return 8;
    if (stat(path.c_str(), &status) != 0 || status.st_blocks * 512L > bytes + 65536) return 9;
    return 0;
}

TEST(LConvertOutput, AFullDiskEndsTheConversionAndTheFileIsWhole) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = temporaryPath("small_disk");
    ChildProcess child([&folder] { return convertOnSmallDisk(folder); });
    EXPECT_EQ(child.wait(110s), 0);
}

// In a child process: files may not grow beyond a size. Nothing can be set aside against that.
int convertUpToALimit(const std::string& path) {
    constexpr long limit = 1024 * 1024;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit size{limit, limit};
    if (setrlimit(RLIMIT_FSIZE, &size) != 0) return 1;
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureLarge(convert, path);
    convert.setContainer("mpegts");
    if (convertAll(convert) != 0) return 2;
    if (error.text() != endLine(EFBIG, path)) return 3;
    return 0;
}

TEST(LConvertOutput, AFileThatMayGrowNoFurtherEndsTheConversion) {
    const std::string path = temporaryPath("limited.ts");
    ChildProcess child([&path] { return convertUpToALimit(path); });
    EXPECT_EQ(child.wait(110s), 0);
    EXPECT_EQ(std::filesystem::file_size(path), 1024U * 1024);
    EXPECT_GE(readRecordedFile(path).pictures.size(), 20U);
}

// ----------------------------------------------------------------------------- hostile files

class LConvertHostile : public testing::TestWithParam<std::string> {};

TEST_P(LConvertHostile, EndsQuietlyAndTheNextFileIsConverted) {
    const std::string path = temporaryPath("hostile.mp4");
    LConvert convert;
    configureSmall(convert, path, {GetParam(), mediaPath("silent.mp4")});
    ASSERT_TRUE(convert.Start());
    if (!waitForEnd(convert, 60s)) convert.Stop(); // some claim hours
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(convert.progress, 1.0);
    EXPECT_GE(readRecordedFile(path).pictures.size(), 25U);
}

std::vector<std::string> hostileFiles() {
    std::vector<std::string> files;
    for (const char* name : {"empty.mp4", "text.mp4", "random.mp4", "truncated.mp4",
                             "truncated_no_moov.mp4", "bitflips.mp4", "huge_png.png"})
        files.push_back(mediaPath(name));
    return files;
}

INSTANTIATE_TEST_SUITE_P(All, LConvertHostile, testing::ValuesIn(hostileFiles()),
                         [](const auto& info) {
                             std::string name = std::filesystem::path(info.param).stem().string();
                             return name;
                         });

TEST(LConvertInput, PipesAndDevicesAreLeftOut) {
    const std::string pipe = temporaryPath("input_pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string path = temporaryPath("no_pipes.mp4");
    EXPECT_EQ(toldBy(path, {pipe, "/dev/zero", mediaPath("silent.mp4")}),
              "LConvert: Could not open input file: " + pipe +
                  "\nLConvert: Could not open input file: /dev/zero\n");
    EXPECT_EQ(readRecordedFile(path).pictures.size(), 25U);
}

// Sound of one sample a second becomes 48000 times as long: that takes time, but no memory, and a
// stop does not wait for it.
TEST(LConvertInput, SoundOfAnAbsurdRateTakesNoMemory) {
    const std::vector<std::int16_t> samples(100000, 0x1111);
    const std::string slow = test::waveFile("slow", 1, 1, samples);
    LConvert convert;
    configureSmall(convert, temporaryPath("from_slow.mp4"), {slow});
    ASSERT_TRUE(convert.Start());
    waitUntil([&] { return statusOf(convert) != 1; }, 1s);
    expectQuickStop(convert);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 2 * 1024 * 1024); // kilobytes
}

TEST(LConvertInput, NothingStaysOpen) {
    const std::string path = temporaryPath("descriptors.mp4");
    const auto turn = [&path] {
        CapturedStream error(CapturedStream::Stream::error);
        LConvert convert;
        configureSmall(convert, path, {mediaPath("h264_aac.mp4"), mediaPath("text.mp4")});
        convertAll(convert);
        convert.setVideoCodec("libx264");
        convert.setContainer("no_such_container");
        convertAll(convert);
    };
    turn();
    const int before = test::descriptorsOfThisProcess();
    for (int i = 0; i < 5; ++i)
        turn();
    EXPECT_EQ(test::descriptorsOfThisProcess(), before);
}

} // namespace
