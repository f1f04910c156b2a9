// What a host sees of a switcher's preview: sinks that follow the source, sinks of the rendered
// picture, and the lines that tell of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/Frames.h"
#include "support/LayerScene.h"
#include "support/PulledSwitcher.h"
#include "support/RefusingSource.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libswscale/swscale.h>
}

namespace {

using quol::FramePtr;
using test::CapturedStream;
using test::CollectingSink;
using test::firstDifference;
using test::noisePicture;
using test::PulledSwitcher;
using test::waitUntil;
using test::WatchedSource;

constexpr int width = 64;
constexpr int height = 48;
constexpr int block = 960; // pairs in a tick

std::string difference(const FramePtr& picture, const FramePtr& expected) {
    return picture && expected ? firstDifference(*picture, *expected) : "no picture";
}

// A pointer as a line of text shows it.
std::string shown(const void* pointer) {
    char text[40];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

// The lines of a text that begin so.
std::vector<std::string> linesWith(const std::string& text, const std::string& start) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        if (text.compare(at, start.size(), start) == 0) lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

class LSwitcherPreview : public testing::Test {
protected:
    ~LSwitcherPreview() override { preview.removeSink(&follower); }

    // The source that the follower hears, null for none. Each source says something; none may be
    // heard twice.
    LObject* followed() {
        LObject* heard = nullptr;
        for (LObject* const source : {&a, &b, &c}) {
            const std::size_t before = follower.pictureCount();
            source->distributeVideoFrame(picture.get());
            const std::size_t count = follower.pictureCount() - before;
            EXPECT_LE(count, 1U);
            EXPECT_TRUE(count == 0 || heard == nullptr);
            if (count > 0) heard = source;
        }
        return heard;
    }

    void setBoth() {
        switcher.setProgram(&a);
        switcher.setPreview(&b);
    }

    FramePtr picture = noisePicture(1);
    WatchedSource a;
    WatchedSource b;
    WatchedSource c;
    CollectingSink follower;
    PulledSwitcher stepped;
    LSwitcher& switcher = stepped.switcher;
    SwitcherPreviewObject& preview = *switcher.getPreviewObject();
};

} // namespace

// ------------------------------------------------------------------------------- sinks that follow

TEST_F(LSwitcherPreview, ASinkGetsWhatTheSourceOnPreviewMakes) {
    setBoth();
    preview.addSink(&follower);
    EXPECT_EQ(followed(), &b);
    const FramePtr small = noisePicture(3, 20, 10, AV_PIX_FMT_RGBA);
    b.distributeVideoFrame(small.get()); // as it is
    EXPECT_EQ(follower.pictures().back().width, 20);
    EXPECT_EQ(follower.pictures().back().format, AV_PIX_FMT_RGBA);
    const FramePtr sound = test::plainSound(100, 1, 1);
    b.distributeAudioFrame(sound.get());
    EXPECT_EQ(follower.soundCount(), 1U);
    const std::size_t pictures = follower.pictureCount();
    stepped.tick(); // nothing comes of the switcher itself
    EXPECT_EQ(follower.pictureCount(), pictures);
    EXPECT_EQ(follower.soundCount(), 1U);
}

TEST_F(LSwitcherPreview, ASinkThatIsThereBeforeAnySourceHearsTheFirst) {
    preview.addSink(&follower);
    EXPECT_EQ(followed(), nullptr);
    switcher.setProgram(&a);
    EXPECT_EQ(followed(), nullptr);
    switcher.setPreview(&b);
    EXPECT_EQ(followed(), &b);
}

TEST_F(LSwitcherPreview, SinksFollowEverySourceThatIsPutOnPreview) {
    setBoth();
    preview.addSink(&follower);
    switcher.setPreview(&c);
    EXPECT_EQ(followed(), &c);
    EXPECT_EQ(b.sinkCount(), 0U);
    switcher.setPreview(&a); // the same as the program
    EXPECT_EQ(followed(), &a);
    switcher.setPreview(nullptr);
    EXPECT_EQ(followed(), nullptr);
    EXPECT_EQ(c.sinkCount(), 0U);
    switcher.setPreview(&c);
    EXPECT_EQ(followed(), &c);
}

TEST_F(LSwitcherPreview, TheSourceThatIsThereAlreadyIsNotTouched) {
    setBoth();
    preview.addSink(&follower);
    const int added = b.added;
    switcher.setPreview(&b);
    EXPECT_EQ(followed(), &b);
    EXPECT_EQ(b.added, added);
    EXPECT_EQ(b.removed, 0);
}

TEST_F(LSwitcherPreview, SinksFollowACut) {
    setBoth();
    preview.addSink(&follower);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), &a);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), &b);
    switcher.setProgram(nullptr);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), nullptr);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), &b);
}

TEST_F(LSwitcherPreview, SinksFollowTheHandThroughTheMiddleBothWays) {
    setBoth();
    preview.addSink(&follower);
    for (const float position : {0.2F, 0.499F}) {
        switcher.setTransition(position);
        EXPECT_EQ(followed(), &b) << position;
        EXPECT_EQ(switcher.getCurrentPreviewSource(), &b);
    }
    for (const float position : {0.5F, 0.8F, 1.0F, 0.5F}) {
        switcher.setTransition(position);
        EXPECT_EQ(followed(), &a) << position;
        EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
    }
    switcher.setTransition(0.499F);
    EXPECT_EQ(followed(), &b);
}

TEST_F(LSwitcherPreview, BeyondTheMiddleThePreviewIsTheOtherLayer) {
    setBoth();
    preview.addSink(&follower);
    switcher.setTransition(1.0F);
    switcher.setPreview(&c); // takes the place of a
    EXPECT_EQ(followed(), &c);
    EXPECT_EQ(a.sinkCount(), 0U);
    switcher.setProgram(&a); // takes the place of b
    EXPECT_EQ(followed(), &c);
    switcher.setTransition(0.0F);
    EXPECT_EQ(followed(), &a);
}

TEST_F(LSwitcherPreview, SinksFollowAnAutomaticTransition) {
    setBoth();
    preview.addSink(&follower);
    switcher.setAutoTransition(60.0);
    // Beyond the middle a is on preview already; the end must leave it there.
    ASSERT_TRUE(waitUntil(
        [&] { return stepped.position() == 0.0 && switcher.getCurrentPreviewSource() == &a; }));
    EXPECT_TRUE(waitUntil([&] { return followed() == &a; }));
    EXPECT_EQ(a.sinkCount(), 2U); // the layer's and the follower
    EXPECT_EQ(b.sinkCount(), 1U);
}

TEST_F(LSwitcherPreview, SinksFollowAStingersCut) {
    setBoth();
    preview.addSink(&follower);
    {
        CapturedStream out(CapturedStream::Stream::output);
        switcher.setStinger(test::alphaClip("preview", test::countingPictures(2)));
        ASSERT_TRUE(waitUntil(
            [&] { return out.text().find("Stinger loaded successfully") != std::string::npos; }));
    }
    switcher.setStingerDuration(40);
    EXPECT_EQ(followed(), &b);
    switcher.triggerStinger();
    ASSERT_TRUE(waitUntil([&] {
        stepped.tick();
        return switcher.getCurrentPreviewSource() == &a;
    }));
    EXPECT_EQ(followed(), &a);
    EXPECT_EQ(b.sinkCount(), 1U);
}

TEST_F(LSwitcherPreview, SinksFollowWhenTheSourceIsTakenAway) {
    setBoth();
    preview.addSink(&follower);
    switcher.removeSource(&b);
    EXPECT_EQ(followed(), nullptr);
    EXPECT_EQ(b.sinkCount(), 0U);
    switcher.removeSource(&a);
    switcher.setPreview(&b);
    EXPECT_EQ(followed(), &b);
}

TEST_F(LSwitcherPreview, SettingNoneRemovesTheSinkAndDetachesTheFollowers) {
    setBoth();
    preview.addSink(&follower);
    ASSERT_EQ(followed(), &b);
    EXPECT_EQ(b.sinkCount(), 2U);
    switcher.setPreview(nullptr);
    EXPECT_EQ(switcher.getCurrentPreviewSource(), nullptr);
    EXPECT_EQ(followed(), nullptr);
    EXPECT_EQ(b.sinkCount(), 0U);
    switcher.setPreview(&c); // the follower is still one
    EXPECT_EQ(followed(), &c);
}

TEST_F(LSwitcherPreview, ASinkThatIsRemovedHearsNothingMore) {
    setBoth();
    CollectingSink stays;
    preview.addSink(&stays);
    preview.addSink(&follower);
    preview.removeSink(&follower);
    EXPECT_EQ(followed(), nullptr);
    switcher.setPreview(&c);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), nullptr);
    EXPECT_EQ(stays.pictureCount(), 2U); // b's of before, a's of now
    preview.removeSink(&follower);       // unknown by now
    preview.removeSink(nullptr);
    preview.removeSink(&stays);
    EXPECT_EQ(a.sinkCount(), 1U);
}

TEST_F(LSwitcherPreview, ASinkThatTheHostHasPutOnTheSourceItselfIsNotTaken) {
    setBoth();
    b.addSink(&follower);
    preview.removeSink(&follower);
    EXPECT_EQ(followed(), &b);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), &b);
    b.removeSink(&follower);
}

TEST_F(LSwitcherPreview, ASinkThatIsAddedTwiceIsThereOnce) {
    setBoth();
    preview.addSink(&follower);
    preview.addSink(&follower);
    EXPECT_EQ(followed(), &b); // once each
    EXPECT_EQ(b.sinkCount(), 2U);
    switcher.setCutTransition();
    EXPECT_EQ(followed(), &a);
    preview.removeSink(&follower);
    EXPECT_EQ(followed(), nullptr);
}

// ------------------------------------------------------------------------------------------ lines

TEST_F(LSwitcherPreview, SettingItTellsOfTheSourcesAndOfEverySink) {
    CollectingSink other;
    preview.addSink(&follower);
    preview.addSink(&other);
    const std::vector<LSink*> sinks = &follower < &other ? std::vector<LSink*>{&follower, &other}
                                                         : std::vector<LSink*>{&other, &follower};
    LObject* old = nullptr;
    for (LObject* const source : std::vector<LObject*>{&a, &b, nullptr}) {
        CapturedStream out(CapturedStream::Stream::output);
        switcher.setPreview(source);
        const std::vector<std::string> expected{
            "[LSwitcher::setPreview] oldSource=" + shown(old) + " newSource=" + shown(source),
            "[LSwitcher::setPreview] after applyLayer, real newSource=" + shown(source),
            "[LSwitcher::setPreview] shifting preview sinks oldSource=" + shown(old) + " -> " +
                "newSource=" + shown(source),
            "[LSwitcher::setPreview]   - sink=" + shown(sinks[0]),
            "[LSwitcher::setPreview]   - sink=" + shown(sinks[1]),
        };
        EXPECT_EQ(linesWith(out.text(), "[LSwitcher"), expected);
        old = source;
    }
    preview.removeSink(&other);
}

TEST_F(LSwitcherPreview, SettingTheSameSourceShiftsNothing) {
    setBoth();
    preview.addSink(&follower);
    CapturedStream out(CapturedStream::Stream::output);
    switcher.setPreview(&b);
    EXPECT_EQ(out.text(),
              "[LSwitcher::setPreview] oldSource=" + shown(&b) + " newSource=" + shown(&b) +
                  "\n[LSwitcher::setPreview] after applyLayer, real newSource=" + shown(&b) + "\n");
}

TEST_F(LSwitcherPreview, SinksThatComeAndGoAreTold) {
    for (LObject* const source : std::vector<LObject*>{nullptr, &b}) {
        switcher.setPreview(source);
        CapturedStream out(CapturedStream::Stream::output);
        preview.addSink(&follower);
        preview.removeSink(&follower);
        const std::string ends = shown(&follower) + " parent=" + shown(&switcher);
        const std::vector<std::string> expected{
            "[SwitcherPreviewObject] addSink sink=" + ends,
            "[SwitcherPreviewObject] addSink currentPreviewSource=" + shown(source),
            "[SwitcherPreviewObject] removeSink sink=" + ends,
            "[SwitcherPreviewObject] removeSink currentPreviewSource=" + shown(source),
        };
        EXPECT_EQ(linesWith(out.text(), "[SwitcherPreviewObject]"), expected);
    }
}

// ----------------------------------------------------------------------------- the rendered
// preview

namespace {

// A sink on the rendered preview.
class LSwitcherRenderedPreview : public LSwitcherPreview {
protected:
    ~LSwitcherRenderedPreview() override { preview.LObject::removeSink(&watcher); }

    void watch() { preview.LObject::addSink(&watcher); }

    void fillBoth() {
        setBoth();
        a.distributeVideoFrame(pictureA.get());
        b.distributeVideoFrame(pictureB.get());
    }

    // What the watcher got by one tick at this position; null for nothing.
    FramePtr watchedAt(float position) {
        watcher.clear();
        switcher.setTransition(position);
        stepped.tick();
        EXPECT_LE(watcher.pictureCount(), 1U);
        return watcher.latestPicture();
    }

    FramePtr pictureA = noisePicture(1);
    FramePtr pictureB = noisePicture(2);
    CollectingSink watcher{1};
};

} // namespace

TEST_F(LSwitcherRenderedPreview, ShowsTheOtherLayerAtEveryTick) {
    fillBoth();
    watch();
    for (const float position : {0.0F, 0.01F, 0.3F, 0.499F})
        EXPECT_TRUE(test::sharesMemory(watchedAt(position), pictureB)) << position;
    for (const float position : {0.5F, 0.7F, 0.99F, 1.0F})
        EXPECT_TRUE(test::sharesMemory(watchedAt(position), pictureA)) << position;
    switcher.setCutTransition();
    EXPECT_TRUE(test::sharesMemory(watchedAt(1.0F), pictureB));
}

TEST_F(LSwitcherRenderedPreview, LeavesTheProgramAsItIs) {
    fillBoth();
    watch();
    for (const float position : {0.0F, 0.01F}) {
        watchedAt(position);
        EXPECT_TRUE(test::sharesMemory(stepped.sink.latestPicture(), pictureA)) << position;
    }
    for (const float position : {0.99F, 1.0F}) {
        watchedAt(position);
        EXPECT_TRUE(test::sharesMemory(stepped.sink.latestPicture(), pictureB)) << position;
    }
    switcher.setTransition(0.01F);
    switcher.setProgram(nullptr);
    EXPECT_EQ(stepped.tick(), nullptr) << "near its end only one layer counts, watched or not";
}

TEST_F(LSwitcherRenderedPreview, HasTheSizeOfTheCanvasAndTheTimeOfTheTick) {
    fillBoth();
    watch();
    switcher.setProps("scale_mode", "1");
    const FramePtr wide = noisePicture(5, 100, 40, AV_PIX_FMT_YUV422P);
    b.distributeVideoFrame(wide.get());
    for (int i = 0; i < 3; ++i) {
        const std::int64_t index = stepped.stats().frameCount;
        const FramePtr seen = watchedAt(0.0F);
        EXPECT_EQ(difference(seen, test::fittedByHand(*wide, 1, width, height, SWS_BICUBIC)), "");
        ASSERT_NE(seen, nullptr);
        EXPECT_EQ(seen->pts, index);
        EXPECT_EQ(seen->time_base.num, 1);
        EXPECT_EQ(seen->time_base.den, 50);
    }
    switcher.setVideoFormat(test::customVideo(32, 16, 29.97, 1));
    const FramePtr seen = watchedAt(0.0F);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->width, 32);
    EXPECT_EQ(seen->height, 16);
    EXPECT_EQ(seen->time_base.den, 29);
}

TEST_F(LSwitcherRenderedPreview, IsNothingWhereTheLayerIsEmpty) {
    switcher.setProgram(&a);
    a.distributeVideoFrame(pictureA.get());
    watch();
    for (const float position : {0.0F, 0.3F, 0.499F})
        EXPECT_EQ(watchedAt(position), nullptr) << position;
    for (const float position : {0.5F, 0.7F, 1.0F})
        EXPECT_TRUE(test::sharesMemory(watchedAt(position), pictureA)) << position;
    EXPECT_EQ(stepped.sink.latestPicture()->pts, stepped.stats().frameCount - 2)
        << "at the end of the way nothing is on program";
}

TEST_F(LSwitcherRenderedPreview, HasItsSoundRawAtAnyGain) {
    fillBoth();
    watch();
    struct Case {
        int program, preview;
        bool isMuted, isExternal;
    };
    for (const Case& each : {Case{100, 0, false, false}, Case{100, 50, false, false},
                             Case{100, 0, true, false}, Case{100, 0, false, true}}) {
        switcher.setProgAudioGain(each.program);
        switcher.setPrevAudioGain(each.preview);
        switcher.setMasterMute(each.isMuted);
        switcher.setExtAudio(each.isExternal);
        const FramePtr program = test::plainSound(block, 500, 600);
        const FramePtr raw = test::plainSound(block, 1000, -2000);
        a.distributeAudioFrame(program.get());
        b.distributeAudioFrame(raw.get());
        const std::int64_t index = stepped.stats().frameCount;
        watchedAt(0.0F);
        ASSERT_EQ(watcher.soundCount(), 1U);
        const FramePtr sound = watcher.latestSound();
        EXPECT_EQ(test::samplesOf(*sound), test::samplesOf(*raw));
        EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(sound->sample_rate, 48000);
        EXPECT_EQ(sound->ch_layout.nb_channels, 2);
        EXPECT_EQ(sound->pts, index * block);
        EXPECT_EQ(sound->time_base.num, 1);
        EXPECT_EQ(sound->time_base.den, 48000);
    }
}

TEST_F(LSwitcherRenderedPreview, TakesTheSoundOfTheOtherLayerFromTheMiddleOn) {
    fillBoth();
    watch();
    switcher.setTransition(0.5F);
    const FramePtr ofA = test::plainSound(block, 500, 600);
    const FramePtr ofB = test::plainSound(block, 1000, -2000);
    a.distributeAudioFrame(ofA.get());
    b.distributeAudioFrame(ofB.get());
    watchedAt(0.5F);
    ASSERT_EQ(watcher.soundCount(), 1U);
    EXPECT_EQ(test::samplesOf(*watcher.latestSound()), test::samplesOf(*ofA));
}

TEST_F(LSwitcherRenderedPreview, IsSilentWhereTheSourceIsAndTellsNothingOfAnEmptyLayer) {
    fillBoth();
    watch();
    watchedAt(0.0F);
    ASSERT_EQ(watcher.soundCount(), 1U);
    EXPECT_EQ(test::samplesOf(*watcher.latestSound()), std::vector<std::int16_t>(2 * block));
    switcher.setPreview(nullptr);
    watchedAt(0.0F);
    EXPECT_EQ(watcher.soundCount(), 0U);
}

TEST_F(LSwitcherRenderedPreview, ASinkOfItDoesNotHearTheSourceItself) {
    fillBoth();
    watch();
    watcher.clear();
    b.distributeVideoFrame(pictureB.get());
    EXPECT_EQ(watcher.pictureCount(), 0U);
    switcher.setCutTransition();
    a.distributeVideoFrame(pictureA.get());
    EXPECT_EQ(watcher.pictureCount(), 0U);
}

// A picture that was made to fit is held on to beside the layer's own reference, so that the same
// one is not made twice.
TEST_F(LSwitcherRenderedPreview, NothingIsMadeToFitForItUnlessSomebodyWatches) {
    fillBoth();
    const FramePtr ofA = noisePicture(3, 20, 10);
    const FramePtr ofB = noisePicture(4, 20, 10);
    a.distributeVideoFrame(ofA.get());
    b.distributeVideoFrame(ofB.get());
    const auto references = [](const FramePtr& picture) {
        return av_buffer_get_ref_count(picture->buf[0]);
    };
    preview.addSink(&follower); // counts as nobody
    for (const float position : {0.0F, 0.01F}) {
        switcher.setTransition(position);
        stepped.tick();
        EXPECT_EQ(references(ofA), references(ofB) + 1) << position;
    }
    watch();
    watchedAt(0.0F);
    EXPECT_EQ(references(ofA), references(ofB));
}

TEST_F(LSwitcherRenderedPreview, NothingIsMadeToFitForItAtTheOtherEndEither) {
    fillBoth();
    const FramePtr ofA = noisePicture(3, 20, 10);
    const FramePtr ofB = noisePicture(4, 20, 10);
    a.distributeVideoFrame(ofA.get());
    b.distributeVideoFrame(ofB.get());
    for (const float position : {0.99F, 1.0F}) {
        switcher.setTransition(position);
        stepped.tick();
        EXPECT_EQ(av_buffer_get_ref_count(ofB->buf[0]), av_buffer_get_ref_count(ofA->buf[0]) + 1)
            << position;
    }
}

TEST(LSwitcherSources, ASourceIsHadWhileALayerShowsIt) {
    LObject a;
    LObject b;
    LSwitcher switcher;
    EXPECT_FALSE(switcher.hasSource(nullptr));
    switcher.setProgram(&a);
    switcher.setPreview(&b);
    switcher.setCutTransition();
    EXPECT_TRUE(switcher.hasSource(&a));
    EXPECT_TRUE(switcher.hasSource(&b));
    switcher.setPreview(&b); // in the place of a
    EXPECT_FALSE(switcher.hasSource(&a));
    switcher.setProgram(nullptr);
    EXPECT_TRUE(switcher.hasSource(&b));
    switcher.removeSource(&b);
    EXPECT_FALSE(switcher.hasSource(&b));
}

TEST(LSwitcherPreviewMemory, WhoFollowsLeavesTheSourceBeforeWhenTheNextCannotBeHad) {
    LObject before;
    test::RefusingSource next;
    test::CollectingSink follower;
    LSwitcher switcher;
    switcher.setPreview(&before);
    switcher.getPreviewObject()->addSink(&follower);
    EXPECT_THROW(switcher.setPreview(&next), std::bad_alloc);
    EXPECT_EQ(switcher.getCurrentPreviewSource(), nullptr);
    before.distributeVideoFrame(test::makePicture(16, 16, AV_PIX_FMT_YUV420P).get());
    EXPECT_EQ(follower.pictureCount(), 0U);
    EXPECT_EQ(next.left, 0);
}
