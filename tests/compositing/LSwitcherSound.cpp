// What a switcher takes of the sound of its sources, and what it makes of it, tick by tick.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
}

namespace {

using test::customVideo;
using test::PulledSource;
using test::WatchedSource;

constexpr int width = 64;
constexpr int height = 48;
constexpr int block = 960; // pairs in a tick at 48000 Hz and 50 pictures a second

// Threads of a process in which nothing runs. Asked for with a thread that is certain to be there:
// one that has just ended may be counted or not.
int idleThreads() {
    int threads = 0;
    std::thread([&threads] { threads = test::threadsOfThisProcess() - 1; }).join();
    return threads;
}

struct Level {
    int left = 0;
    int right = 0;
    bool operator==(const Level&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Level& level) {
    return out << '(' << level.left << ", " << level.right << ')';
}

constexpr Level silence{0, 0};

// The one level of a whole block; nothing where there are several.
std::optional<Level> steadyLevel(const std::vector<std::int16_t>& samples) {
    if (samples.empty()) return std::nullopt;
    for (std::size_t i = 2; i < samples.size(); ++i) {
        if (samples[i] != samples[i - 2]) return std::nullopt;
    }
    return Level{samples[0], samples[1]};
}

// A source whose pictures and sound are of the times it is told.
class Speaker : public WatchedSource {
public:
    void show(double seconds) {
        const quol::FramePtr picture = test::plainPicture(width, height, {100, 128, 128});
        picture->time_base = {1, 1000};
        picture->pts = std::llround(seconds * 1000);
        distributeVideoFrame(picture.get());
    }

    void say(int samples, Level level, double seconds, int sampleRate = 48000) {
        const quol::FramePtr sound = test::plainSound(
            samples, static_cast<std::int16_t>(level.left), static_cast<std::int16_t>(level.right),
            std::llround(seconds * sampleRate), sampleRate);
        distributeAudioFrame(sound.get());
    }

    // Sound for a good number of ticks, all of it due.
    void sayLong(Level level, int sampleRate = 48000) {
        show(1000.0);
        say(sampleRate * 2, level, 0.0, sampleRate);
    }

    // Pairs (first, -first), (first + 1, -first - 1) and so on, all of it due.
    void count(int samples, int first = 1) {
        show(1000.0);
        const quol::FramePtr sound = test::plainSound(samples, 0, 0);
        auto* values = reinterpret_cast<std::int16_t*>(sound->data[0]);
        for (int i = 0; i < samples; ++i) {
            *values++ = static_cast<std::int16_t>(first + i);
            *values++ = static_cast<std::int16_t>(-(first + i));
        }
        distributeAudioFrame(sound.get());
    }
};

class OpenSwitcher : public LSwitcher {
public:
    Level peaks() const { // in 16-bit steps
        return {static_cast<int>(audioPeakLeft * 32768.0F),
                static_cast<int>(audioPeakRight * 32768.0F)};
    }
};

// A switcher that stands still between two ticks. Sources are to be made before it.
class SteppedSwitcher {
public:
    explicit SteppedSwitcher(double fps = 50.0) {
        switcher.addPullConsumer();
        // Once its own thread has gone, nothing moves but on request.
        EXPECT_TRUE(test::waitUntil([this] { return test::threadsOfThisProcess() <= idle_; }));
        switcher.setVideoFormat(customVideo(width, height, fps, 1));
        switcher.addSink(&sink);
    }
    ~SteppedSwitcher() {
        switcher.setProgram(nullptr);
        switcher.setPreview(nullptr);
        switcher.setExtAudioObject(nullptr);
        switcher.removeSink(&sink);
        switcher.removePullConsumer();
    }
    SteppedSwitcher(const SteppedSwitcher&) = delete;
    SteppedSwitcher& operator=(const SteppedSwitcher&) = delete;

    // The block of one more tick; null when there was none, or more than one.
    quol::FramePtr tick() {
        sink.clear();
        picture.reset(switcher.renderVideoFrame());
        return sink.soundCount() == 1 ? sink.latestSound() : nullptr;
    }

    std::vector<std::int16_t> samples() {
        const quol::FramePtr sound = tick();
        return sound ? test::samplesOf(*sound) : std::vector<std::int16_t>();
    }

    std::optional<Level> level() { return steadyLevel(samples()); }

    LSwitcher::SwitcherStats stats() {
        LSwitcher::SwitcherStats read;
        switcher.getStats(read);
        return read;
    }

    void setRate(int sampleRate) { switcher.setAudioFormat({0, 16, sampleRate, 2}); }

private:
    const int idle_ = idleThreads();

public:
    OpenSwitcher switcher;
    test::CollectingSink sink{1};
    quol::FramePtr picture; // of the latest tick
};

// How many pairs of a block, from its start on, have this level; the rest must be silent, else -1.
int pairsAhead(const std::vector<std::int16_t>& samples, Level level) {
    std::size_t i = 0;
    while (i < samples.size() && samples[i] == level.left && samples[i + 1] == level.right)
        i += 2;
    const int pairs = static_cast<int>(i / 2);
    for (; i < samples.size(); ++i) {
        if (samples[i] != 0) return -1;
    }
    return pairs;
}

} // namespace

// ------------------------------------------------------------------------------------- the block

TEST(LSwitcherSound, ABlockLastsAsLongAsAPictureCutToWholeSamples) {
    struct Case {
        int rate;
        double fps;
        int pairs;
    };
    SteppedSwitcher stepped;
    for (const Case& each :
         {Case{48000, 50.0, 960}, Case{48000, 25.0, 1920}, Case{48000, 30000.0 / 1001.0, 1601},
          Case{48000, 60.0, 800}, Case{44100, 50.0, 882}, Case{44100, 29.97, 1471},
          Case{96000, 50.0, 1920}, Case{0, 50.0, 960}, Case{-1, 25.0, 1920}, Case{48000, 0.0, 960},
          Case{48000, -25.0, 960}}) {
        stepped.setRate(each.rate);
        stepped.switcher.setVideoFormat(customVideo(width, height, each.fps, 1));
        const quol::FramePtr sound = stepped.tick();
        ASSERT_NE(sound, nullptr);
        EXPECT_EQ(sound->nb_samples, each.pairs) << each.rate << " at " << each.fps;
        EXPECT_EQ(sound->sample_rate, each.rate > 0 ? each.rate : 48000);
        EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(sound->ch_layout.nb_channels, 2);
    }
}

TEST(LSwitcherSound, ATickTooShortForOneSampleCountsAsAFiftiethOfASecond) {
    SteppedSwitcher stepped(100000.0);
    quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 960);
    stepped.setRate(44100);
    sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 882);
}

TEST(LSwitcherSound, ABlockHasTheTimeOfItsPictureInSamples) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(0.0);
    for (const auto& [fps, base] :
         {std::pair{50.0, 50}, std::pair{29.97, 29}, std::pair{25.0, 25}}) {
        for (const int rate : {48000, 44100}) {
            stepped.switcher.setVideoFormat(customVideo(width, height, fps, 1));
            stepped.setRate(rate);
            for (int i = 0; i < 4; ++i) {
                const std::int64_t index = stepped.stats().frameCount;
                const quol::FramePtr sound = stepped.tick();
                ASSERT_NE(sound, nullptr);
                ASSERT_NE(stepped.picture, nullptr);
                EXPECT_EQ(stepped.picture->pts, index);
                EXPECT_EQ(av_cmp_q(stepped.picture->time_base, {1, base}), 0);
                EXPECT_EQ(sound->pts, av_rescale_q(index, {1, base}, {1, rate}));
                EXPECT_EQ(av_cmp_q(sound->time_base, {1, rate}), 0);
                EXPECT_EQ(stepped.stats().frameCount, index + 1);
            }
        }
    }
}

TEST(LSwitcherSound, WithoutASourceThereIsSilenceAndNoPicture) {
    SteppedSwitcher stepped;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(stepped.level(), silence);
        EXPECT_EQ(stepped.picture, nullptr);
    }
    EXPECT_EQ(stepped.sink.pictureCount(), 0U);
    EXPECT_EQ(stepped.stats().masterPeak, 0.0F);
}

// ----------------------------------------------------------------------------------- the volumes

TEST(LSwitcherSound, TheSoundFadesInAStraightLineWhateverThePictureDoes) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -8000});
    b.sayLong({4000, 20000});
    for (const char* type : {"fade", "wipe_lr", "squeeze_tb", "dip", "cut", "no type"}) {
        stepped.switcher.setTransitionType(type);
        const std::vector<std::pair<float, Level>> curve = {{0.0F, {10000, -8000}},
                                                            {0.25F, {8500, -1000}},
                                                            {0.5F, {7000, 6000}},
                                                            {0.75F, {5500, 13000}},
                                                            {1.0F, {4000, 20000}}};
        for (const auto& [position, level] : curve) {
            stepped.switcher.setTransition(position);
            EXPECT_EQ(stepped.level(), level) << type << " at " << position;
        }
    }
}

TEST(LSwitcherSound, GainsArePercentAndFadeIntoEachOther) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({1000, 2000});
    stepped.switcher.setProgAudioGain(50);
    EXPECT_EQ(stepped.level(), (Level{5000, -5000}));
    stepped.switcher.setPrevAudioGain(25);
    EXPECT_EQ(stepped.level(), (Level{5250, -4500}));
    stepped.switcher.setTransition(0.25F); // 43.75 and 31.25 percent
    EXPECT_EQ(stepped.level(), (Level{4375 + 312, -4375 + 625}));
    stepped.switcher.setTransition(1.0F);
    EXPECT_EQ(stepped.level(), (Level{2500 + 500, -2500 + 1000}));
    stepped.switcher.setTransition(0.0F);
    stepped.switcher.setPrevAudioGain(0);
    stepped.switcher.setProgAudioGain(300);
    EXPECT_EQ(stepped.level(), (Level{30000, -30000}));
}

TEST(LSwitcherSound, AVolumeOfNothingAndBelowIsNotHeard) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    stepped.switcher.setProgAudioGain(0);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setProgAudioGain(-100);
    EXPECT_EQ(stepped.level(), silence);
    // -25 and 75 percent make 50, of the layer that goes; the other has -50.
    stepped.switcher.setPrevAudioGain(100);
    stepped.switcher.setTransition(0.75F);
    EXPECT_EQ(stepped.level(), (Level{5000, 5000}));
}

TEST(LSwitcherSound, GainsOfAnySizeDoNoHarm) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({2000, 2000});
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int lowest = std::numeric_limits<int>::min();
    stepped.switcher.setProgAudioGain(largest);
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    stepped.switcher.setProps("audioGain", std::to_string(largest));
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    stepped.switcher.setProps("audioGain", std::to_string(lowest));
    EXPECT_EQ(stepped.level(), (Level{-32768, 32767}));
    stepped.switcher.setProgAudioGain(lowest);
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, TheTypeStingerChangesTheSoundAtTheMiddle) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    stepped.switcher.setTransitionType("stinger");
    stepped.switcher.setPrevAudioGain(50);
    const std::vector<std::pair<float, int>> curve = {{0.0F, 11000}, {0.3F, 11000}, {0.49F, 11000},
                                                      {0.5F, 7000},  {0.8F, 7000},  {1.0F, 7000}};
    for (const auto& [position, level] : curve) {
        stepped.switcher.setTransition(position);
        EXPECT_EQ(stepped.level(), (Level{level, level})) << position;
    }
}

TEST(LSwitcherSound, ACutTakesTheSoundAlong) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
    EXPECT_EQ(stepped.stats().peakA, 2000.0F / 32768.0F);
    EXPECT_EQ(stepped.stats().peakB, 10000.0F / 32768.0F);
    stepped.switcher.setTransition(1.0F);
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
}

TEST(LSwitcherSound, AnAutomaticTransitionEndsWithTheSoundOfTheOther) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    ASSERT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setAutoTransition(1.0);
    EXPECT_TRUE(test::waitUntil([&] {
        return stepped.switcher.getCurrentPreviewSource() == &a &&
               stepped.stats().activeSource == "SubA";
    }));
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
}

TEST(LSwitcherSound, FullScaleIsTheLimit) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setPrevAudioGain(100);
    a.sayLong({30000, -30000});
    b.sayLong({20000, -20000});
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    EXPECT_EQ(stepped.stats().masterPeak, 1.0F);
}

TEST(LSwitcherSound, EachShareIsHeldWithinFullScaleTheFirstLayersFirst) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setProgAudioGain(200);
    stepped.switcher.setPrevAudioGain(100);
    a.sayLong({30000, -30000});
    b.sayLong({-20000, 20000});
    EXPECT_EQ(stepped.level(), (Level{32767 - 20000, -32768 + 20000}));
}

// ------------------------------------------------------------------------------ what is due when

TEST(LSwitcherSound, SoundIsTakenUpToAFiftiethOfASecondAndMoreAheadOfThePicture) {
    struct Case {
        double seconds;
        bool isDue;
    };
    for (const Case& each : {Case{0.0, true}, Case{10.0, true}, Case{10.049, true},
                             Case{10.051, false}, Case{11.0, false}}) {
        Speaker source;
        SteppedSwitcher stepped;
        stepped.switcher.setProgram(&source);
        source.show(10.0);
        source.say(block, {1000, 1000}, each.seconds);
        EXPECT_EQ(stepped.level(), each.isDue ? (Level{1000, 1000}) : silence) << each.seconds;
        // It is not lost, and comes when the pictures have come so far.
        source.show(11.0);
        EXPECT_EQ(stepped.level(), each.isDue ? silence : (Level{1000, 1000})) << each.seconds;
    }
}

TEST(LSwitcherSound, WithoutAPictureSoundIsDueByATimeOfZero) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.say(block, {1000, 1000}, 0.04);
    source.say(block, {1000, 1000}, 0.06);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.picture, nullptr);
}

TEST(LSwitcherSound, WhatIsLeftOfABlockHasATimeOfItsOwn) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(5 * block, {1000, 1000}, 1.001);
    for (int i = 0; i < 3; ++i) // at 1.001, 1.021 and 1.041
        EXPECT_EQ(stepped.level(), (Level{1000, 1000})) << i;
    EXPECT_EQ(stepped.level(), silence);
    source.show(1.02);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(stepped.level(), silence);
    source.show(1.04);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    source.show(5.0);
    EXPECT_EQ(stepped.level(), silence) << "it is used up";
}

TEST(LSwitcherSound, BlocksOfAnyLengthFollowEachOtherWithoutAGap) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    int next = 1;
    for (const int samples : {1, 959, 961, 700, 1300, 3, 2881, 960, 17, 858}) {
        source.count(samples, next);
        next += samples;
    }
    ASSERT_EQ((next - 1) % block, 0);
    std::vector<std::int16_t> heard;
    for (int i = 0; i < (next - 1) / block; ++i) {
        const std::vector<std::int16_t> samples = stepped.samples();
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    ASSERT_EQ(heard.size(), static_cast<std::size_t>(next - 1) * 2);
    for (int i = 1; i < next; ++i) {
        ASSERT_EQ(heard.at(static_cast<std::size_t>(i) * 2 - 2), i);
        ASSERT_EQ(heard.at(static_cast<std::size_t>(i) * 2 - 1), -i);
    }
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, WhatIsMissingAtTheEndOfABlockIsSilent) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(500, {1000, 1000}, 1.0);
    source.say(500, {1000, 1000}, 1.06); // not due yet
    EXPECT_EQ(pairsAhead(stepped.samples(), {1000, 1000}), 500);
    source.show(1.02);
    EXPECT_EQ(pairsAhead(stepped.samples(), {1000, 1000}), 500);
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ThePictureOfALayerThatIsNotSeenTellsWhatIsDueAllTheSame) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setPrevAudioGain(100);
    a.show(0.0);
    b.show(5.0);
    b.say(block, {1000, 1000}, 5.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    b.say(block, {1000, 1000}, 5.1);
    EXPECT_EQ(stepped.level(), silence);
    b.show(5.1);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherSound, SoundOfALayerThatIsNotHeardIsTakenToo) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    b.count(3 * block);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.samples().front(), 2 * block + 1);
}

TEST(LSwitcherSound, SoundOfAnotherRateOrFormIsConverted) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    stepped.setRate(44100);
    source.sayLong({10000, -10000}, 48000);
    EXPECT_EQ(stepped.samples().size(), 2U * 882);
    const std::vector<std::int16_t> samples = stepped.samples(); // the filter has settled
    ASSERT_EQ(samples.size(), 2U * 882);
    for (std::size_t k = 0; k < samples.size(); ++k)
        ASSERT_NEAR(samples[k], k % 2 == 0 ? 10000 : -10000, 2) << k;
}

// ------------------------------------------------------------------------------------ the meters

TEST(LSwitcherSound, TheMetersOfTheLayersStandBeforeTheGainsTheMastersBehind) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({8192, -16384});
    b.sayLong({-4096, 2048});
    stepped.switcher.setProgAudioGain(50);
    stepped.switcher.setMasterGain(50);
    EXPECT_EQ(stepped.level(), (Level{2048, -4096}));
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().peakB, 0.125F) << "not heard, but there";
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
    EXPECT_EQ(stepped.switcher.peaks(), (Level{2048, 4096}));
    stepped.switcher.setMasterMute(true);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.0F);
    EXPECT_EQ(stepped.switcher.peaks(), silence);
}

TEST(LSwitcherSound, ALayerThatFallsSilentOrGoesHasNoPeak) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.show(1.0);
    a.say(block, {-32768, 0}, 0.0);
    b.sayLong({0, 16384});
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 1.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.5F);
    stepped.switcher.setPreview(nullptr);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.0F);
}

TEST(LSwitcherSound, ThePeakOfALayerIsItsLoudestSampleTheObjectsEveryFourth) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(5, {0, 0}, 0.0);
    source.say(1, {16384, 0}, 0.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.5F);
    EXPECT_EQ(stepped.switcher.peaks(), silence) << "between two that are looked at";
}

// -------------------------------------------------------------------------------- the master gain

TEST(LSwitcherSound, TheMasterGainIsHeldWithinTwoHundredButForOneKey) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, -1000});
    const auto left = [&] { return stepped.level().value_or(Level{-1, -1}).left; };
    for (const auto& [percent, expected] :
         {std::pair{50, 500}, std::pair{200, 2000}, std::pair{201, 2000}, std::pair{100000, 2000},
          std::pair{0, 0}, std::pair{-1, 0}, std::pair{100, 1000}}) {
        stepped.switcher.setMasterGain(percent);
        EXPECT_EQ(left(), expected) << percent;
        for (const char* key : {"masterGain", "extAudioGain"}) {
            stepped.switcher.setMasterGain(77);
            stepped.switcher.setProps(key, std::to_string(percent));
            EXPECT_EQ(left(), expected) << key << ' ' << percent;
        }
    }
    for (const auto& [percent, expected] : {std::pair{50, 500}, std::pair{201, 2010},
                                            std::pair{1000, 10000}, std::pair{-100, -1000}}) {
        stepped.switcher.setProps("audioGain", std::to_string(percent));
        EXPECT_EQ(left(), expected) << percent;
    }
}

TEST(LSwitcherSound, EveryWayToMuteIsTheSameMute) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, -1000});
    const Level sound{1000, -1000};
    for (const char* key : {"masterMute", "extAudioMute"}) {
        for (const char* value : {"true", "1"}) {
            stepped.switcher.setProps(key, value);
            EXPECT_EQ(stepped.level(), silence) << key << ' ' << value;
            stepped.switcher.setMasterMute(false);
            EXPECT_EQ(stepped.level(), sound) << key << ' ' << value;
        }
        for (const char* value : {"false", "0", "", "TRUE", "yes", "2", " 1"}) {
            stepped.switcher.setMasterMute(true);
            EXPECT_EQ(stepped.level(), silence);
            stepped.switcher.setProps(key, value);
            EXPECT_EQ(stepped.level(), sound) << key << ' ' << value;
        }
    }
}

// -------------------------------------------------------------------------------- external sound

namespace {

// A switcher with both layers and the external source in use; the layers are at full scale, so that
// a trace of them would be heard.
struct ExternalScene {
    Speaker a;
    Speaker b;
    Speaker outside;
    SteppedSwitcher stepped;

    ExternalScene() {
        stepped.switcher.setProgram(&a);
        stepped.switcher.setPreview(&b);
        stepped.switcher.setPrevAudioGain(100);
        stepped.switcher.setExtAudioObject(&outside);
    }

    // External sound on; only what comes from now on is heard.
    void turnOn() {
        stepped.switcher.setExtAudio(true);
        a.sayLong({16384, 16384});
        b.sayLong({8192, 8192});
    }
};

} // namespace

TEST(LSwitcherSound, ExternalSoundIsHeardInsteadOfTheLayers) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    EXPECT_EQ(stepped.level(), silence);
    scene.outside.say(2 * block, {1000, -2000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, -2000}));
    for (const float position : {0.3F, 0.7F}) {
        stepped.switcher.setTransition(position);
        EXPECT_EQ(stepped.level(), position < 0.5F ? (Level{1000, -2000}) : silence);
    }
    scene.outside.count(block);
    const std::vector<std::int16_t> samples = stepped.samples();
    ASSERT_EQ(samples.size(), 2U * block);
    for (int i = 0; i < block; ++i)
        ASSERT_EQ(samples.at(static_cast<std::size_t>(i) * 2), i + 1) << "as it is at this rate";
    stepped.switcher.setExtAudio(false);
    stepped.switcher.setTransition(0.0F);
    scene.a.sayLong({16384, 16384});
    scene.outside.say(block, {1, 1}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{16384, 16384}));
}

TEST(LSwitcherSound, WithExternalSoundOnlyThePreviewsMeterMoves) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    scene.outside.say(3 * block, {4096, 4096}, 0.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.25F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
    stepped.switcher.setTransition(0.5F);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().peakB, 0.0F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
}

TEST(LSwitcherSound, TheLayersSoundIsUsedUpBehindTheExternal) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    scene.a.sayLong({1, 1});
    ASSERT_NE(stepped.tick(), nullptr);
    const double before = stepped.stats().audioDelay;
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, before - 20.0);
}

TEST(LSwitcherSound, ExternalSoundIsTakenAtItsOwnRateAndStretchedToTheBlock) {
    struct Case {
        int rate;
        double fps;
        int pairs;    // of the block
        int external; // pairs taken
    };
    for (const Case& each :
         {Case{44100, 50.0, 882, 960}, Case{96000, 50.0, 1920, 960}, Case{44100, 29.97, 1471, 1601},
          Case{8000, 25.0, 320, 1920}, Case{48000, 25.0, 1920, 1920}}) {
        Speaker program;
        Speaker outside;
        SteppedSwitcher stepped(each.fps);
        stepped.setRate(each.rate);
        stepped.switcher.setProgram(&program);
        program.show(1000.0);
        stepped.switcher.setExtAudio(true);
        stepped.switcher.setExtAudioObject(&outside);
        outside.count(2 * each.external);
        for (int first : {1, 1 + each.external}) {
            const std::vector<std::int16_t> heard = stepped.samples();
            ASSERT_EQ(heard.size(), static_cast<std::size_t>(each.pairs) * 2) << each.rate;
            for (std::size_t i = 0; i < heard.size(); ++i) {
                const auto from =
                    static_cast<int>(static_cast<double>(i) * each.external / each.pairs);
                const int value = first + from / 2;
                ASSERT_EQ(heard[i], from % 2 == 0 ? value : -value) << each.rate << " at " << i;
            }
        }
        EXPECT_EQ(stepped.level(), silence);
    }
}

TEST(LSwitcherSound, ExternalSoundIsDueByTheProgramsPicture) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    scene.a.show(10.0);
    scene.b.show(20.0);
    scene.outside.say(block, {1, 1}, 10.049);
    scene.outside.say(block, {2, 2}, 10.051);
    scene.outside.say(block, {3, 3}, 20.049);
    scene.outside.say(block, {4, 4}, 20.051);
    EXPECT_EQ(stepped.level(), (Level{1, 1}));
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2, 2}));
    EXPECT_EQ(stepped.level(), (Level{3, 3}));
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setProgram(nullptr);
    scene.outside.say(block, {5, 5}, 0.0);
    EXPECT_EQ(stepped.level(), silence) << "behind what is not due";
    stepped.switcher.flushExtAudio();
    scene.outside.say(block, {6, 6}, 0.04);
    EXPECT_EQ(stepped.level(), (Level{6, 6})) << "without a program by a time of zero";
}

TEST(LSwitcherSound, ExternalSoundHasTheMasterGainOnlyAndWaitsWhileMuted) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    stepped.switcher.setProgAudioGain(0);
    stepped.switcher.setPrevAudioGain(0);
    scene.outside.say(4 * block, {20000, -1001}, 0.0);
    stepped.switcher.setMasterGain(50);
    EXPECT_EQ(stepped.level(), (Level{10000, -500}));
    stepped.switcher.setMasterGain(200);
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    stepped.switcher.setMasterMute(true);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setMasterMute(false);
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ExternalSoundWaitsWhileItIsOff) {
    ExternalScene scene;
    scene.a.show(1000.0);
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(scene.stepped.level(), silence);
    scene.stepped.switcher.setExtAudio(true); // what waits is of long ago
    EXPECT_EQ(scene.stepped.level(), silence);
}

TEST(LSwitcherSound, SwitchingToExternalSoundAndBackDropsAllThatWaits) {
    for (const bool isOn : {false, true}) {
        ExternalScene scene;
        SteppedSwitcher& stepped = scene.stepped;
        stepped.switcher.setExtAudio(isOn);
        scene.a.sayLong({1000, 1000});
        scene.b.sayLong({500, 500});
        scene.outside.say(10 * block, {3000, 3000}, 0.0);
        ASSERT_NE(stepped.tick(), nullptr);
        // To what it is: nothing is dropped.
        stepped.switcher.setExtAudio(isOn);
        stepped.switcher.setProps("extAudio", isOn ? "1" : "0");
        const double before = stepped.stats().audioDelay;
        EXPECT_EQ(stepped.level(), isOn ? (Level{3000, 3000}) : (Level{1500, 1500}));
        EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, before - 20.0);
        // To something else: all of it is.
        stepped.switcher.setProps("extAudio", isOn ? "false" : "true");
        EXPECT_EQ(stepped.level(), silence);
        EXPECT_EQ(stepped.stats().audioDelay, 0.0);
        EXPECT_EQ(stepped.stats().peakA, 0.0F);
        EXPECT_EQ(stepped.stats().peakB, 0.0F);
        stepped.switcher.setExtAudio(true);
        EXPECT_EQ(stepped.level(), silence) << "nothing of the external source either";
        // The pictures stay where they are.
        EXPECT_NE(stepped.picture, nullptr);
    }
}

TEST(LSwitcherSound, FlushingTheExternalSoundDropsThatAlone) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.flushExtAudio();
    stepped.switcher.setExtAudio(true);
    scene.b.sayLong({8192, 8192});
    scene.outside.say(10 * block, {3000, 3000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{3000, 3000}));
    stepped.switcher.flushExtAudio();
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().peakB, 0.25F);
    scene.outside.say(block, {4000, 4000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{4000, 4000}));
}

TEST(LSwitcherSound, TheExternalSourceIsReplacedAndTakenAway) {
    PulledSource other;
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    EXPECT_EQ(scene.outside.sinkCount(), 1U);
    stepped.switcher.setExtAudioObject(&scene.outside);
    EXPECT_EQ(scene.outside.sinkCount(), 1U);
    stepped.switcher.setExtAudioObject(&other);
    EXPECT_EQ(scene.outside.sinkCount(), 0U);
    EXPECT_EQ(other.sinkCount(), 1U);
    EXPECT_EQ(other.consumers, 0) << "of its pictures nothing is wanted";
    other.distributeAudioFrame(test::plainSound(block, 700, 700).get());
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{700, 700}));
    EXPECT_EQ(other.renders, 0);
    stepped.switcher.setExtAudioObject(nullptr);
    EXPECT_EQ(other.sinkCount(), 0U);
    stepped.switcher.setExtAudioObject(nullptr);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setExtAudioObject(&stepped.switcher); // never its own
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setExtAudioObject(&scene.outside);
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherSound, ExternalSoundThatWasNeverGivenIsSilence) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.flushExtAudio();
    stepped.switcher.setProgram(&source);
    stepped.switcher.setExtAudio(true);
    source.sayLong({1000, 1000});
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ASwitcherThatGoesLetsGoOfItsExternalSource) {
    WatchedSource outside;
    {
        LSwitcher switcher;
        switcher.setExtAudioObject(&outside);
        EXPECT_EQ(outside.sinkCount(), 1U);
    }
    EXPECT_EQ(outside.sinkCount(), 0U);
}

// ------------------------------------------------------------------------------------ the format

TEST(LSwitcherSound, TheModeOfTheAudioFormatSetsRateAndChannels) {
    SteppedSwitcher stepped;
    const auto stored = [&](const audioFormatProps& format) {
        stepped.switcher.setAudioFormat(format);
        audioFormatProps read;
        stepped.switcher.getAudioFormat(read);
        return read;
    };
    const audioFormatProps custom = stored({0, 24, 12345, 5});
    EXPECT_EQ(custom.mode, 0U);
    EXPECT_EQ(custom.bitsPerSample, 24);
    EXPECT_EQ(custom.sampleRate, 12345);
    EXPECT_EQ(custom.channels, 5);
    const audioFormatProps native = stored({1, 24, 22050, 1});
    EXPECT_EQ(native.sampleRate, 22050);
    const audioFormatProps row = stored({26, 16, 1, 1});
    EXPECT_EQ(row.mode, 26U);
    EXPECT_EQ(row.sampleRate, 192000);
    EXPECT_EQ(row.channels, 8);
    EXPECT_EQ(row.bitsPerSample, 16) << "the bits stay";
    quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->sample_rate, 192000);
    EXPECT_EQ(sound->ch_layout.nb_channels, 2) << "stereo it is, whatever is stored";
    EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
    const audioFormatProps beyond = stored({38, 16, 44100, 2});
    EXPECT_EQ(beyond.sampleRate, 0);
    EXPECT_EQ(beyond.channels, 0);
    sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->sample_rate, 48000);
}

TEST(LSwitcherSound, AnotherRateDropsWhatWaitsOfTheLayersTheSameOneNothing) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({10000, -10000});
    stepped.setRate(48000);
    stepped.setRate(0); // means the same
    EXPECT_EQ(stepped.level(), (Level{10000, -10000}));
    stepped.setRate(44100);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().audioDelay, 0.0);
    a.sayLong({5000, -5000}, 44100);
    const quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 882);
    EXPECT_EQ(steadyLevel(test::samplesOf(*sound)), (Level{5000, -5000})) << "at the new rate";
}

// ---------------------------------------------------------------------------------- the read-outs

TEST(LSwitcherSound, TheDelayIsOfTheLayerOfWhichMoreWaits) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.show(1.0);
    b.show(1.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().audioDelay, 0.0);
    a.say(block + 480, {1, 1}, 1.0);
    b.say(block + 4800, {1, 1}, 5.0); // not due
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 120.0);
    stepped.switcher.setPreview(nullptr);
    a.say(960, {1, 1}, 5.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 20.0);
    stepped.setRate(44100);
    a.say(882 * 2, {1, 1}, 5.0, 44100);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 40.0);
}

TEST(LSwitcherSound, TheDriftIsWhatTheBlocksAreShorterThanTheirPictures) {
    SteppedSwitcher stepped;
    const auto driftOf = [&](int ticks) {
        const double before = stepped.stats().drift;
        for (int i = 0; i < ticks; ++i)
            EXPECT_NE(stepped.tick(), nullptr);
        return stepped.stats().drift - before;
    };
    EXPECT_NEAR(driftOf(20), 0.0, 1.0e-6);
    stepped.switcher.setVideoFormat(customVideo(width, height, 29.97, 1));
    EXPECT_NEAR(driftOf(100), 100.0 * (1000.0 / 29.97 - 1601.0 / 48.0), 1.0e-6);
    stepped.setRate(44100);
    EXPECT_NEAR(driftOf(100), 100.0 * (1000.0 / 29.97 - 1471.0 / 44.1), 1.0e-6);
    stepped.switcher.setVideoFormat(customVideo(width, height, 0.0, 1));
    EXPECT_NEAR(driftOf(10), 0.0, 1.0e-6) << "no rate is fifty";
}

// -------------------------------------------------------------------------------- the properties

namespace {

std::string timecodeOn(const quol::FramePtr& picture) {
    if (!picture) return "no picture";
    const AVDictionaryEntry* const entry = av_dict_get(picture->metadata, "timecode", nullptr, 0);
    return entry != nullptr ? entry->value : "none";
}

} // namespace

TEST(LSwitcherProps, PicturesCarryTheirTimeCodeWhenTold) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    const auto stamped = [&] {
        stepped.tick();
        return timecodeOn(stepped.picture);
    };
    EXPECT_EQ(stamped(), "none");
    for (const char* value : {"true", "1"}) {
        stepped.switcher.setProps("timecode", value);
        const std::string expected = stepped.switcher.getTimeCode();
        EXPECT_EQ(stamped(), expected) << value;
        stepped.switcher.setProps("timecode", "on");
        EXPECT_EQ(stamped(), "none");
    }
    stepped.switcher.setProps("timecode", "true");
    while (stepped.stats().frameCount < 100)
        stepped.tick();
    EXPECT_EQ(stamped(), "00:00:02:00");
    EXPECT_EQ(stepped.switcher.getTimeCode(), "00:00:02:01");
    EXPECT_EQ(stepped.stats().timecode, "00:00:02:01");
    stepped.switcher.setVideoFormat(customVideo(width, height, 0.0, 1));
    EXPECT_EQ(stepped.switcher.getTimeCode(), "00:00:04:01") << "25 where no rate is known";
    EXPECT_EQ(stepped.stats().timecode, "00:00:02:01") << "50 here";
}

TEST(LSwitcherProps, TimeCodesAreOfTheCounterOrTheWall) {
    LSwitcher switcher;
    EXPECT_EQ(switcher.getTimecodeString(0, 25.0), "00:00:00:00");
    EXPECT_EQ(switcher.getTimecodeString(25 * (3600 * 23 + 60 * 59 + 59) + 24, 25.0),
              "23:59:59:24");
    EXPECT_EQ(switcher.getTimecodeString(25LL * 3600 * 24, 25.0), "00:00:00:00");
    EXPECT_EQ(switcher.getTimecodeString(59, 29.97), "00:00:01:01") << "59 modulo 29";
    EXPECT_EQ(switcher.getTimecodeString(30, 0.0), "00:00:01:05");
    EXPECT_EQ(switcher.getTimecodeString(30, -1.0), "00:00:01:05");
    switcher.setProps("timecodeSource", "0");
    // The frames are still those of the counter.
    const std::string wall = switcher.getTimecodeString(30, 25.0);
    EXPECT_EQ(wall.size(), 11U);
    EXPECT_EQ(wall.substr(9), "05");
    // Two hours far apart give one time of day, unless a second has passed between.
    EXPECT_TRUE(test::waitUntil([&] {
        return switcher.getTimecodeString(0, 25.0) ==
               switcher.getTimecodeString(25LL * 3600 * 5, 25.0);
    }));
    for (const char* other : {"1", "2", "-1", "7"}) {
        switcher.setProps("timecodeSource", "0");
        switcher.setProps("timecodeSource", other);
        EXPECT_EQ(switcher.getTimecodeString(30, 25.0), "00:00:01:05") << other;
    }
}

namespace {

// A picture of another shape than the canvas: left half dark, right half bright.
quol::FramePtr halves(int w, int h) {
    quol::FramePtr picture = test::plainPicture(w, h, {200, 128, 128});
    for (int y = 0; y < h; ++y)
        std::fill_n(picture->data[0] + static_cast<std::ptrdiff_t>(y) * picture->linesize[0], w / 2,
                    std::uint8_t{40});
    picture->time_base = {1, 25};
    picture->pts = 0;
    return picture;
}

int lumaOf(const quol::FramePtr& picture, int x, int y) {
    return test::levelsAt(picture.get(), x, y).y;
}

// Different levels in the middle row.
std::size_t levelsAcross(const quol::FramePtr& picture) {
    std::set<int> levels;
    for (int x = 0; picture && x < picture->width; ++x)
        levels.insert(lumaOf(picture, x, height / 2));
    return levels.size();
}

} // namespace

TEST(LSwitcherProps, TheScaleModeSaysWhereThePictureLies) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    const quol::FramePtr narrow = halves(24, 48);
    const auto show = [&](const char* mode) {
        stepped.switcher.setProps("scale_mode", mode);
        source.distributeVideoFrame(narrow.get());
        stepped.tick();
    };
    for (const char* stretched : {"0", "3", "-1"}) {
        show("1"); // bars at both sides
        EXPECT_EQ(lumaOf(stepped.picture, 2, 24), 0);
        EXPECT_EQ(lumaOf(stepped.picture, 61, 24), 0);
        EXPECT_NEAR(lumaOf(stepped.picture, 22, 24), 40, 12);
        show(stretched);
        EXPECT_NEAR(lumaOf(stepped.picture, 2, 24), 40, 2) << stretched;
        EXPECT_NEAR(lumaOf(stepped.picture, 61, 24), 200, 2) << stretched;
    }
}

TEST(LSwitcherProps, TheScalingQualitySaysHowEdgesLook) {
    // The nearest sample makes no level that was not there. The others each make different ones.
    const quol::FramePtr small = halves(16, 48);
    std::set<std::vector<int>> looks;
    for (const char* quality : {"1", "2", "4", "0", "3", "-5"}) {
        Speaker source;
        SteppedSwitcher stepped;
        stepped.switcher.setProps("scaling_quality", quality);
        stepped.switcher.setProgram(&source);
        source.distributeVideoFrame(small.get());
        stepped.tick();
        ASSERT_NE(stepped.picture, nullptr);
        if (std::string(quality) == "1") {
            EXPECT_EQ(levelsAcross(stepped.picture), 2U);
        } else {
            EXPECT_GT(levelsAcross(stepped.picture), 2U) << quality;
        }
        std::vector<int> row;
        for (int x = 0; x < width; ++x)
            row.push_back(lumaOf(stepped.picture, x, height / 2));
        looks.insert(row);
    }
    EXPECT_EQ(looks.size(), 4U) << "1, 2, 4, and all others alike";
}

TEST(LSwitcherProps, UnknownKeysAreIgnored) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, 1000});
    for (const char* key : {"", "timeCode", "mastermute", "MasterMute", "masterGain ", " audioGain",
                            "masterVolume", "no such key"}) {
        for (const char* value : {"1", "true", "0", "no number", ""})
            EXPECT_NO_THROW(stepped.switcher.setProps(key, value)) << key;
    }
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(timecodeOn(stepped.picture), "none");
}

TEST(LSwitcherProps, ANumberThatIsNoneRaisesAndChangesNothing) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    stepped.switcher.setProps("scale_mode", "1");
    stepped.switcher.setProps("scaling_quality", "1");
    stepped.switcher.setProps("masterGain", "150");
    const std::string code = stepped.switcher.getTimecodeString(77, 25.0);
    for (const char* key : {"timecodeSource", "scaling_quality", "scale_mode", "audioGain",
                            "masterGain", "extAudioGain"}) {
        for (const char* value : {"", " ", "x", "x1", "-", "+", "true", ".5"})
            EXPECT_THROW(stepped.switcher.setProps(key, value), std::invalid_argument)
                << key << ' ' << value;
        for (const char* value : {"2147483648", "-2147483649", "99999999999999999999"})
            EXPECT_THROW(stepped.switcher.setProps(key, value), std::out_of_range)
                << key << ' ' << value;
    }
    const quol::FramePtr narrow = halves(24, 48);
    source.distributeVideoFrame(narrow.get());
    source.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1500, 1500}));
    EXPECT_EQ(lumaOf(stepped.picture, 2, 24), 0) << "still with bars";
    EXPECT_EQ(levelsAcross(stepped.picture), 3U) << "still by the nearest sample";
    EXPECT_EQ(stepped.switcher.getTimecodeString(77, 25.0), code);
    // No lock has stayed behind.
    std::thread([&] { stepped.switcher.setProps("masterGain", "100"); }).join();
    source.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherProps, WhatFollowsANumberDoesNotCount) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, 1000});
    for (const char* value : {"50", " 50", "+50", "50%", "50.9", "050"}) {
        stepped.switcher.setProps("masterGain", "100");
        stepped.switcher.setProps("masterGain", value);
        EXPECT_EQ(stepped.level(), (Level{500, 500})) << value;
    }
}
