// How a replay plays what it has stored.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <thread>

#include "core/Clock.h"
#include "quolsdk/LReplay.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/NumberedClip.h"
#include "support/Replays.h"

namespace {

using test::ReplaySink;
using test::ReplayStation;
using test::waitUntil;
using testing::Each;
using testing::ElementsAre;

// 200 pictures at 50 a second, and the sound of them.
class Playback : public ReplayStation {
public:
    static constexpr int pictures = 200;
    static constexpr int pairs = 960; // a picture

    explicit Playback(int count = pictures) {
        EXPECT_TRUE(replay.startRecording());
        for (int number = 0; number < count; ++number) {
            push(number, {1, 50});
            replay.pushAudioFrame(test::numberedSound(number * pairs, pairs).get());
        }
        EXPECT_EQ(replay.getTotalFrames(), count);
    }
};

int frameOf(const std::string& timecode) {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = -1;
    EXPECT_EQ(std::sscanf(timecode.c_str(), "%d:%d:%d:%d", &hours, &minutes, &seconds, &frames), 4);
    return ((hours - 10) * 3600 + minutes * 60 + seconds) * 50 + frames;
}

// What this process has taken of the processors, in seconds.
double processorTime() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// ----------------------------------------------------------------------------------- seeks

TEST(LReplaySeek, IsClampedToWhatIsStored) {
    Playback playback(20);
    EXPECT_EQ(playback.shown(-5)->number, 0);
    EXPECT_EQ(playback.shown(7)->number, 7);
    EXPECT_EQ(playback.shown(1000)->number, 19);
    EXPECT_EQ(playback.shown(std::numeric_limits<int>::min())->number, 0);
    EXPECT_EQ(playback.shown(std::numeric_limits<int>::max())->number, 19);
}

TEST(LReplaySeek, OnAnEmptyIndexGoesTo0) {
    LReplay replay;
    replay.posSet(5);
    EXPECT_EQ(replay.getPos(), 0);
    replay.posSetMs(5000.0);
    EXPECT_EQ(replay.getPos(), 0);
    replay.posSetTC("00:00:00:00");
    replay.stepForward(3);
    replay.stepBackward(3);
    replay.play();
    replay.setModeLive();
    EXPECT_EQ(replay.getPos(), 0);
}

TEST(LReplaySeek, ByTimeFindsTheNearestFrame) {
    Playback playback(20);
    for (const auto& [milliseconds, frame] : {std::pair{0.0, 0},
                                              {-100.0, 0},
                                              {100.0, 5},
                                              {109.0, 5},
                                              {111.0, 6},
                                              {1e6, 19},
                                              {1e12, 0},
                                              {std::nan(""), 0}}) {
        const auto picture =
            playback.after([&, ms = milliseconds] { playback.replay.posSetMs(ms); });
        ASSERT_TRUE(picture);
        EXPECT_EQ(playback.replay.getPos(), frame) << milliseconds;
        EXPECT_EQ(picture->number, frame) << milliseconds;
    }
}

TEST(LReplaySeek, ByTimecodeTakesTheTextExactly) {
    Playback playback(60);
    EXPECT_EQ(playback.after([&] { playback.replay.posSetTC("10:00:01:03"); })->number, 53);
    for (const char* text : {"10:00:01:3", "10:00:09:00", "", "10:00:01:031"})
        playback.replay.posSetTC(text);
    EXPECT_EQ(playback.replay.getPos(), 53);
}

TEST(LReplaySeek, ByTimecodeLandsOnTheLaterOfTwo) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(10, {1, 25}); // slots 3 and 4 both have the time code of picture 2
    station.replay.posSetTC("10:00:00:04");
    EXPECT_EQ(station.replay.getPos(), 4);
}

TEST(LReplaySeek, StepsGoOnAndBack) {
    Playback playback(20);
    playback.shown(10);
    EXPECT_EQ(playback.after([&] { playback.replay.stepForward(1); })->number, 11);
    EXPECT_EQ(playback.after([&] { playback.replay.stepForward(4); })->number, 15);
    EXPECT_EQ(playback.after([&] { playback.replay.stepBackward(6); })->number, 9);
    EXPECT_EQ(playback.after([&] { playback.replay.stepForward(-2); })->number, 7);
    EXPECT_EQ(playback.after([&] { playback.replay.stepForward(100); })->number, 19);
    EXPECT_EQ(playback.after([&] { playback.replay.stepBackward(100); })->number, 0);
    const int least = std::numeric_limits<int>::min();
    EXPECT_EQ(playback.after([&] { playback.replay.stepBackward(least); })->number, 19);
    EXPECT_EQ(playback.after([&] { playback.replay.stepForward(least); })->number, 0);
}

TEST(LReplaySeek, AStepBackFrom0StaysAt0) {
    Playback playback(3);
    playback.shown(0);
    EXPECT_EQ(playback.after([&] { playback.replay.stepBackward(1); })->number, 0);
    EXPECT_EQ(playback.replay.getPos(), 0);
}

TEST(LReplaySeek, ShowsThePictureInTheFormAskedFor) {
    Playback playback(3);
    playback.replay.setVideoFormat({0, 640, 360, 50.0, 0});
    const auto picture = playback.shown(2);
    EXPECT_EQ(picture->number, 2);
    EXPECT_EQ(picture->width, 640);
    EXPECT_EQ(picture->height, 360);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
}

TEST(LReplaySeek, AStandingReplayShowsNothingByItself) {
    Playback playback(10);
    EXPECT_EQ(playback.sink.pictures().size(), 0U);
    playback.shown(3);
    playback.shown(4);
    EXPECT_THAT(playback.sink.numbers(), ElementsAre(3, 4));
}

TEST(LReplaySeek, WithoutASinkTheLatest50PicturesAreHeld) {
    class Held : public LReplay {
    public:
        std::size_t held() { return queuedFrames(); }
    };
    Held replay;
    const std::string folder = test::newFolder("held");
    replay.setRecordPath(folder, "r");
    replay.setVideoFormat({0, 320, 64, 50.0, 0});
    ASSERT_TRUE(replay.startRecording());
    const auto picture = test::numberedPicture(1, 0, {1, 50});
    replay.pushVideoFrame(picture.get());
    std::size_t before = 0;
    for (int i = 0; i < 60; ++i) {
        replay.posSet(0);
        const std::size_t wanted = std::min<std::size_t>(before + 1, LObject::maxQueuedFrames);
        ASSERT_TRUE(waitUntil([&] { return replay.held() == wanted; }));
        before = wanted;
    }
}

// ----------------------------------------------------------------------------------- speeds

class LReplaySpeeds : public testing::TestWithParam<double> {};

// Each picture carries its number, and so does its time code: both are read back.
TEST_P(LReplaySpeeds, EachPictureIsThatOfItsTimecode) {
    const double speed = GetParam();
    Playback playback;
    const int from = speed > 0 ? 0 : Playback::pictures - 1;
    const int to = speed > 0 ? Playback::pictures - 1 : 0;
    playback.shown(from);
    playback.replay.setSpeed(speed);
    EXPECT_EQ(test::statusOf(playback.replay), 2); // a speed does not start to play
    const std::int64_t start = quol::steadyNow();
    playback.replay.play();
    EXPECT_EQ(test::statusOf(playback.replay), 1);
    const int goal = std::fabs(speed) < 1 ? 40 : to; // slow ones need not go all the way
    ASSERT_TRUE(waitUntil([&] {
        const int at = playback.replay.getPos();
        return speed > 0 ? at >= goal : at <= goal;
    }));
    const double seconds = static_cast<double>(quol::steadyNow() - start) / 1e9;
    playback.replay.pause();
    // No faster than asked: a late thread is behind, never ahead.
    const double least = (std::abs(goal - from) - 1) / 50.0 / std::fabs(speed);
    EXPECT_GE(seconds, least - std::fabs(speed) * 0.02);
    const auto pictures = playback.sink.pictures();
    ASSERT_GE(pictures.size(), 3U);
    int last = from;
    for (const ReplaySink::Picture& picture : pictures) {
        EXPECT_EQ(picture.number, frameOf(picture.timecode));
        EXPECT_TRUE(speed > 0 ? picture.number >= last : picture.number <= last);
        last = picture.number;
    }
    // At most one picture a period.
    EXPECT_LE(static_cast<double>(pictures.size()), seconds * 50.0 + 3);
}

INSTANTIATE_TEST_SUITE_P(Speeds, LReplaySpeeds, testing::Values(1.0, 0.5, 0.25, 2.0, 4.0, -1.0));

TEST(LReplayPlay, BackwardItStopsAtTheBeginningAndStaysPlayingWithoutSound) {
    Playback playback(20);
    playback.replay.setProps("audio.preview", "false");
    playback.shown(10);
    playback.replay.setProps("audio.preview", "true");
    playback.sink.clear();
    playback.replay.setSpeed(-1.0);
    playback.replay.play();
    ASSERT_TRUE(waitUntil([&] {
        const auto numbers = playback.sink.numbers();
        return std::count(numbers.begin(), numbers.end(), 0) >= 3;
    }));
    EXPECT_EQ(playback.replay.getPos(), 0);
    EXPECT_EQ(test::statusOf(playback.replay), 1);
    EXPECT_TRUE(playback.sink.blocks().empty());
    // And goes on from there.
    playback.replay.setSpeed(1.0);
    EXPECT_TRUE(waitUntil([&] { return playback.replay.getPos() == 19; }));
}

TEST(LReplayPlay, AtTheEndItStaysPlayingAndGoesOnWithWhatComes) {
    Playback playback(20);
    playback.shown(15);
    playback.replay.play();
    ASSERT_TRUE(waitUntil([&] { return playback.replay.getPos() == 19; }));
    EXPECT_EQ(test::statusOf(playback.replay), 1);
    playback.push(20, {1, 50});
    ASSERT_TRUE(waitUntil([&] { return playback.replay.getPos() == 20; }));
    playback.replay.pause();
    EXPECT_EQ(test::statusOf(playback.replay), 2);
}

TEST(LReplayPlay, HostileSpeedsGoToOneEndOrStand) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    Playback playback(20);
    playback.shown(10);
    playback.replay.play();
    for (const double speed : {infinite, 1e300, 1e9}) {
        playback.replay.setSpeed(speed);
        EXPECT_TRUE(waitUntil([&] { return playback.replay.getPos() == 19; }));
        playback.replay.setSpeed(-speed);
        EXPECT_TRUE(waitUntil([&] { return playback.replay.getPos() == 0; }));
    }
    playback.replay.setSpeed(std::nan(""));
    playback.shown(7); // whatever was on its way has come
    EXPECT_EQ(playback.shown(7)->number, 7);
    playback.replay.setSpeed(0.0);
    EXPECT_EQ(playback.replay.getPos(), 7);
}

TEST(LReplayPlay, APauseStandsAndPlayGoesOn) {
    Playback playback;
    playback.shown(0);
    playback.replay.play();
    ASSERT_TRUE(waitUntil([&] { return playback.replay.getPos() >= 5; }));
    playback.replay.pause();
    const int at = playback.replay.getPos();
    playback.shown(at); // whatever was on its way has come
    EXPECT_EQ(playback.replay.getPos(), at);
    playback.replay.play();
    EXPECT_TRUE(waitUntil([&] { return playback.replay.getPos() > at; }));
}

// ------------------------------------------------------------------------------------ live

TEST(LReplayLive, ShowsTheNewestPictureAndEachThatComes) {
    Playback playback(10);
    EXPECT_EQ(playback.after([&] { playback.replay.setModeLive(); })->number, 9);
    EXPECT_EQ(test::statusOf(playback.replay), 2);
    for (int number = 10; number < 15; ++number)
        EXPECT_EQ(playback.after([&] { playback.push(number, {1, 50}); })->number, number);
    // Any seek leaves it.
    EXPECT_EQ(playback.shown(3)->number, 3);
    playback.push(15, {1, 50});
    playback.shown(4);
    EXPECT_EQ(playback.replay.getPos(), 4);
    playback.sink.clear();
    EXPECT_EQ(playback.after([&] { playback.replay.setModeLive(); })->number, 15);
    playback.replay.setModeTrim();
    playback.push(16, {1, 50});
    EXPECT_EQ(playback.shown(2)->number, 2);
    EXPECT_THAT(playback.sink.numbers(), ElementsAre(15, 2));
}

TEST(LReplayLive, ASpeedLeavesIt) {
    Playback playback(10);
    playback.after([&] { playback.replay.setModeLive(); });
    playback.replay.setSpeed(0.5);
    playback.push(10, {1, 50});
    EXPECT_EQ(playback.shown(1)->number, 1);
    EXPECT_THAT(playback.sink.numbers(), ElementsAre(9, 1));
}

TEST(LReplayLive, IsLeftByEachCallThatSaysSo) {
    const std::vector<std::function<void(LReplay&)>> calls{
        [](LReplay& replay) { replay.play(); },
        [](LReplay& replay) { replay.pause(); },
        [](LReplay& replay) { replay.setModeTrim(); },
        [](LReplay& replay) { replay.setSpeed(0.0); },
        [](LReplay& replay) { replay.posSet(3); },
        [](LReplay& replay) { replay.posSetMs(60.0); },
        [](LReplay& replay) { replay.posSetTC("10:00:00:03"); },
        [](LReplay& replay) { replay.stepForward(0); },
        [](LReplay& replay) { replay.stepBackward(0); },
    };
    for (std::size_t call = 0; call < calls.size(); ++call) {
        Playback playback(10);
        playback.replay.setSpeed(0.0); // what plays stays where it is
        playback.after([&] { playback.replay.setModeLive(); });
        calls[call](playback.replay);
        playback.push(10, {1, 50});
        playback.after([&] { playback.replay.stepBackward(0); }); // a pass behind the push
        EXPECT_NE(playback.replay.getPos(), 10) << call;
        EXPECT_EQ(playback.sink.numbers().back(), playback.replay.getPos()) << call;
    }
    // And not by a time code that is not there.
    Playback playback(10);
    playback.after([&] { playback.replay.setModeLive(); });
    playback.replay.posSetTC("99:00:00:03");
    EXPECT_EQ(playback.after([&] { playback.push(10, {1, 50}); })->number, 10);
}

TEST(LReplayPlay, TrimModeEndsIt) {
    Playback playback(20);
    playback.replay.play();
    EXPECT_EQ(test::statusOf(playback.replay), 1);
    playback.replay.setModeTrim();
    EXPECT_EQ(test::statusOf(playback.replay), 2);
}

TEST(LReplayLive, OnAnEmptyIndexItWaits) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.replay.setModeLive();
    // Who looks whenever it can takes all of a processor, or a good part of one to go to sleep.
    const double before = processorTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LT(processorTime() - before, 0.05) << "it does not rest";
    station.push(0, {1, 50});
    // The position is 0 already: the first picture is not another one.
    EXPECT_EQ(station.after([&] { station.push(1, {1, 50}); })->number, 1);
}

TEST(LReplayLive, PlaysItsSoundAtAnySpeed) {
    Playback playback(10);
    playback.replay.setSpeed(2.0);
    playback.after([&] { playback.replay.setModeLive(); });
    EXPECT_TRUE(waitUntil([&] { return playback.sink.blocks().size() == 1; }));
    EXPECT_EQ(playback.sink.blocks()[0].pts, 9 * 960);
}

TEST(LReplayLive, SoundThatComesBehindItsPictureIsPlayedOnce) {
    Playback playback(10);
    playback.after([&] { playback.replay.setModeLive(); });
    ASSERT_TRUE(waitUntil([&] { return !playback.sink.blocks().empty(); }));
    playback.sink.clear();
    for (int number = 10; number < 40; ++number) {
        playback.after([&] { playback.push(number, {1, 50}); });
        playback.replay.pushAudioFrame(test::numberedSound(number * 960, 960).get());
    }
    playback.after([&] { playback.push(40, {1, 50}); });
    ASSERT_TRUE(waitUntil([&] { return playback.sink.blocks().size() >= 30; }));
    const auto blocks = playback.sink.blocks();
    ASSERT_EQ(blocks.size(), 30U);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        EXPECT_EQ(blocks[i].pts, static_cast<std::int64_t>(10 + i) * 960);
}

// ----------------------------------------------------------------------------------- sound

// The blocks that come while it plays from one frame to another.
std::vector<ReplaySink::Block> soundAt(Playback& playback, double speed, int from, int to) {
    playback.replay.setSpeed(5.0); // no sound with the seek
    playback.shown(from);
    playback.sink.clear();
    playback.replay.setSpeed(speed);
    playback.replay.play();
    EXPECT_TRUE(waitUntil([&] { return playback.replay.getPos() >= to; }));
    playback.replay.pause();
    playback.replay.setSpeed(5.0);
    playback.shown(to);
    return playback.sink.blocks();
}

TEST(LReplaySound, IsPlayedAtSpeed1AndWithinAHundredthOfIt) {
    Playback playback(60);
    EXPECT_FALSE(soundAt(playback, 1.0, 0, 20).empty());
    EXPECT_FALSE(soundAt(playback, 1.009, 0, 20).empty());
    EXPECT_FALSE(soundAt(playback, 0.991, 0, 20).empty());
    EXPECT_TRUE(soundAt(playback, 1.1, 0, 20).empty());
    EXPECT_TRUE(soundAt(playback, 0.5, 0, 10).empty());
    EXPECT_TRUE(soundAt(playback, 2.0, 0, 20).empty());
    playback.replay.setProps("audio.preview", "false");
    EXPECT_TRUE(soundAt(playback, 1.0, 0, 20).empty());
    playback.replay.setProps("audio.preview", "1");
    EXPECT_FALSE(soundAt(playback, 1.0, 0, 20).empty());
}

TEST(LReplaySound, EveryBlockComesOnceInItsOrder) {
    Playback playback;
    const auto blocks = soundAt(playback, 1.0, 10, 100);
    // A late picture leaves frames out, but their sound comes all the same, unless there are more
    // than five. A picture with a time is one that sound goes along with.
    std::vector<std::int64_t> expected;
    int last = 10;
    int next = 10;
    for (const ReplaySink::Picture& picture : playback.sink.pictures()) {
        if (!picture.seconds) continue;
        if (picture.number > last + 5) next = picture.number;
        for (; next <= picture.number; ++next)
            expected.push_back(next * 960);
        last = picture.number;
    }
    ASSERT_FALSE(blocks.empty());
    std::vector<std::int64_t> times;
    for (const ReplaySink::Block& block : blocks) {
        EXPECT_EQ(block.samples, 960);
        EXPECT_EQ(block.sampleRate, 48000);
        EXPECT_EQ(block.first, block.pts % 30000);
        times.push_back(block.pts);
    }
    EXPECT_EQ(times, expected);
}

TEST(LReplaySound, HasTheRateOfTheFormat) {
    Playback playback(10);
    playback.replay.setAudioFormat({0, 16, 44100, 2});
    playback.shown(5);
    ASSERT_TRUE(waitUntil([&] { return !playback.sink.blocks().empty(); }));
    EXPECT_EQ(playback.sink.blocks()[0].sampleRate, 44100);
    EXPECT_EQ(playback.sink.blocks()[0].pts, 4410); // at 0.1 s
    playback.replay.setAudioFormat({0, 0, 0, 0});
    playback.sink.clear();
    playback.shown(3);
    ASSERT_TRUE(waitUntil([&] { return !playback.sink.blocks().empty(); }));
    EXPECT_EQ(playback.sink.blocks()[0].sampleRate, 48000);
}

TEST(LReplaySound, ASeekPlaysThatOfItsFrame) {
    Playback playback(100);
    for (const int frame : {50, 10, 99, 98, 30}) {
        playback.sink.clear();
        playback.shown(frame);
        ASSERT_TRUE(waitUntil([&] { return !playback.sink.blocks().empty(); }));
        EXPECT_EQ(playback.sink.blocks()[0].pts, frame * 960) << frame;
    }
}

TEST(LReplaySound, IsThatOfItsPictureAlsoWhenTheClockHasRunForYears) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    const std::int64_t first = 1'763'000'000LL * 48000 + 777;
    for (int number = 0; number < 60; ++number) {
        const auto picture = test::numberedPicture(number, first + number * 960, {1, 48000});
        const auto sound = test::numberedSound(number * 960, 960);
        sound->pts += first;
        station.replay.pushVideoFrame(picture.get());
        station.replay.pushAudioFrame(sound.get());
    }
    for (const int frame : {59, 58, 43, 29, 7, 0}) {
        station.sink.clear();
        station.shown(frame);
        ASSERT_TRUE(waitUntil([&] { return !station.sink.blocks().empty(); })) << frame;
        EXPECT_EQ(station.sink.blocks()[0].pts, frame * 960);
    }
}

TEST(LReplaySound, ASeekUpToFiveFramesOnPlaysWhatLiesBetween) {
    for (const auto& [frames, first, count] : {std::tuple{5, 11, 5U}, {6, 16, 1U}}) {
        Playback playback(40);
        playback.shown(10);
        ASSERT_TRUE(waitUntil([&] { return !playback.sink.blocks().empty(); }));
        playback.sink.clear();
        playback.shown(10 + frames);
        ASSERT_TRUE(
            waitUntil([&, least = count] { return playback.sink.blocks().size() >= least; }));
        playback.replay.setSpeed(5.0); // no sound with the next one
        playback.shown(0);
        const auto blocks = playback.sink.blocks();
        ASSERT_EQ(blocks.size(), count) << frames;
        EXPECT_EQ(blocks[0].pts, first * 960) << frames;
    }
}

// Two frames on, at a rate at which that is a little less or more than half a second.
TEST(LReplaySound, OfHalfASecondIsPlayedWholeAndOfMoreNot) {
    for (const auto& [rate, isWhole] : {std::pair{4.1, true}, {3.9, false}}) {
        ReplayStation station(rate);
        ASSERT_TRUE(station.replay.startRecording());
        for (int number = 0; number < 4; ++number)
            station.replay.pushVideoFrame(
                test::numberedPicture(number, number * 1000 + 1, {1, static_cast<int>(rate * 1000)})
                    .get());
        for (int block = 0; block < 60; ++block)
            station.replay.pushAudioFrame(test::numberedSound(block * 960, 960).get());
        ASSERT_EQ(station.replay.getTotalFrames(), 4);
        station.shown(0);
        station.shown(2);
        station.replay.setSpeed(5.0);
        station.shown(1);
        const auto blocks = station.sink.blocks();
        ASSERT_FALSE(blocks.empty());
        const double played = 960.0 * static_cast<double>(blocks.size()) / 48000;
        EXPECT_NEAR(played, isWhole ? 3 / rate : 1 / rate + 0.1, 0.045) << rate;
    }
}

TEST(LReplaySound, ThatComesLateIntoALongGapIsNotPlayed) {
    ReplayStation station(1.0); // a frame a second
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 1});
    station.push(1, {1, 1});
    station.replay.pushAudioFrame(test::numberedSound(0, 960).get());
    station.after([&] { station.replay.setModeLive(); });
    for (int block = 50; block < 150; ++block)
        station.replay.pushAudioFrame(test::numberedSound(block * 960, 960).get());
    station.after([&] { station.push(2, {1, 1}); });
    station.replay.setSpeed(5.0);
    station.shown(0);
    const auto blocks = station.sink.blocks();
    ASSERT_EQ(blocks.size(), 5U); // the last tenth of a second
    EXPECT_EQ(blocks[0].pts, 145 * 960);
}

TEST(LReplaySound, OfALongGapOnlyTheLastTenthOfASecondIsPlayed) {
    ReplayStation station;
    station.replay.setProps("audio.preview", "false");
    ASSERT_TRUE(station.replay.startRecording());
    station.replay.setVideoFormat({0, 320, 64, 1.0, 0}); // a frame a second
    for (int number = 0; number < 4; ++number) {
        station.push(number, {1, 1});
        for (int block = 0; block < 50; ++block)
            station.replay.pushAudioFrame(
                test::numberedSound((number * 50 + block) * 960, 960).get());
    }
    station.shown(0);
    station.replay.setProps("audio.preview", "true");
    station.shown(2);
    ASSERT_TRUE(waitUntil([&] { return station.sink.blocks().size() >= 5; }));
    EXPECT_EQ(station.sink.blocks()[0].pts, (3 * 50 - 5) * 960);
}

TEST(LReplaySound, APictureWithSoundHasATimeAndOneWithoutHasNone) {
    Playback playback(20);
    const auto timed = playback.shown(10);
    ASSERT_TRUE(timed->seconds);
    EXPECT_NEAR(*timed->seconds, 0.2, 1e-9);
    playback.replay.setSpeed(0.5);
    EXPECT_FALSE(playback.shown(11)->seconds);
}

// Flash and beep of the clip, through the player and the replay: what is on the air together.
TEST(LReplaySound, IsInStepWithThePictures) {
    LReplay replay;
    test::CollectingSink sink(1000);
    replay.setVideoFormat({0, 160, 90, 25.0, 0});
    replay.setRecordPath(test::newFolder("flash"), "r");
    ASSERT_TRUE(replay.startRecording());
    for (const quol::FramePtr& picture :
         test::decodeAll(test::mediaPath("flash_beep.mov"), AVMEDIA_TYPE_VIDEO)) {
        picture->time_base = {1, 12800};
        if (picture->pts * 25 / 12800 < 80) replay.pushVideoFrame(picture.get());
    }
    std::int64_t at = 0;
    for (const quol::FramePtr& sound :
         test::decodeAll(test::mediaPath("flash_beep.mov"), AVMEDIA_TYPE_AUDIO)) {
        sound->pts = at;
        sound->time_base = {1, 48000};
        at += sound->nb_samples;
        if (at < 48000 * 80 / 25) replay.pushAudioFrame(sound.get());
    }
    ASSERT_GE(replay.getTotalFrames(), 79);
    test::told([&] { replay.addSink(&sink); });
    replay.play();
    EXPECT_TRUE(waitUntil([&] { return replay.getPos() >= 78; }));
    replay.pause();
    test::told([&] { replay.removeSink(&sink); });
    std::vector<double> flashes;
    for (const quol::FramePtr& picture : sink.keptPictures()) {
        if (picture->data[0][0] > 150)
            flashes.push_back(static_cast<double>(picture->pts) * av_q2d(picture->time_base));
    }
    std::vector<double> beeps;
    bool sounding = false;
    for (const quol::FramePtr& block : sink.keptSounds()) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(block->data[0]);
        for (int i = 0; i < block->nb_samples; ++i) {
            const double now = static_cast<double>(block->pts + i) / 48000.0;
            const bool loud = std::abs(samples[2 * i]) > 3000;
            if (loud && !sounding && (beeps.empty() || now - beeps.back() > 0.1))
                beeps.push_back(now);
            sounding = loud;
        }
    }
    ASSERT_GE(flashes.size(), 3U); // one a second
    for (const double flash : flashes) {
        const bool found = std::any_of(beeps.begin(), beeps.end(), [&](double beep) {
            return std::fabs(beep - flash) <= 0.04;
        });
        EXPECT_TRUE(found) << flash;
    }
}

// ------------------------------------------------------------------------------- surroundings

TEST(LReplayPlay, ASinkMayAskTheReplayFromInsideAPush) {
    std::atomic<int> asked{0}; // outlives the push that may be under way at the end
    Playback playback(20);
    playback.sink.onPicture([&] {
        playback.replay.getPosTC();
        playback.replay.getTotalFrames();
        playback.replay.posSet(playback.replay.getPos() + 1);
        ++asked;
    });
    playback.replay.posSet(0);
    EXPECT_TRUE(waitUntil([&] { return asked >= 20; }));
    playback.sink.onPicture({});
}

TEST(LReplayPlay, AttachedToItselfItRecordsWhatItPlays) {
    Playback playback(5);
    test::told([&] { playback.replay.addSink(&playback.replay); });
    playback.replay.setSpeed(0.5); // its pictures then have no time: the clock counts
    playback.replay.posSet(2);
    EXPECT_TRUE(waitUntil([&] {
        playback.replay.posSet(2);
        return playback.replay.getTotalFrames() > 5;
    }));
    test::told([&] { playback.replay.removeSink(&playback.replay); });
}

TEST(LReplayPlay, RecordsAndPlaysAtTheSameTime) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(50);
    std::atomic<bool> go{true};
    std::thread source([&] {
        for (int number = 50; go && number < 60000; ++number) {
            station.push(number, {1, 50});
            station.replay.pushAudioFrame(test::numberedSound(number * 960, 960).get());
        }
    });
    station.replay.play();
    for (const double speed : {1.0, 4.0, -2.0, 0.5}) {
        station.replay.setSpeed(speed);
        for (int i = 0; i < 10; ++i) {
            const int total = station.replay.getTotalFrames();
            station.replay.posSet(total / 2 + i);
            station.replay.stepForward(1);
            station.replay.posSetMs(total * 10.0);
            station.replay.posSetTC("10:00:00:30");
            station.after([] {});
        }
    }
    station.replay.setModeLive();
    station.after([] {});
    go = false;
    source.join();
    for (const ReplaySink::Picture& picture : station.sink.pictures())
        EXPECT_EQ(picture.number, frameOf(picture.timecode));
}

TEST(LReplayPlay, StartsStopsAndClearsWhileItPlaysAndRecords) {
    ReplayStation station;
    std::atomic<bool> go{true};
    std::thread source([&] {
        for (int number = 0; go; ++number)
            station.push(number, {1, 50}); // its time never goes back
    });
    std::thread sound([&] {
        for (int number = 0; go; ++number)
            station.replay.pushAudioFrame(test::numberedSound(number * 960, 960).get());
    });
    station.replay.play();
    for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(station.replay.startRecording());
        station.replay.posSet(round);
        EXPECT_TRUE(waitUntil([&] { return station.replay.getTotalFrames() > round % 3; }));
        if (round % 3 == 0) station.replay.setModeLive();
        if (round % 2 == 0) station.replay.stopRecording();
        station.replay.clearRecording();
    }
    go = false;
    source.join();
    sound.join();
}

TEST(LReplayPlay, IsDestroyedAtAnyMoment) {
    for (int round = 0; round < 20; ++round) {
        Playback playback(3);
        if (round % 4 == 0) playback.replay.play();
        if (round % 4 == 1) playback.replay.setModeLive();
        if (round % 4 == 2) playback.replay.posSet(1);
    }
    for (int round = 0; round < 20; ++round)
        const LReplay replay;
}

// ----------------------------------------------------------------------------- disk trouble

TEST(LReplayDisk, FilesThatAreRemovedPlayOn) {
    Playback playback(10);
    std::filesystem::remove_all(playback.folder);
    EXPECT_EQ(playback.shown(5)->number, 5); // what is open stays
    playback.push(10, {1, 50});
    EXPECT_EQ(playback.shown(10)->number, 10);
    playback.replay.stopRecording();
    playback.replay.clearRecording();
    EXPECT_EQ(playback.replay.getTotalFrames(), 0);
    EXPECT_FALSE(playback.replay.startRecording()); // the folder is gone
    EXPECT_EQ(test::statusOf(playback.replay), 0);
}

TEST(LReplayDisk, AFileThatIsCutShowsNothingForWhatIsGone) {
    Playback playback(10);
    const auto whole = std::filesystem::file_size(playback.videoPath());
    std::filesystem::resize_file(playback.videoPath(), whole / 2);
    std::filesystem::resize_file(playback.audioPath(), 0);
    EXPECT_EQ(playback.shown(2)->number, 2);
    playback.sink.clear();
    playback.replay.posSet(8);
    playback.replay.posSet(9);
    EXPECT_EQ(playback.shown(1)->number, 1);
    EXPECT_THAT(playback.sink.numbers(), Each(1));
    // The writer goes on behind the hole.
    playback.push(10, {1, 50});
    EXPECT_EQ(playback.shown(10)->number, 10);
    playback.sink.clear();
    playback.replay.posSet(8);
    EXPECT_EQ(playback.shown(10)->number, 10);
    EXPECT_THAT(playback.sink.numbers(), Each(10));
    EXPECT_EQ(playback.replay.getTotalFrames(), 11);
}

TEST(LReplayDisk, AFullDiskHasEntriesThatShowNothing) {
    ReplayStation station;
    std::filesystem::create_symlink("/dev/full", station.videoPath());
    std::filesystem::create_symlink("/dev/full", station.audioPath());
    ASSERT_TRUE(station.replay.startRecording());
    for (int number = 0; number < 10; ++number) {
        station.push(number, {1, 50});
        station.replay.pushAudioFrame(test::numberedSound(number * 960, 960).get());
    }
    EXPECT_EQ(station.replay.getTotalFrames(), 10);
    station.replay.posSet(5);
    station.replay.play();
    ASSERT_TRUE(waitUntil([&] { return station.replay.getPos() == 9; }));
    EXPECT_EQ(station.replay.getPosTC(), "10:00:00:09");
    EXPECT_TRUE(station.sink.pictures().empty());
    EXPECT_TRUE(station.sink.blocks().empty());
    EXPECT_FALSE(station.replay.exportRange(0, 9, station.folder + "/full/none.mov"));
    station.replay.stopRecording();
    station.replay.clearRecording();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(station.videoPath())));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

} // namespace
