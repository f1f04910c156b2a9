// Damaged files, hosts that call from several threads at once, and the end of a player in any
// state.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/ThisProcess.h"

namespace {

using test::customVideo;
using test::FilePlayer;
using test::mediaPath;
using test::nativeVideo;
using test::OpenFile;
using test::statusOf;
using test::Stopwatch;
using test::waitUntil;
using namespace std::chrono_literals;

// Stop is to return within one second; a test machine may be slow and instrumented.
constexpr double longestStop = 5.0;

void expectQuickStop(LFile& file) {
    const Stopwatch watch;
    file.stop();
    EXPECT_LT(watch.seconds(), longestStop);
    EXPECT_EQ(statusOf(file), 0);
}

// A server on this machine that takes a connection and never says a word.
class MuteServer {
public:
    MuteServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(socket_, 4);
        socklen_t length = sizeof address;
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~MuteServer() { close(socket_); }
    MuteServer(const MuteServer&) = delete;
    MuteServer& operator=(const MuteServer&) = delete;
    std::string url() const { return "tcp://127.0.0.1:" + std::to_string(port_); }
    // Waits until somebody has connected; the descriptor is the caller's.
    int acceptGuest() const { return accept(socket_, nullptr, nullptr); }

private:
    int socket_;
    int port_ = 0;
};

} // namespace

// ------------------------------------------------------------------------------ damaged files

class NoMedia : public testing::TestWithParam<const char*> {};

TEST_P(NoMedia, DoesNotPlay) {
    FilePlayer player(GetParam());
    EXPECT_FALSE(player.file.play());
    EXPECT_EQ(player.status(), 0);
    EXPECT_TRUE(player.sink.events().empty());
    EXPECT_EQ(player.file.getDurationMs(), 0.0);
    expectQuickStop(player.file);
    // The player is as good as new.
    player.file.fileNameSet(mediaPath("silent.mp4"));
    player.file.setProps("rate", "8");
    EXPECT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

INSTANTIATE_TEST_SUITE_P(LFileHostile, NoMedia,
                         testing::Values("missing.mp4", "empty.mp4", "random.mp4", "text.mp4",
                                         "truncated_no_moov.mp4", "seq"));

class DamagedMedia : public testing::TestWithParam<const char*> {};

TEST_P(DamagedMedia, PlaysToAnEnd) {
    FilePlayer player(GetParam());
    player.file.setProps("rate", "8");
    if (player.file.play()) {
        EXPECT_TRUE(player.waitForEnd());
    }
    EXPECT_EQ(player.status(), 0);
    expectQuickStop(player.file);
}

TEST_P(DamagedMedia, HoldsAndStops) {
    FilePlayer player(GetParam());
    player.file.setProps("rate", "8");
    player.file.setProps("eof_hold", "true");
    player.file.play();
    std::this_thread::sleep_for(300ms);
    expectQuickStop(player.file);
}

TEST_P(DamagedMedia, LoopsSeeksAndStops) {
    FilePlayer player(GetParam());
    player.file.setProps("rate", "8");
    player.file.setProps("loop", "true");
    player.file.play();
    for (const double ms : {3900.0, 0.0, 2000.0, -1.0, 1e12}) {
        player.file.setPos(ms);
        std::this_thread::sleep_for(60ms);
    }
    expectQuickStop(player.file);
}

TEST_P(DamagedMedia, GoesThroughAChain) {
    FilePlayer player(GetParam());
    player.file.setProps("rate", "8");
    player.file.setProps("deinterlace", "true");
    player.file.setVideoFormat(nativeVideo(6));
    if (player.file.play()) {
        EXPECT_TRUE(player.waitForEnd());
    }
    expectQuickStop(player.file);
}

INSTANTIATE_TEST_SUITE_P(LFileHostile, DamagedMedia,
                         testing::Values("truncated.mp4", "bitflips.mp4", "huge_png.png",
                                         "sound_change.ts", "size_change.ts", "gap.mkv",
                                         "seq/%s%n_%04d.png"));

TEST(LFileHostile, ATruncatedFilePlaysWhatThereIs) {
    FilePlayer player("truncated.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_GT(player.sink.pictureCount(), 20U);
    EXPECT_LT(player.sink.pictureCount(), 100U);
}

TEST(LFileHostile, ADamagedPayloadStillGivesPictures) {
    FilePlayer player("bitflips.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_GT(player.sink.pictureCount(), 10U);
}

TEST(LFileHostile, APipeThatNobodyWritesToDoesNotHoldThePlayerUp) {
    const std::string path = test::temporaryPath("pipe.mp4");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    OpenFile file;
    file.fileNameSet(path);
    EXPECT_FALSE(file.play());
}

TEST(LFileHostile, EveryHeaderThatIsCutAnywhereIsSurvived) {
    std::ifstream whole(mediaPath("sar.mp4"), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(whole), {});
    ASSERT_GT(bytes.size(), 2000U);
    const std::string path = test::temporaryPath("cut.mp4");
    FilePlayer player("sar.mp4");
    player.file.setProps("rate", "100");
    for (std::size_t cut = 1; cut < 1200; cut += 37) {
        std::ofstream(path, std::ios::binary)
            << bytes.substr(0, cut) << bytes.substr(bytes.size() - (cut % 500));
        player.file.fileNameSet(path);
        if (player.file.play()) {
            EXPECT_TRUE(player.waitForEnd()) << cut;
        }
        player.file.stop();
    }
}

TEST(LFileHostile, AnyByteOfTheIndexMayBeWrong) {
    std::ifstream whole(mediaPath("sar.mp4"), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(whole), {});
    const std::size_t index = bytes.rfind("moov");
    ASSERT_NE(index, std::string::npos);
    const std::string path = test::temporaryPath("flipped.mp4");
    FilePlayer player("sar.mp4");
    player.file.setProps("rate", "100");
    unsigned state = 1;
    for (int round = 0; round < 60; ++round) {
        std::string damaged = bytes;
        for (int flips = 0; flips < 4; ++flips) {
            state = state * 1664525U + 1013904223U;
            const std::size_t at = index + 4 + (state >> 8U) % (bytes.size() - index - 4);
            damaged[at] = static_cast<char>(damaged[at] ^ (1 << (state >> 29U)));
        }
        std::ofstream(path, std::ios::binary) << damaged;
        player.file.fileNameSet("");
        player.file.fileNameSet(path);
        player.file.play();
        std::this_thread::sleep_for(10ms);
        player.file.setPos(500.0);
        std::this_thread::sleep_for(10ms);
        expectQuickStop(player.file);
    }
}

TEST(LFileHostile, AFileThatGoesWhileItPlaysEndsAsAnyOther) {
    const std::string path = test::temporaryPath("going.png");
    std::filesystem::copy_file(mediaPath("still.png"), path);
    FilePlayer player("still.png");
    player.file.fileNameSet(path);
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    std::filesystem::remove(path);
    std::this_thread::sleep_for(200ms);
    player.file.setProps("loop", "false");
    EXPECT_TRUE(player.waitForEnd());
    EXPECT_FALSE(player.file.play());
}

TEST(LFileHostile, AFileThatShrinksWhileItPlaysEndsEarly) {
    const std::string path = test::temporaryPath("shrinking.ts");
    std::filesystem::copy_file(mediaPath("h264.ts"), path);
    FilePlayer player("h264.ts");
    player.file.fileNameSet(path);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    std::filesystem::resize_file(path, 188 * 10);
    player.file.setProps("rate", "8");
    EXPECT_TRUE(player.waitForEnd());
    EXPECT_LT(player.sink.pictureCount(), 75U);
}

TEST(LFileHostile, NumbersThatAreNoneInEveryMark) {
    for (const double number : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1e300}) {
        FilePlayer player("silent.mp4");
        player.file.inPointMs = number;
        player.file.outPointMs = number;
        player.file.setProps("loop", "true");
        player.file.setVideoFormat(customVideo(64, 64, number));
        ASSERT_TRUE(player.file.play());
        player.file.rate = number;
        player.file.rateChanged = true;
        player.file.getInTC();
        player.file.getOutTC();
        player.file.getTimeCode();
        player.file.setPos(number);
        player.file.pause(number);
        player.file.resume();
        player.file.setVideoFormat(customVideo(64, 64, number));
        std::this_thread::sleep_for(60ms);
        expectQuickStop(player.file);
    }
}

TEST(LFileHostile, SizesThatNoPictureCanHaveShowNothing) {
    FilePlayer player("silent.mp4");
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    for (const int size : {INT32_MAX, 1 << 20, 1}) {
        player.file.setVideoFormat(customVideo(size, size, 25.0));
        std::this_thread::sleep_for(150ms);
    }
    player.file.setVideoFormat(customVideo(64, 48, 25.0));
    EXPECT_TRUE(waitUntil([&] {
        const auto pictures = player.sink.pictures();
        return !pictures.empty() && pictures.back().width == 64;
    }));
    expectQuickStop(player.file);
}

// ---------------------------------------------------------------------------- stop and destroy

TEST(LFileHostile, StopReturnsSoonInEveryState) {
    const std::vector<std::function<void(LFile&)>> states = {
        [](LFile&) {},
        [](LFile& file) { file.play(); },
        [](LFile& file) { file.ready(); },
        [](LFile& file) {
            file.play();
            file.pause(60000.0);
        },
        [](LFile& file) {
            file.setProps("rate", "0.05"); // a picture each 0.8 s
            file.play();
            std::this_thread::sleep_for(100ms);
        },
        [](LFile& file) {
            file.setProps("rate", "8");
            file.setProps("eof_hold", "true");
            file.play();
            std::this_thread::sleep_for(900ms);
        },
        [](LFile& file) {
            file.play();
            for (int i = 0; i < 50; ++i)
                file.setPos(i * 60.0);
        },
    };
    for (std::size_t i = 0; i < states.size(); ++i) {
        FilePlayer player("h264_aac.mp4");
        states[i](player.file);
        const Stopwatch watch;
        player.file.stop();
        EXPECT_LT(watch.seconds(), longestStop) << "state " << i;
    }
}

TEST(LFileHostile, DestroyedInEveryState) {
    const std::vector<std::function<void(LFile&)>> states = {
        [](LFile&) {},
        [](LFile& file) { file.fileNameSet("missing"), file.play(); },
        [](LFile& file) { file.play(); },
        [](LFile& file) { file.ready(); },
        [](LFile& file) { file.play(), file.pause(); },
        [](LFile& file) { file.play(), file.pause(50.0); },
        [](LFile& file) { file.play(), file.setPos(2000.0); },
        [](LFile& file) { file.play(), file.stop(); },
        [](LFile& file) {
            file.setProps("rate", "8");
            file.play();
            std::this_thread::sleep_for(900ms); // holding
        },
        [](LFile& file) {
            file.setProps("eof_hold", "false");
            file.outPointMs = 40.0;
            file.play();
            waitUntil([&] { return statusOf(file) == 0; }); // ended, not joined
        },
        [](LFile& file) {
            file.setProps("deinterlace", "true");
            file.play();
            std::this_thread::sleep_for(100ms); // pictures inside the filters
        },
    };
    for (const auto& state : states) {
        OpenFile file; // and no sink, so that its queue goes with it
        file.fileNameSet(mediaPath("h264_aac.mp4"));
        state(file);
    }
}

TEST(LFileHostile, PlayedAndStoppedOftenItLeavesNothingOpen) {
    FilePlayer player("silent.mp4");
    ASSERT_TRUE(player.file.play());
    player.file.stop();
    const int before = test::descriptorsOfThisProcess();
    for (int round = 0; round < 40; ++round) {
        ASSERT_TRUE(player.file.play());
        if (round % 2 == 0) {
            ASSERT_TRUE(player.sink.waitForPictures(player.sink.pictureCount() + 1));
        }
        player.file.stop();
        player.file.fileNameSet(mediaPath(round % 3 == 0 ? "text.mp4" : "silent.mp4"));
        if (round % 3 == 0) {
            EXPECT_FALSE(player.file.play());
            player.file.fileNameSet(mediaPath("silent.mp4"));
        }
    }
    EXPECT_EQ(test::descriptorsOfThisProcess(), before);
}

TEST(LFileHostile, StopGetsAPlayOutThatWaitsForAnAnswer) {
    const MuteServer server;
    OpenFile file;
    file.fileNameSet(server.url());
    std::atomic<bool> played{true};
    std::thread host([&] { played = file.play(); });
    const int guest = server.acceptGuest();
    std::this_thread::sleep_for(50ms);
    const Stopwatch watch;
    file.stop();
    EXPECT_LT(watch.seconds(), longestStop);
    host.join();
    EXPECT_FALSE(played);
    close(guest);
}

// ------------------------------------------------------------------------------------- threads

TEST(LFileThreads, CalledFromSeveralAtOnce) {
    FilePlayer player("h264_aac.mp4");
    test::CollectingSink visitor;
    LFilter filter(LFilter::Type::video);
    LFilter tone(LFilter::Type::audio);
    player.file.setVideoFilter(&filter);
    player.file.setAudioFilter(&tone);
    LFile& file = player.file;
    std::atomic<bool> over{false};
    const auto hammer = [&over](const std::function<void(int)>& work) {
        return std::thread([&over, work] {
            for (int i = 0; !over; ++i)
                work(i);
        });
    };
    std::vector<std::thread> threads;
    threads.push_back(hammer([&](int i) {
        file.play();
        std::this_thread::sleep_for(5ms);
        file.pause(i % 3 == 0 ? 10.0 : 0.0);
        file.setPos(i * 97 % 4200);
        file.resume();
        std::this_thread::sleep_for(5ms);
        if (i % 4 == 0) file.stop();
        if (i % 9 == 0) file.ready();
    }));
    threads.push_back(hammer([&](int i) {
        file.setVideoFormat(i % 2 == 0 ? customVideo(64 + i % 7 * 2, 64, 25.0, 1 + i % 12)
                                       : nativeVideo(i % 3));
        audioFormatProps audio;
        audio.channels = i % 4;
        audio.sampleRate = i % 5 == 0 ? 44100 : 0;
        file.setAudioFormat(audio);
        file.setProps("deinterlace", i % 6 == 0 ? "true" : "false");
        file.setProps("rate", i % 5 == 0 ? "4" : "1");
        file.setProps("loop", i % 2 == 0 ? "true" : "false");
        file.setProps("eof_hold", i % 3 == 0 ? "true" : "false");
        file.setProps("scale_type", i % 2 == 0 ? "crop" : "letter-box");
        file.setProps("scaling_quality", std::to_string(i % 5));
        file.setProps("timecodeSource", std::to_string(i % 2));
        file.setAudioDelay(i % 3 * 10);
        file.inPointMs = i % 100 * 10.0;
        file.outPointMs = i % 7 == 0 ? 1500.0 : 0.0;
        filter.setProps("hflip", i % 2 == 0 ? "true" : "false");
        filter.setProps("nosuchfilter", i % 20 == 0 ? "true" : "");
        tone.setProps("volume", i % 2 == 0 ? "0.5" : "false");
        std::this_thread::sleep_for(2ms);
    }));
    threads.push_back(hammer([&](int i) {
        double in = 0.0;
        double out = 0.0;
        double duration = 0.0;
        file.InOutGet(in, out, duration);
        videoFormatProps video;
        file.getVideoFormat(video);
        audioFormatProps audio;
        file.getAudioFormat(audio);
        file.getTimeCode();
        file.getInTC();
        file.getOutTC();
        file.getFPS();
        file.getWidth();
        file.getPosMs();
        player.file.peakLeft();
        player.file.queued();
        player.status();
        file.setPosTC("10:00:01:05");
        if (i % 2 == 0) {
            file.addSink(&visitor);
        } else {
            file.removeSink(&visitor);
        }
        if (i % 50 == 0) file.fileNameSet(mediaPath(i % 100 == 0 ? "h264.ts" : "h264_aac.mp4"));
        std::this_thread::sleep_for(3ms);
    }));
    std::this_thread::sleep_for(3s);
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    expectQuickStop(file);
    for (int i = 0; i < 2; ++i)
        file.removeSink(&visitor);

    // It has not suffered.
    player.file.setVideoFilter(nullptr);
    player.file.setAudioFilter(nullptr);
    file.setVideoFormat(nativeVideo(0));
    file.setProps("deinterlace", "false");
    file.setProps("loop", "false");
    file.setProps("eof_hold", "false");
    file.setProps("rate", "8");
    file.outPointMs = 0.0;
    file.fileNameSet(mediaPath("silent.mp4"));
    player.sink.clear();
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

TEST(LFileThreads, PlayAndStopFromManyAtOnce) {
    FilePlayer player("silent.mp4");
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            while (!over) {
                if (i % 2 == 0) {
                    player.file.play();
                } else {
                    player.file.stop();
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1 + i));
            }
        });
    }
    std::this_thread::sleep_for(1s);
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    expectQuickStop(player.file);
    player.sink.clear();
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

TEST(LFileThreads, ASinkMayJumpFromInsideAPush) {
    class Jumper : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            if (pictureCount() == 5) file->setPos(2000.0);
        }
        LFile* file = nullptr;
    };
    Jumper jumper;
    OpenFile file;
    jumper.file = &file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.addSink(&jumper);
    ASSERT_TRUE(file.play());
    EXPECT_TRUE(jumper.waitForPictures(8));
    file.stop();
    file.removeSink(&jumper);
    const auto pictures = jumper.pictures();
    EXPECT_NEAR(pictures[4].seconds, 0.16, 0.001);
    EXPECT_NEAR(pictures[5].seconds, 2.0, 0.001);
}

// The pause waits for the push, and the push must not wait for the pause.
TEST(LFileThreads, ASinkMayJumpFromInsideAPushWhileAHostPauses) {
    class Jumper : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            file->setPos(pictureCount() % 2 == 0 ? 500.0 : 1500.0);
        }
        LFile* file = nullptr;
    };
    Jumper jumper;
    OpenFile file;
    jumper.file = &file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.addSink(&jumper);
    ASSERT_TRUE(file.play());
    for (int i = 0; i < 50; ++i) {
        file.pause();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        file.resume();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_TRUE(jumper.waitForPictures(jumper.pictureCount() + 5));
    file.stop();
    file.removeSink(&jumper);
}

TEST(LFileThreads, SeveralPlayersDoNotDisturbEachOther) {
    std::vector<std::unique_ptr<FilePlayer>> players;
    for (const char* clip : {"silent.mp4", "odd_size.mkv", "tenbit.mp4", "hevc.mp4", "mjpeg.avi"}) {
        players.push_back(std::make_unique<FilePlayer>(clip));
        ASSERT_TRUE(players.back()->file.play());
    }
    for (const auto& player : players) {
        EXPECT_TRUE(player->waitForEnd());
        EXPECT_EQ(player->sink.pictureCount(), 25U);
        EXPECT_EQ(test::irregularity(player->sink.pictures(), 0.04), "");
    }
}
