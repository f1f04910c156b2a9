// The sound that a mixer makes of its layers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RunningMixer.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

using test::customVideo;
using test::grey;
using test::HandSource;
using test::plainPicture;
using test::plainSound;
using test::PulledSource;
using test::RunningMixer;
using namespace std::chrono_literals;

constexpr std::size_t all = 100000; // blocks to keep: more than any test waits for

// All samples of the left (0) or right (1) channel of the blocks in their order.
std::vector<int> channelOf(const std::vector<quol::FramePtr>& blocks, std::size_t channel) {
    std::vector<int> values;
    for (const quol::FramePtr& block : blocks) {
        const std::vector<std::int16_t> samples = test::samplesOf(*block);
        for (std::size_t i = channel; i < samples.size(); i += 2)
            values.push_back(samples[i]);
    }
    return values;
}

// A mixer that keeps all it sends, with one layer "a" that is heard.
class Heard : public RunningMixer {
public:
    // `pictureTime` in seconds is that of the only picture of the source; sound is taken by it.
    Heard(LObject& source, double pictureTime, double fps = 50.0)
        : RunningMixer(customVideo(64, 48, fps, 1), all) {
        mixer.addLayer("a", &source)->audioEnabled = true;
        EXPECT_TRUE(showAt(source, pictureTime));
    }

    bool showAt(LObject& source, double pictureTime) {
        const quol::FramePtr picture = plainPicture(64, 48, grey);
        picture->time_base = {1, 1000};
        picture->pts = std::llround(pictureTime * 1000);
        return give("a", source, picture);
    }

    // What was heard, silence left out.
    std::vector<int> heard(std::size_t channel = 0) {
        std::vector<int> values = channelOf(sink.keptSounds(), channel);
        values.erase(std::remove(values.begin(), values.end(), 0), values.end());
        return values;
    }

    // The same, once that many samples came; what comes in the next blocks is with it.
    std::vector<int> heardAfter(std::size_t count) {
        EXPECT_TRUE(test::waitUntil([&] { return heard().size() >= count; }));
        EXPECT_TRUE(sink.waitForSounds(sink.soundCount() + 4));
        return heard();
    }
};

// The level that is heard of a layer's sound of `level`, when the block has any; 0 without.
int levelHeard(Heard& mixer, LObject& source, std::int16_t level) {
    mixer.sink.clear();
    const quol::FramePtr sound = plainSound(960, level, level);
    source.distributeAudioFrame(sound.get());
    EXPECT_TRUE(mixer.sink.waitForSounds(4));
    const std::vector<int> values = mixer.heard();
    const std::set<int> levels(values.begin(), values.end());
    EXPECT_LE(levels.size(), 1U);
    return levels.empty() ? 0 : *levels.begin();
}

} // namespace

// ------------------------------------------------------------------------- blocks and their time

TEST(LMixerSound, TheBlockLengthIsARatesWorthOf48kHzCutToAWholeNumber) {
    const std::vector<std::pair<double, int>> rates = {{50.0, 960},
                                                       {25.0, 1920},
                                                       {30000.0 / 1001.0, 1601},
                                                       {24000.0 / 1001.0, 2001},
                                                       {60000.0 / 1001.0, 800},
                                                       {60.0, 800},
                                                       {24.0, 2000},
                                                       {12.5, 3840},
                                                       {0.0, 960},
                                                       {-1.0, 960},
                                                       {1000.0, 48}};
    RunningMixer running;
    for (const auto& [rate, samples] : rates) {
        running.mixer.setVideoFormat(customVideo(16, 16, rate, 1));
        const quol::FramePtr sound = running.nextSound();
        ASSERT_NE(sound, nullptr) << rate;
        EXPECT_EQ(sound->nb_samples, samples) << rate;
        EXPECT_EQ(sound->sample_rate, 48000);
        EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(sound->ch_layout.nb_channels, 2);
    }
}

TEST(LMixerSound, At2997TheBlockHas1601Samples) {
    RunningMixer running(customVideo(64, 48, 30000.0 / 1001.0, 1));
    EXPECT_EQ(running.nextSound()->nb_samples, 1601);
}

TEST(LMixerSound, ABlockOfNoSampleIsOneOf960) {
    RunningMixer running(customVideo(16, 16, 100000.0, 99)); // faster than samples come
    EXPECT_EQ(running.nextSound()->nb_samples, 960);
}

TEST(LMixerSound, AtASlowRateABlockIsAsLongAsItsTick) {
    RunningMixer running(customVideo(16, 16, 0.8, 1));
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr sound = running.sink.latestSound();
        return sound && sound->nb_samples == 60000;
    }));
}

TEST(LMixerSound, TheTimeOfABlockIsThatOfItsTickByTheWholeRate) {
    for (const double rate : {50.0, 30000.0 / 1001.0, 24000.0 / 1001.0, 12.5}) {
        RunningMixer running(customVideo(64, 48, rate, 1), all);
        ASSERT_NE(running.nextSound(), nullptr);
        running.sink.clear();
        ASSERT_TRUE(running.sink.waitForSounds(6));
        const auto pictures = running.sink.keptPictures();
        const int base = static_cast<int>(rate);
        std::set<std::int64_t> times;
        for (const quol::FramePtr& picture : pictures)
            times.insert(av_rescale_q(picture->pts, {1, base}, {1, 48000}));
        std::size_t matched = 0;
        for (const quol::FramePtr& sound : running.sink.keptSounds()) {
            EXPECT_EQ(sound->time_base.num, 1);
            EXPECT_EQ(sound->time_base.den, 48000);
            matched += times.count(sound->pts);
        }
        // The first may be of a tick whose picture came before.
        EXPECT_GE(matched + 1, running.sink.keptSounds().size()) << rate;
    }
}

TEST(LMixerSound, EveryTickHasOneBlockBehindItsPicture) {
    class OrderSink : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* /*frame*/) override { order += 'v'; }
        void pushAudioFrame(AVFrame* frame) override {
            order += 'a';
            CollectingSink::pushAudioFrame(frame);
        }
        std::string order; // written by the mixer's thread, read when the sink is off
    } sink;
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    mixer.addSink(&sink);
    EXPECT_TRUE(sink.waitForSounds(20));
    mixer.removeSink(&sink);
    // Between the two of a tick the sink may have come or gone.
    const std::string ticks = sink.order.substr(sink.order.find('v'));
    for (std::size_t i = 0; i < ticks.size(); ++i)
        EXPECT_EQ(ticks[i], i % 2 == 0 ? 'v' : 'a') << i;
}

// ------------------------------------------------------------------------------ gain and clamp

TEST(LMixerSound, SoundOfALayerIsHeardSampleForSample) {
    HandSource source;
    Heard mixer(source, 0.0);
    const quol::FramePtr sound = plainSound(960, 0, 0);
    auto* samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
    std::vector<int> left;
    std::vector<int> right;
    for (int i = 0; i < 960; ++i) {
        left.push_back(i + 1);
        right.push_back(-i - 1);
        *samples++ = static_cast<std::int16_t>(i + 1);
        *samples++ = static_cast<std::int16_t>(-i - 1);
    }
    source.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(960), left);
    EXPECT_EQ(mixer.heard(1), right);
}

TEST(LMixerSound, TheGainIsInPercentAndProductsAreCutTowardsZero) {
    HandSource source;
    Heard mixer(source, 0.0);
    LLayerItem* const item = mixer.mixer.getLayer("a");
    for (const auto& [gain, level, expected] :
         {std::tuple{100, 1000, 1000}, std::tuple{50, 1001, 500}, std::tuple{50, -1001, -500},
          std::tuple{200, 1001, 2002}, std::tuple{1, 199, 1}, std::tuple{33, 100, 33},
          std::tuple{1000, 30, 300}}) {
        item->audioGain = gain;
        EXPECT_EQ(levelHeard(mixer, source, static_cast<std::int16_t>(level)), expected) << gain;
    }
}

TEST(LMixerSound, SumsAreClampedToFullScale) {
    HandSource source;
    Heard mixer(source, 0.0);
    LLayerItem* const item = mixer.mixer.getLayer("a");
    item->audioGain = 300;
    EXPECT_EQ(levelHeard(mixer, source, 20000), 32767);
    EXPECT_EQ(levelHeard(mixer, source, -20000), -32768);
    item->audioGain = std::numeric_limits<int>::max();
    EXPECT_EQ(levelHeard(mixer, source, 1), 32767);
    EXPECT_EQ(levelHeard(mixer, source, -1), -32768);
}

TEST(LMixerSound, LayersAreAddedInStackingOrderAndClampedAtEachStep) {
    HandSource loud;
    HandSource louder;
    HandSource opposite;
    RunningMixer running(customVideo(64, 48, 50, 1), all);
    running.mixer.addLayer("a", &loud, 1, 0, 0, 255, -1, -1, true, 100);
    running.mixer.addLayer("b", &louder, 2, 0, 0, 255, -1, -1, true, 100);
    LLayerItem* const item =
        running.mixer.addLayer("c", &opposite, 3, 0, 0, 255, -1, -1, true, 100);
    const auto loudest = [&] {
        // Long enough for blocks in which all three are heard.
        for (HandSource* source : {&loud, &louder}) {
            const quol::FramePtr sound = plainSound(960 * 3, 30000, 30000);
            source->distributeAudioFrame(sound.get());
        }
        const quol::FramePtr sound = plainSound(960 * 3, -10000, -10000);
        opposite.distributeAudioFrame(sound.get());
    };
    const auto hears = [&](int level) {
        return test::waitUntil([&] {
            running.sink.clear();
            loudest();
            running.sink.waitForSounds(8);
            const std::vector<int> values = channelOf(running.sink.keptSounds(), 0);
            return std::find(values.begin(), values.end(), level) != values.end();
        });
    };
    EXPECT_TRUE(hears(22767)); // 30000 + 30000 is 32767, and 10000 less
    item->zIndex = 0;          // first now: -10000 + 30000 + 30000
    EXPECT_TRUE(hears(32767));
}

TEST(LMixerSound, ALayerThatIsDisabledHiddenOrWithoutGainIsNotHeard) {
    HandSource source;
    Heard mixer(source, 0.0);
    LLayerItem* const item = mixer.mixer.getLayer("a");
    EXPECT_EQ(levelHeard(mixer, source, 1000), 1000);
    item->audioGain = 0;
    EXPECT_EQ(levelHeard(mixer, source, 1000), 0);
    item->audioGain = -100;
    EXPECT_EQ(levelHeard(mixer, source, 1000), 0);
    item->audioGain = 100;
    item->audioEnabled = false;
    EXPECT_EQ(levelHeard(mixer, source, 1000), 0);
    item->audioEnabled = true;
    item->visible = false;
    EXPECT_EQ(levelHeard(mixer, source, 1000), 0);
}

// Sound that waited would be heard late, and everything behind it too.
TEST(LMixerSound, SoundOfTheTimeALayerWasNotHeardIsGone) {
    for (const auto& [silence, hear] :
         std::vector<std::pair<std::function<void(LLayerItem&)>, std::function<void(LLayerItem&)>>>{
             {[](LLayerItem& layer) { layer.visible = false; },
              [](LLayerItem& layer) { layer.visible = true; }},
             {[](LLayerItem& layer) { layer.audioEnabled = false; },
              [](LLayerItem& layer) { layer.audioEnabled = true; }},
             {[](LLayerItem& layer) { layer.audioGain = 0; },
              [](LLayerItem& layer) { layer.audioGain = 100; }}}) {
        HandSource source;
        Heard mixer(source, 10.0);
        ASSERT_TRUE(mixer.mixer.editLayer("a", silence));
        source.distributeAudioFrame(plainSound(480, 500, 500).get());
        mixer.nextSound();
        mixer.nextSound();
        ASSERT_TRUE(mixer.mixer.editLayer("a", hear));
        source.distributeAudioFrame(plainSound(480, 700, 700).get());
        const std::vector<int> heard = mixer.heardAfter(480);
        EXPECT_EQ(heard, std::vector<int>(480, 700));
    }
}

TEST(LMixerSound, ASourceThatStopsIsSilenceAndHeardAgainWhenItIsThere) {
    HandSource source;
    Heard mixer(source, 10.0);
    const auto say = [&](int level) {
        source.distributeAudioFrame(plainSound(480, level, level).get());
    };
    say(500);
    EXPECT_EQ(mixer.heardAfter(480), std::vector<int>(480, 500));
    const std::size_t before = mixer.sink.soundCount();
    std::this_thread::sleep_for(1300ms); // longer than a picture counts as there
    EXPECT_GT(mixer.sink.soundCount(), before + 40);
    EXPECT_EQ(mixer.heard().size(), 480U);
    ASSERT_TRUE(mixer.showAt(source, 12.0));
    say(700);
    EXPECT_TRUE(test::waitUntil([&] { return mixer.heard().size() == 960; }));
    EXPECT_EQ(mixer.heard().back(), 700);
}

TEST(LMixerSound, ANewLayerIsNotHeard) {
    HandSource source;
    RunningMixer running(customVideo(64, 48, 50, 1), all);
    running.mixer.addLayer("a", &source);
    const quol::FramePtr sound = plainSound(960, 1000, 1000);
    for (int i = 0; i < 10; ++i)
        source.distributeAudioFrame(sound.get());
    ASSERT_TRUE(running.sink.waitForSounds(8));
    const std::vector<int> values = channelOf(running.sink.keptSounds(), 0);
    EXPECT_EQ(std::set<int>(values.begin(), values.end()), std::set<int>{0});
}

TEST(LMixerSound, AnImageHasNoSound) {
    RunningMixer running;
    running.mixer.addImage("i", test::mediaPath("cover.mp3"))->audioEnabled = true;
    const std::vector<std::int16_t> samples = test::samplesOf(*running.nextSound());
    EXPECT_EQ(std::set<std::int16_t>(samples.begin(), samples.end()), std::set<std::int16_t>{0});
}

TEST(LMixerSound, OfADownstreamKeyTheFillIsHeardOnceEnabledAndTheKeyNever) {
    HandSource fill;
    HandSource key;
    RunningMixer running(customVideo(64, 48, 50, 1), all);
    LLayerItem* const item = running.mixer.addDSK("a", &fill, &key);
    const quol::FramePtr ofFill = plainSound(960, 1000, 1000);
    const quol::FramePtr ofKey = plainSound(960, 50, 50);
    const auto levels = [&] {
        running.sink.clear();
        fill.distributeAudioFrame(ofFill.get());
        key.distributeAudioFrame(ofKey.get());
        EXPECT_TRUE(running.sink.waitForSounds(6));
        const std::vector<int> values = channelOf(running.sink.keptSounds(), 0);
        return std::set<int>(values.begin(), values.end());
    };
    EXPECT_EQ(levels(), std::set<int>{0});
    item->audioEnabled = true;
    const std::set<int> heard = levels();
    EXPECT_EQ(heard.count(1000), 1U);
    EXPECT_EQ(heard.count(50) + heard.count(1050), 0U);
}

// ---------------------------------------------------------------------------- which sound is due

TEST(LMixerSound, SoundMoreThan50MillisecondsAheadOfThePictureIsNotTaken) {
    HandSource source;
    Heard mixer(source, 10.0);
    const quol::FramePtr early = plainSound(480, 1000, 0, 48 * 10060);
    const quol::FramePtr behind = plainSound(480, 2000, 0, 48 * 10000);
    source.distributeAudioFrame(early.get());
    // Due by itself, but it stands behind one that is not.
    source.distributeAudioFrame(behind.get());
    ASSERT_TRUE(mixer.sink.waitForSounds(mixer.sink.soundCount() + 8));
    EXPECT_TRUE(mixer.heard().empty());
    // The picture that it belongs to comes nearer.
    ASSERT_TRUE(mixer.showAt(source, 10.02));
    std::vector<int> expected(480, 1000);
    expected.insert(expected.end(), 480, 2000);
    EXPECT_EQ(mixer.heardAfter(960), expected);
}

TEST(LMixerSound, SoundThatIs50MillisecondsAheadIsTaken) {
    HandSource source;
    Heard mixer(source, 0.0);
    const quol::FramePtr sound = plainSound(480, 1000, 0);
    sound->time_base = {1, 20};
    sound->pts = 1;
    source.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(480).size(), 480U);
}

TEST(LMixerSound, AChunkTakenInPartKeepsItsRestAndLosesNoSample) {
    HandSource source;
    Heard mixer(source, 1000.0); // all is due
    const quol::FramePtr sound = plainSound(2000, 0, 0);
    auto* samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
    std::vector<int> expected;
    for (int i = 0; i < 2000; ++i) {
        expected.push_back(i + 1);
        samples[static_cast<std::ptrdiff_t>(i) * 2] = static_cast<std::int16_t>(i + 1);
    }
    source.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(2000), expected);
    // Two whole blocks and the rest at the beginning of a third.
    std::vector<std::size_t> counts;
    for (const quol::FramePtr& block : mixer.sink.keptSounds()) {
        const std::vector<std::int16_t> samples = test::samplesOf(*block);
        const auto zeros = std::count(samples.begin(), samples.end(), 0);
        if (const auto count = samples.size() - static_cast<std::size_t>(zeros); count > 0)
            counts.push_back(count);
    }
    EXPECT_EQ(counts, (std::vector<std::size_t>{960, 960, 80}));
}

TEST(LMixerSound, TheTimeOfAChunkAdvancesWithWhatIsTakenOfIt) {
    HandSource source;
    Heard mixer(source, 10.0);
    const quol::FramePtr sound = plainSound(48000, 1000, 0, 48 * 10000);
    source.distributeAudioFrame(sound.get());
    // Blocks of 20 ms begin at 10.00, 10.02 and 10.04; the one at 10.06 is ahead.
    EXPECT_EQ(mixer.heardAfter(2880).size(), 2880U);
    ASSERT_TRUE(mixer.showAt(source, 10.02));
    EXPECT_EQ(mixer.heardAfter(2880 + 960).size(), 2880U + 960U);
    ASSERT_TRUE(mixer.showAt(source, 20.0));
    EXPECT_EQ(mixer.heardAfter(48000).size(), 48000U);
}

TEST(LMixerSound, SeveralChunksFillOneBlock) {
    HandSource source;
    Heard mixer(source, 1000.0);
    LLayerItem* const item = mixer.mixer.getLayer("a");
    item->audioEnabled = false; // until all of them wait
    std::vector<int> expected;
    for (int i = 0; i < 10; ++i) {
        const quol::FramePtr sound =
            plainSound(100, static_cast<std::int16_t>(i + 1), 0, std::int64_t{100} * i);
        source.distributeAudioFrame(sound.get());
        expected.insert(expected.end(), 100, i + 1);
    }
    item->audioEnabled = true;
    EXPECT_EQ(mixer.heardAfter(1000), expected);
}

TEST(LMixerSound, WithoutAPictureTheMixersOwnTimeCounts) {
    HandSource source;
    RunningMixer running(customVideo(64, 48, 50, 1), all);
    running.mixer.addLayer("a", &source)->audioEnabled = true;
    ASSERT_NE(running.nextPicture(), nullptr);
    // Half a second ahead of what the mixer counts, give or take what it takes to say so.
    const double now = static_cast<double>(running.sink.pictures().back().pts) / 50.0;
    const double time = now + 0.5;
    const quol::FramePtr sound = plainSound(960, 1000, 0, std::llround(time * 48000));
    source.distributeAudioFrame(sound.get());
    ASSERT_TRUE(test::waitUntil([&] {
        const auto values = channelOf(running.sink.keptSounds(), 0);
        return std::find(values.begin(), values.end(), 1000) != values.end();
    }));
    for (const quol::FramePtr& block : running.sink.keptSounds()) {
        if (test::samplesOf(*block).front() != 1000) continue;
        EXPECT_GE(static_cast<double>(block->pts) / 48000.0 + 0.05, time - 1e-9);
    }
}

TEST(LMixerSound, APictureWithoutATimeLeavesTheMixersOwnTime) {
    HandSource source;
    Heard mixer(source, 0.0);
    const quol::FramePtr picture = plainPicture(64, 48, grey);
    picture->pts = AV_NOPTS_VALUE;
    ASSERT_TRUE(mixer.give("a", source, picture));
    // A second of the mixer's time: by the first picture's it would never be due.
    const quol::FramePtr sound = plainSound(480, 1000, 0, 48000);
    source.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(480).size(), 480U);
}

TEST(LMixerSound, ABlockWithoutATimeIsOfTimeZero) {
    HandSource source;
    Heard mixer(source, 0.0);
    const quol::FramePtr sound = plainSound(480, 1000, 0);
    sound->pts = AV_NOPTS_VALUE;
    source.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(480).size(), 480U);
}

TEST(LMixerSound, ALayerGivenAnotherSourceDropsTheSoundOfTheOldOne) {
    HandSource first;
    HandSource second;
    Heard mixer(first, 10.0);
    const quol::FramePtr sound = plainSound(960, 1000, 0, 48 * 10060); // not yet due
    first.distributeAudioFrame(sound.get());
    ASSERT_TRUE(mixer.sink.waitForSounds(mixer.sink.soundCount() + 3));
    mixer.mixer.addLayer("a", &second, 0, 0, 0, 255, -1, -1, true, 100);
    ASSERT_TRUE(mixer.showAt(second, 20.0));
    ASSERT_TRUE(mixer.sink.waitForSounds(mixer.sink.soundCount() + 6));
    EXPECT_TRUE(mixer.heard().empty());
}

// ------------------------------------------------------------------------------------ formats

TEST(LMixerSound, ASetAudioFormatAfterASinksCreationDoesNotReachThatSink) {
    HandSource before;
    HandSource after;
    Heard mixer(before, 1000.0);
    mixer.mixer.setAudioFormat({0, 16, 24000, 2});
    mixer.mixer.addLayer("b", &after, 0, 0, 0, 255, -1, -1, true, 100);
    const quol::FramePtr sound = plainSound(4800, 1000, 0);
    before.distributeAudioFrame(sound.get());
    EXPECT_EQ(mixer.heardAfter(4800).size(), 4800U);
    // The mix stays as it is: one at half the rate has half as many samples in it.
    mixer.sink.clear();
    const quol::FramePtr picture = plainPicture(64, 48, grey);
    picture->pts = 25000; // at 1/25: all is due
    ASSERT_TRUE(mixer.give("b", after, picture));
    after.distributeAudioFrame(sound.get());
    const auto count = static_cast<double>(mixer.heardAfter(2300).size());
    EXPECT_NEAR(count, 2400.0, 80.0);
    EXPECT_EQ(mixer.nextSound()->sample_rate, 48000);
}

TEST(LMixerSound, SoundOfAnyFormBecomes48kHzStereo) {
    for (const auto& [rate, channels, format] :
         {std::tuple{44100, 2, AV_SAMPLE_FMT_S16}, std::tuple{48000, 1, AV_SAMPLE_FMT_S16},
          std::tuple{96000, 6, AV_SAMPLE_FMT_FLTP}, std::tuple{8000, 8, AV_SAMPLE_FMT_FLT},
          std::tuple{48000, 2, AV_SAMPLE_FMT_S16P}}) {
        HandSource source;
        Heard mixer(source, 1000.0);
        // A second in ten blocks, a sine: few of its samples are 0.
        for (int i = 0; i < 10; ++i) {
            const quol::FramePtr sound =
                test::makeSound(rate / 10, rate, channels, format, std::int64_t{rate} / 10 * i);
            source.distributeAudioFrame(sound.get());
        }
        EXPECT_TRUE(test::waitUntil([&] { return mixer.heard().size() > 40000; }))
            << rate << ' ' << channels;
        EXPECT_LE(mixer.heardAfter(40000).size(), 48000U) << rate << ' ' << channels;
        EXPECT_GT(mixer.heard(1).size(), 40000U) << rate << ' ' << channels;
    }
}

TEST(LMixerSound, ASourceMayChangeItsSoundOnAir) {
    HandSource source;
    Heard mixer(source, 1000.0);
    for (int i = 0; i < 30; ++i) {
        const int rate = i % 3 == 0 ? 48000 : i % 3 == 1 ? 44100 : 32000;
        const quol::FramePtr sound = test::makeSound(
            rate / 50, rate, 1 + i % 6, i % 2 == 0 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_FLTP);
        source.distributeAudioFrame(sound.get());
    }
    mixer.heardAfter(20000);
    mixer.sink.clear();
    const quol::FramePtr sound = plainSound(960, 1234, 0);
    source.distributeAudioFrame(sound.get());
    EXPECT_TRUE(test::waitUntil([&] {
        const std::vector<int> heard = mixer.heard();
        return std::count(heard.begin(), heard.end(), 1234) == 960;
    }));
}

TEST(LMixerSound, SoundThatCannotBeReadIsDropped) {
    HandSource source;
    Heard mixer(source, 1000.0);
    quol::FramePtr sound = plainSound(960, 1000, 0);
    sound->nb_samples = 0;
    source.distributeAudioFrame(sound.get());
    sound = plainSound(960, 1000, 0);
    sound->nb_samples = -5;
    source.distributeAudioFrame(sound.get());
    sound = plainSound(960, 1000, 0);
    sound->format = -1;
    source.distributeAudioFrame(sound.get());
    sound = plainSound(960, 1000, 0);
    sound->sample_rate = 0;
    source.distributeAudioFrame(sound.get());
    source.distributeAudioFrame(nullptr);
    ASSERT_TRUE(mixer.sink.waitForSounds(mixer.sink.soundCount() + 4));
    EXPECT_TRUE(mixer.heard().empty());
    EXPECT_EQ(levelHeard(mixer, source, 700), 700);
}

// ------------------------------------------------------------------------------ pulled and peaks

TEST(LMixerSound, SoundOfAPulledSourceArrivesByPush) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running(customVideo(64, 48, 50, 1), all);
    running.mixer.addLayer("a", &source)->audioEnabled = true;
    const quol::FramePtr sound = plainSound(960, 700, -700);
    source.distributeAudioFrame(sound.get());
    EXPECT_TRUE(test::waitUntil([&] {
        const std::vector<int> left = channelOf(running.sink.keptSounds(), 0);
        return std::count(left.begin(), left.end(), 700) == 960;
    }));
}

TEST(LMixerSound, SoundOfAMixerArrivesInTheMixerAboveIt) {
    HandSource source;
    RunningMixer inner(customVideo(64, 48, 50, 1), 0);
    RunningMixer outer(customVideo(64, 48, 50, 1), all);
    inner.mixer.addLayer("a", &source)->audioEnabled = true;
    outer.mixer.addLayer("m", &inner.mixer)->audioEnabled = true;
    const quol::FramePtr sound = plainSound(960, 700, -700);
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeAudioFrame(sound.get());
        const std::vector<int> left = channelOf(outer.sink.keptSounds(), 0);
        return std::count(left.begin(), left.end(), 700) > 960;
    }));
    outer.mixer.removeLayer("m");
}

TEST(LMixerSound, PeaksAreThoseOfEveryFourthSampleOfTheLatestBlock) {
    HandSource source;
    Heard mixer(source, 1000.0);
    EXPECT_EQ(mixer.mixer.peakLeft(), 0.0F);
    const quol::FramePtr sound = plainSound(48000, 16384, -8192);
    auto* samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
    for (int i = 0; i < 48000; ++i) {
        if (i % 4 != 0) samples[static_cast<std::ptrdiff_t>(i) * 2] = 32767; // passed over
    }
    source.distributeAudioFrame(sound.get());
    ASSERT_TRUE(test::waitUntil([&] { return mixer.mixer.peakLeft() > 0.0F; }));
    std::set<float> left;
    std::set<float> right;
    // Behind it there is silence, and each block's peak takes the place of the one before.
    EXPECT_TRUE(test::waitUntil([&] {
        left.insert(mixer.mixer.peakLeft());
        right.insert(mixer.mixer.peakRight());
        return mixer.mixer.peakLeft() == 0.0F && mixer.mixer.peakRight() == 0.0F;
    }));
    left.insert(0.0F);
    right.insert(0.0F);
    EXPECT_EQ(left, (std::set<float>{0.0F, 0.5F}));
    EXPECT_EQ(right, (std::set<float>{0.0F, 0.25F}));
}

TEST(LMixerSound, FullScaleIsAPeakOf1) {
    HandSource source;
    Heard mixer(source, 1000.0);
    const quol::FramePtr sound = plainSound(4800, -32768, 32767);
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeAudioFrame(sound.get());
        return mixer.mixer.peakLeft() == 1.0F && mixer.mixer.peakRight() == 32767.0F / 32768.0F;
    }));
}
