// The flat functions of the switcher.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LSwitcher.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/PlainFrames.h"

namespace {

LSwitcher* switcherOf(quolsdk_handle handle) {
    return dynamic_cast<LSwitcher*>(static_cast<LObject*>(handle));
}

LObject* objectOf(quolsdk_handle handle) {
    return static_cast<LObject*>(handle);
}

constexpr int dark = 60;    // at most
constexpr int bright = 150; // at least

// Remembers the luma of one pixel of every picture, and the first sample of every block.
class LumaSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        const std::lock_guard lock(mutex_);
        lumas_.push_back(test::levelsAt(frame, 1200, 600).y);
    }
    void pushAudioFrame(AVFrame* frame) override {
        const std::vector<std::int16_t> samples = test::samplesOf(*frame);
        const std::lock_guard lock(mutex_);
        levels_.push_back(samples.empty() ? 0 : samples.front());
    }

    std::vector<int> lumas() const {
        const std::lock_guard lock(mutex_);
        return lumas_;
    }
    std::vector<int> levels() const {
        const std::lock_guard lock(mutex_);
        return levels_;
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        lumas_.clear();
        levels_.clear();
    }

    // Waits for pictures that begin after the call.
    bool goesOn(std::size_t pictures = 3) const {
        const std::size_t before = lumas().size();
        return test::waitUntil([&] { return lumas().size() > before + pictures; });
    }
    bool soundGoesOn(std::size_t blocks = 3) const {
        const std::size_t before = levels().size();
        return test::waitUntil([&] { return levels().size() > before + blocks; });
    }
    bool isBright() const {
        return isLatest([](int luma) { return luma >= bright; });
    }
    bool isDark() const {
        return isLatest([](int luma) { return luma >= 0 && luma <= dark; });
    }
    std::ptrdiff_t between() const {
        const std::vector<int> seen = lumas();
        return std::count_if(seen.begin(), seen.end(),
                             [](int luma) { return luma > dark && luma < bright; });
    }

private:
    template <typename Holds>
    bool isLatest(Holds holds) const {
        return test::waitUntil([&] {
            const std::lock_guard lock(mutex_);
            return !lumas_.empty() && holds(lumas_.back());
        });
    }

    mutable std::mutex mutex_; // guards the next two
    std::vector<int> lumas_;
    std::vector<int> levels_;
};

// A switcher with a sink, and two signals: one bright, one dark.
class SwitcherApi : public testing::Test {
protected:
    quolsdk_handle switcher = quolsdk_switcher_create();
    quolsdk_handle light = quolsdk_signal_create();
    quolsdk_handle black = quolsdk_signal_create();
    LumaSink sink;

    SwitcherApi() {
        start(light, "#FFFFFF");
        start(black, "#000000");
        if (switcherOf(switcher) != nullptr) switcherOf(switcher)->addSink(&sink);
    }
    ~SwitcherApi() override {
        if (switcher != nullptr) objectOf(switcher)->removeSink(&sink);
        quolsdk_switcher_destroy(switcher);
        quolsdk_signal_destroy(light);
        quolsdk_signal_destroy(black);
    }

    static void start(quolsdk_handle source, const char* color) {
        ASSERT_NE(source, nullptr);
        quolsdk_signal_set_color(source, color);
        EXPECT_EQ(quolsdk_signal_start(source), 1);
    }

    // The bright signal on program, the dark one on preview, and seen.
    void load() {
        quolsdk_switcher_set_program(switcher, light);
        quolsdk_switcher_set_preview(switcher, black);
        ASSERT_TRUE(sink.isBright());
        // So that a transition finds a picture at its other end.
        quolsdk_switcher_cut(switcher);
        ASSERT_TRUE(sink.isDark());
        quolsdk_switcher_cut(switcher);
        ASSERT_TRUE(sink.isBright());
        sink.clear();
        ASSERT_TRUE(sink.goesOn(1)); // what is remembered begins with the bright one
    }

    LObject* previewSource() { return switcherOf(switcher)->getCurrentPreviewSource(); }
    LSwitcher::SwitcherStats stats() {
        LSwitcher::SwitcherStats read;
        switcherOf(switcher)->getStats(read);
        return read;
    }
    // Whether a transition has come to its end: the bright signal is on preview, at position 0.
    bool isOver() {
        return test::waitUntil(
            [&] { return previewSource() == objectOf(light) && stats().position == 0.0; });
    }
};

TEST_F(SwitcherApi, TheHandleIsTheLObjectViewOfASwitcherThatRuns) {
    ASSERT_NE(switcher, nullptr);
    ASSERT_NE(switcherOf(switcher), nullptr);
    EXPECT_TRUE(sink.soundGoesOn()) << "without a source too";
    EXPECT_TRUE(sink.lumas().empty());
}

TEST_F(SwitcherApi, TheProgramIsSeenAndTakenAway) {
    quolsdk_switcher_set_program(switcher, light);
    EXPECT_TRUE(sink.isBright());
    quolsdk_switcher_set_program(switcher, black);
    EXPECT_TRUE(sink.isDark());
    quolsdk_switcher_set_program(switcher, nullptr);
    // Its source is not used any more.
    quolsdk_signal_destroy(black);
    black = nullptr;
    EXPECT_TRUE(sink.soundGoesOn());
    sink.clear();
    EXPECT_TRUE(sink.soundGoesOn(5));
    EXPECT_TRUE(sink.lumas().empty()) << "nothing is left to see";
    quolsdk_switcher_set_program(switcher, light);
    EXPECT_TRUE(sink.isBright());
}

TEST_F(SwitcherApi, ThePreviewIsSetAndTakenAwayUnseen) {
    quolsdk_switcher_set_program(switcher, light);
    ASSERT_TRUE(sink.isBright());
    quolsdk_switcher_set_preview(switcher, black);
    EXPECT_EQ(previewSource(), objectOf(black));
    EXPECT_TRUE(sink.goesOn());
    EXPECT_EQ(sink.between(), 0);
    quolsdk_switcher_set_preview(switcher, nullptr);
    EXPECT_EQ(previewSource(), nullptr);
    quolsdk_signal_destroy(black);
    black = nullptr;
    EXPECT_TRUE(sink.goesOn());
    EXPECT_TRUE(sink.isBright());
}

TEST_F(SwitcherApi, ACutChangesTheirPlaces) {
    load();
    quolsdk_switcher_cut(switcher);
    EXPECT_EQ(previewSource(), objectOf(light));
    EXPECT_TRUE(sink.isDark());
    quolsdk_switcher_cut(switcher);
    EXPECT_EQ(previewSource(), objectOf(black));
    EXPECT_TRUE(sink.isBright());
    EXPECT_EQ(sink.between(), 0);
    EXPECT_EQ(stats().position, 0.0);
}

TEST_F(SwitcherApi, AFadeGoesThroughAllBetweenAndEndsInTheirChange) {
    load();
    quolsdk_switcher_fade(switcher, 1000);
    EXPECT_TRUE(isOver());
    EXPECT_TRUE(sink.isDark());
    EXPECT_GT(sink.between(), 3);
    const std::vector<int> lumas = sink.lumas();
    EXPECT_TRUE(std::is_sorted(lumas.rbegin(), lumas.rend())) << "darker from picture to picture";
    EXPECT_TRUE(sink.goesOn(10));
    EXPECT_TRUE(sink.isDark()) << "and there it stays";
}

TEST_F(SwitcherApi, AFadeOfNoLengthIsACutWithinTwoPictures) {
    for (const int duration : {0, -1, std::numeric_limits<int>::min(), 1}) {
        load();
        quolsdk_switcher_fade(switcher, duration);
        EXPECT_TRUE(isOver()) << duration;
        EXPECT_TRUE(sink.isDark());
        quolsdk_switcher_cut(switcher);
        EXPECT_TRUE(sink.isBright());
        EXPECT_EQ(sink.between(), 0);
    }
}

TEST_F(SwitcherApi, AFadeReturnsAtOnceAndEndsWithTheSwitcher) {
    load();
    quolsdk_switcher_fade(switcher, std::numeric_limits<int>::max());
    EXPECT_EQ(previewSource(), objectOf(black)) << "it has hardly begun";
    EXPECT_TRUE(sink.goesOn());
    objectOf(switcher)->removeSink(&sink);
    quolsdk_switcher_destroy(switcher);
    switcher = nullptr;
}

TEST_F(SwitcherApi, AWipeChangesThePictureAtOnceWhateverItsPattern) {
    for (const int pattern : {0, 1, 17, -5, std::numeric_limits<int>::max()}) {
        load();
        quolsdk_switcher_wipe(switcher, 200, pattern);
        EXPECT_TRUE(isOver()) << pattern;
        EXPECT_TRUE(sink.isDark());
        EXPECT_EQ(sink.between(), 0) << "one or the other";
        const std::vector<int> lumas = sink.lumas();
        EXPECT_TRUE(std::is_sorted(lumas.rbegin(), lumas.rend())) << "and only once";
        EXPECT_GE(lumas.front(), bright) << "not before the middle";
    }
}

TEST_F(SwitcherApi, AFadeBehindAWipeIsAFade) {
    load();
    quolsdk_switcher_wipe(switcher, 100, 1);
    EXPECT_TRUE(isOver());
    EXPECT_TRUE(sink.isDark());
    quolsdk_switcher_cut(switcher);
    EXPECT_TRUE(sink.isBright());
    EXPECT_EQ(sink.between(), 0);
    quolsdk_switcher_fade(switcher, 1000);
    EXPECT_TRUE(isOver());
    EXPECT_TRUE(sink.isDark());
    EXPECT_GT(sink.between(), 3);
}

TEST_F(SwitcherApi, TheSoundFadesWithAWipe) {
    LObject loud;
    quolsdk_switcher_set_program(switcher, &loud);
    const quol::FramePtr sound = test::plainSound(48000 * 10, 10000, 10000);
    loud.distributeAudioFrame(sound.get());
    const quol::FramePtr picture = test::plainPicture(1280, 720, {200, 128, 128});
    picture->pts = 1000;
    picture->time_base = {1, 1}; // all of the sound is due
    loud.distributeVideoFrame(picture.get());
    EXPECT_TRUE(test::waitUntil([&] {
        const std::vector<int> levels = sink.levels();
        return !levels.empty() && levels.back() == 10000;
    }));
    sink.clear();
    quolsdk_switcher_wipe(switcher, 1000, 1);
    EXPECT_TRUE(
        test::waitUntil([&] { return previewSource() == &loud && stats().position == 0.0; }));
    const std::vector<int> levels = sink.levels();
    EXPECT_GT(std::count_if(levels.begin(), levels.end(),
                            [](int level) { return level > 500 && level < 9500; }),
              2);
    quolsdk_switcher_set_preview(switcher, nullptr);
}

// ------------------------------------------------------------------------------------------ titles

class SwitcherTitles : public SwitcherApi {
protected:
    quolsdk_handle titles = quolsdk_character_create();

    SwitcherTitles() { addPanel(titles, "#FFFFFF"); }
    ~SwitcherTitles() override {
        quolsdk_switcher_set_cg(switcher, nullptr);
        quolsdk_character_destroy(titles);
    }

    static void addPanel(quolsdk_handle character, const char* color) {
        LCGRectProps panel;
        panel.bgType = "Color";
        panel.bgColor = color;
        auto* object = dynamic_cast<LCharacter*>(objectOf(character));
        ASSERT_NE(object, nullptr);
        object->addItem("panel", 0, 0, 0, 0, panel);
    }
    int count() { return switcherOf(switcher)->getCGCount(); }
    LCharacter* lowest() { return switcherOf(switcher)->getCGByIndex(0); }
};

TEST_F(SwitcherTitles, TitlesLieOverThePictureUntilTheyAreTakenAway) {
    quolsdk_switcher_set_program(switcher, black);
    ASSERT_TRUE(sink.isDark());
    quolsdk_switcher_set_cg(switcher, titles);
    EXPECT_EQ(count(), 1);
    EXPECT_TRUE(sink.isBright());
    quolsdk_switcher_set_cg(switcher, nullptr);
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(sink.isDark());
    quolsdk_switcher_set_cg(switcher, nullptr);
    EXPECT_EQ(count(), 0);
}

TEST_F(SwitcherTitles, NewTitlesTakeThePlaceOfAllThereWere) {
    quolsdk_handle others = quolsdk_character_create();
    addPanel(others, "#000000");
    quolsdk_switcher_set_program(switcher, light);
    quolsdk_switcher_set_cg(switcher, titles);
    switcherOf(switcher)->addCG(dynamic_cast<LCharacter*>(objectOf(titles)));
    EXPECT_EQ(count(), 2);
    quolsdk_switcher_set_cg(switcher, others);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(lowest(), dynamic_cast<LCharacter*>(objectOf(others)));
    EXPECT_TRUE(sink.isDark());
    quolsdk_switcher_set_cg(switcher, others); // the same again
    EXPECT_EQ(count(), 1);
    switcherOf(switcher)->addCG(dynamic_cast<LCharacter*>(objectOf(titles)));
    EXPECT_TRUE(sink.isBright()) << "on top";
    quolsdk_switcher_set_cg(switcher, nullptr);
    EXPECT_EQ(count(), 0);
    quolsdk_character_destroy(others); // it is not used any more
    EXPECT_TRUE(sink.goesOn());
}

TEST_F(SwitcherTitles, NullTakesAwayAllThereAre) {
    quolsdk_handle others = quolsdk_character_create();
    addPanel(others, "#FFFFFF");
    quolsdk_switcher_set_program(switcher, black);
    ASSERT_TRUE(sink.isDark());
    quolsdk_switcher_set_cg(switcher, titles);
    switcherOf(switcher)->addCG(dynamic_cast<LCharacter*>(objectOf(others)));
    EXPECT_EQ(count(), 2);
    EXPECT_TRUE(sink.isBright());
    quolsdk_switcher_set_cg(switcher, nullptr);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(lowest(), nullptr);
    EXPECT_TRUE(sink.isDark());
    quolsdk_character_destroy(others); // it is not used any more
    EXPECT_TRUE(sink.goesOn());
}

// -------------------------------------------------------------------------------------- properties

TEST_F(SwitcherApi, PropertiesReachIt) {
    quolsdk_switcher_set_program(switcher, light);
    test::CollectingSink collecting(1);
    switcherOf(switcher)->addSink(&collecting);
    quolsdk_switcher_set_props(switcher, "timecode", "true");
    EXPECT_TRUE(test::waitUntil([&] {
        const auto pictures = collecting.pictures();
        return !pictures.empty() && pictures.back().timecode.size() == 11;
    }));
    quolsdk_switcher_set_props(switcher, "timecode", "0");
    EXPECT_TRUE(test::waitUntil([&] {
        const auto pictures = collecting.pictures();
        return pictures.back().timecode.empty();
    }));
    switcherOf(switcher)->removeSink(&collecting);
}

TEST_F(SwitcherApi, ANumberThatIsNoneRaisesAndLeavesAll) {
    quolsdk_switcher_set_program(switcher, light);
    for (const char* key : {"timecodeSource", "scaling_quality", "scale_mode", "audioGain",
                            "masterGain", "extAudioGain"}) {
        EXPECT_THROW(quolsdk_switcher_set_props(switcher, key, "x"), std::invalid_argument) << key;
        EXPECT_THROW(quolsdk_switcher_set_props(switcher, key, ""), std::invalid_argument) << key;
        EXPECT_THROW(quolsdk_switcher_set_props(switcher, key, nullptr), std::invalid_argument)
            << key;
        EXPECT_THROW(quolsdk_switcher_set_props(switcher, key, "99999999999"), std::out_of_range)
            << key;
        EXPECT_NO_THROW(quolsdk_switcher_set_props(nullptr, key, "x"));
    }
    EXPECT_TRUE(sink.isBright()) << "it can be used as before";
    EXPECT_TRUE(sink.goesOn());
}

TEST_F(SwitcherApi, UnknownKeysAndNullTextsAreIgnored) {
    quolsdk_switcher_set_program(switcher, light);
    quolsdk_switcher_set_props(switcher, "no such key", "x");
    quolsdk_switcher_set_props(switcher, "", "1");
    quolsdk_switcher_set_props(switcher, nullptr, "1");
    quolsdk_switcher_set_props(switcher, nullptr, nullptr);
    quolsdk_switcher_set_props(switcher, "timecode", nullptr);
    quolsdk_switcher_set_props(switcher, "masterMute", nullptr);
    EXPECT_TRUE(sink.isBright());
}

// --------------------------------------------------------------------------------- as a source

TEST_F(SwitcherApi, ASwitcherIsTheSourceOfAMixerAndOfASwitcher) {
    quolsdk_switcher_set_program(switcher, light);
    quolsdk_handle mixer = quolsdk_mixer_create();
    const quolsdk_video_format canvas = {0, 1280, 720, 50.0, 1};
    quolsdk_mixer_set_video_format(mixer, &canvas);
    quolsdk_mixer_add_layer(mixer, "s", switcher);
    quolsdk_handle outer = quolsdk_switcher_create();
    quolsdk_switcher_set_program(outer, mixer);
    LumaSink seen;
    objectOf(outer)->addSink(&seen);
    EXPECT_TRUE(seen.isBright());
    quolsdk_switcher_set_program(switcher, black);
    EXPECT_TRUE(seen.isDark());
    EXPECT_TRUE(sink.isDark()) << "its own sinks see the same";
    objectOf(outer)->removeSink(&seen);
    quolsdk_switcher_destroy(outer);
    quolsdk_mixer_destroy(mixer);
    EXPECT_TRUE(sink.goesOn()) << "by its own clock again";
}

TEST_F(SwitcherApi, ItsOwnSourceIsIgnored) {
    quolsdk_switcher_set_program(switcher, light);
    quolsdk_switcher_set_preview(switcher, switcher);
    EXPECT_EQ(previewSource(), nullptr);
    EXPECT_TRUE(sink.isBright());
    EXPECT_TRUE(sink.goesOn());
}

TEST_F(SwitcherApi, DestroyedWithSourcesItLeavesThemRunning) {
    quolsdk_handle other = quolsdk_switcher_create();
    quolsdk_handle titles = quolsdk_character_create();
    quolsdk_switcher_set_program(other, light);
    quolsdk_switcher_set_preview(other, black);
    quolsdk_switcher_set_cg(other, titles);
    quolsdk_switcher_wipe(other, 100000, 1);
    quolsdk_switcher_destroy(other);
    quolsdk_character_destroy(titles);
    quolsdk_switcher_set_program(switcher, light);
    EXPECT_TRUE(sink.isBright());
    EXPECT_TRUE(sink.goesOn());
}

TEST(SwitcherApiNull, ANullHandleDoesNothing) {
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_handle titles = quolsdk_character_create();
    quolsdk_switcher_set_preview(nullptr, signal);
    quolsdk_switcher_set_program(nullptr, signal);
    quolsdk_switcher_set_preview(nullptr, nullptr);
    quolsdk_switcher_set_program(nullptr, nullptr);
    quolsdk_switcher_cut(nullptr);
    quolsdk_switcher_fade(nullptr, 100);
    quolsdk_switcher_wipe(nullptr, 100, 1);
    quolsdk_switcher_set_cg(nullptr, titles);
    quolsdk_switcher_set_cg(nullptr, nullptr);
    quolsdk_switcher_set_props(nullptr, "masterGain", "100");
    quolsdk_switcher_set_props(nullptr, nullptr, nullptr);
    quolsdk_switcher_destroy(nullptr);
    quolsdk_character_destroy(titles);
    quolsdk_signal_destroy(signal);
}

} // namespace
