// The flat functions of the layer mixer. What is seen is held against wide limits: where there is
// a graphics processor the levels are those of full range.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "quolsdk/LMixer.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/PlainFrames.h"

namespace {

LMixer* mixerOf(quolsdk_handle handle) {
    return dynamic_cast<LMixer*>(static_cast<LObject*>(handle));
}

// A mixer with a small canvas and a sink, and two signals: grey as silver, and black.
class MixerApi : public testing::Test {
protected:
    quolsdk_handle mixer = quolsdk_mixer_create();
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_handle dark = quolsdk_signal_create();
    test::CollectingSink sink{1};

    MixerApi() {
        const quolsdk_video_format canvas = {0, 64, 48, 50.0, 1};
        quolsdk_mixer_set_video_format(mixer, &canvas);
        mixerOf(mixer)->addSink(&sink);
        start(signal, "#C0C0C0");
        start(dark, "#000000");
    }
    ~MixerApi() override {
        mixerOf(mixer)->removeSink(&sink);
        quolsdk_mixer_destroy(mixer);
        quolsdk_signal_destroy(signal);
        quolsdk_signal_destroy(dark);
    }

    static void start(quolsdk_handle source, const char* color) {
        auto* object = static_cast<LObject*>(source);
        ASSERT_NE(object, nullptr);
        quolsdk_signal_set_color(source, color);
        EXPECT_EQ(quolsdk_signal_start(source), 1);
    }

    // Waits for a picture in which the pixel is bright, or dark.
    bool shows(int x, int y, bool isBright) {
        return test::waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            const int luma = test::levelsAt(picture.get(), x, y).y;
            return luma >= 0 && (isBright ? luma > 150 : luma < 60);
        });
    }
    bool showsBright(int x, int y) { return shows(x, y, true); }
    bool showsDark(int x, int y) { return shows(x, y, false); }

    LLayerItem* layer(const char* name) { return mixerOf(mixer)->getLayer(name); }
};

// The defaults that every way to add a layer begins with.
void expectDefaults(const LLayerItem& item) {
    EXPECT_EQ(item.zIndex, 0);
    EXPECT_EQ(item.x, 0.0F);
    EXPECT_EQ(item.y, 0.0F);
    EXPECT_EQ(item.alpha, 255);
    EXPECT_EQ(item.width, -1.0F);
    EXPECT_EQ(item.height, -1.0F);
    EXPECT_EQ(item.cropTop, 0.0F);
    EXPECT_EQ(item.cropBottom, 0.0F);
    EXPECT_EQ(item.cropLeft, 0.0F);
    EXPECT_EQ(item.cropRight, 0.0F);
    EXPECT_EQ(item.borderThickness, 0);
    EXPECT_EQ(item.borderColor, "#FFFFFF");
    EXPECT_EQ(item.borderAlpha, 255);
    EXPECT_EQ(item.borderRadius, 0);
    EXPECT_TRUE(item.visible);
}

TEST_F(MixerApi, TheHandleIsTheLObjectViewOfAMixerThatRuns) {
    ASSERT_NE(mixer, nullptr);
    ASSERT_NE(mixerOf(mixer), nullptr);
    EXPECT_TRUE(sink.waitForPictures(5));
    EXPECT_TRUE(sink.waitForSounds(5));
}

TEST_F(MixerApi, ASourceIsShownAndGoes) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_EQ(layer("a")->source, static_cast<LObject*>(signal));
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_remove_layer(mixer, "a");
    EXPECT_EQ(layer("a"), nullptr);
    EXPECT_TRUE(showsDark(5, 5));
    // Its source is not used any more.
    quolsdk_signal_destroy(signal);
    signal = nullptr;
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 3));
}

TEST_F(MixerApi, ALayerHasTheDefaultsAndGetsThemBack) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    for (int i = 0; i < 2; ++i) {
        LLayerItem* const item = layer("a");
        ASSERT_NE(item, nullptr);
        expectDefaults(*item);
        EXPECT_FALSE(item->audioEnabled);
        EXPECT_EQ(item->audioGain, 100);
        EXPECT_FALSE(item->isDSK);
        quolsdk_mixer_set_layer_pos(mixer, "a", 3.0F, 4.0F);
        quolsdk_mixer_set_layer_size(mixer, "a", 5.0F, 6.0F);
        quolsdk_mixer_set_layer_alpha(mixer, "a", 7);
        quolsdk_mixer_set_layer_z_index(mixer, "a", 8);
        quolsdk_mixer_set_layer_audio(mixer, "a", 1, 9);
        quolsdk_mixer_set_layer_border_radius(mixer, "a", 10);
        quolsdk_mixer_add_layer(mixer, "a", signal);
    }
    EXPECT_EQ(mixerOf(mixer)->getLayerCount(), 1);
}

TEST_F(MixerApi, ANullSourceLeavesALayerWithoutAPicture) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_add_layer(mixer, "a", nullptr);
    ASSERT_NE(layer("a"), nullptr);
    EXPECT_EQ(layer("a")->source, nullptr);
    EXPECT_TRUE(showsDark(5, 5));
}

TEST_F(MixerApi, AMixerMayBeTheSourceOfAnother) {
    quolsdk_handle other = quolsdk_mixer_create();
    const quolsdk_video_format canvas = {0, 64, 48, 50.0, 1};
    quolsdk_mixer_set_video_format(other, &canvas);
    quolsdk_mixer_add_layer(other, "s", signal);
    quolsdk_mixer_add_layer(mixer, "m", other);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_remove_layer(mixer, "m");
    quolsdk_mixer_destroy(other);
    EXPECT_TRUE(showsDark(5, 5));
}

TEST_F(MixerApi, AMixerAsItsOwnSourceIsALayerWithoutOne) {
    quolsdk_mixer_add_layer(mixer, "m", mixer);
    ASSERT_NE(layer("m"), nullptr);
    EXPECT_EQ(layer("m")->source, nullptr);
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 3));
}

TEST_F(MixerApi, PositionAndSizeAreWrittenAndSeen) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    quolsdk_mixer_set_layer_size(mixer, "a", 20.0F, 10.0F);
    quolsdk_mixer_set_layer_pos(mixer, "a", 30.5F, 20.5F);
    EXPECT_EQ(layer("a")->x, 30.5F);
    EXPECT_EQ(layer("a")->y, 20.5F);
    EXPECT_EQ(layer("a")->width, 20.0F);
    EXPECT_EQ(layer("a")->height, 10.0F);
    EXPECT_TRUE(showsDark(10, 25));
    EXPECT_TRUE(showsDark(60, 25));
    EXPECT_TRUE(showsDark(40, 40));
    EXPECT_TRUE(showsBright(40, 25));
    quolsdk_mixer_set_layer_size(mixer, "a", -1.0F, 0.0F);
    EXPECT_TRUE(showsBright(60, 40));
}

TEST_F(MixerApi, AlphaIsStoredAsItIs) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_set_layer_alpha(mixer, "a", 0);
    EXPECT_TRUE(showsDark(5, 5));
    for (const int alpha : {-1, 256, std::numeric_limits<int>::max()}) {
        quolsdk_mixer_set_layer_alpha(mixer, "a", alpha);
        EXPECT_EQ(layer("a")->alpha, alpha);
    }
    EXPECT_TRUE(showsBright(5, 5));
}

TEST_F(MixerApi, AnyNumberOtherThan0IsVisible) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_set_layer_visible(mixer, "a", 0);
    EXPECT_FALSE(layer("a")->visible);
    EXPECT_TRUE(showsDark(5, 5));
    for (const int visible : {1, 2, -1, std::numeric_limits<int>::min()}) {
        quolsdk_mixer_set_layer_visible(mixer, "a", 0);
        quolsdk_mixer_set_layer_visible(mixer, "a", visible);
        EXPECT_TRUE(layer("a")->visible) << visible;
    }
    EXPECT_TRUE(showsBright(5, 5));
}

TEST_F(MixerApi, AHigherZIndexLiesOnTopAndEqualOnesByName) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_add_layer(mixer, "b", dark);
    EXPECT_TRUE(showsDark(5, 5));
    quolsdk_mixer_set_layer_z_index(mixer, "a", 1);
    EXPECT_EQ(layer("a")->zIndex, 1);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_set_layer_z_index(mixer, "a", -1);
    EXPECT_TRUE(showsDark(5, 5));
}

TEST_F(MixerApi, SoundIsSwitchedAndItsGainStored) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    quolsdk_mixer_set_layer_audio(mixer, "a", 1, 250);
    EXPECT_TRUE(layer("a")->audioEnabled);
    EXPECT_EQ(layer("a")->audioGain, 250);
    quolsdk_mixer_set_layer_audio(mixer, "a", 0, -5);
    EXPECT_FALSE(layer("a")->audioEnabled);
    EXPECT_EQ(layer("a")->audioGain, -5);
    quolsdk_mixer_set_layer_audio(mixer, "a", -1, 0);
    EXPECT_TRUE(layer("a")->audioEnabled);
}

TEST_F(MixerApi, SoundOfALayerIsHeardOnceItIsSwitchedOn) {
    test::CollectingSink heard(1);
    LObject source;
    mixerOf(mixer)->addSink(&heard);
    quolsdk_mixer_add_layer(mixer, "a", &source);
    quolsdk_mixer_set_layer_audio(mixer, "a", 1, 50);
    const quol::FramePtr sound = test::plainSound(960, 1000, 500);
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeAudioFrame(sound.get());
        const quol::FramePtr block = heard.latestSound();
        return block && test::samplesOf(*block)[0] == 500 && test::samplesOf(*block)[1] == 250;
    }));
    quolsdk_mixer_remove_layer(mixer, "a");
    mixerOf(mixer)->removeSink(&heard);
}

TEST_F(MixerApi, TheRadiusIsStored) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    quolsdk_mixer_set_layer_border_radius(mixer, "a", 30);
    EXPECT_EQ(layer("a")->borderRadius, 30);
    EXPECT_TRUE(showsBright(30, 24));
}

TEST_F(MixerApi, AKeyShowsTheFillWhereItIsBright) {
    quolsdk_mixer_add_dsk(mixer, "k", signal, dark);
    LLayerItem* const item = layer("k");
    ASSERT_NE(item, nullptr);
    expectDefaults(*item);
    EXPECT_TRUE(item->isDSK);
    EXPECT_EQ(item->source, static_cast<LObject*>(signal));
    EXPECT_EQ(item->keySource, static_cast<LObject*>(dark));
    EXPECT_TRUE(showsDark(5, 5));
    quolsdk_signal_set_color(dark, "#FFFFFF");
    EXPECT_TRUE(showsBright(5, 5));
}

TEST_F(MixerApi, AKeyWithoutAKeySourceShowsItsFillAndWithoutAFillNothing) {
    quolsdk_mixer_add_dsk(mixer, "k", signal, nullptr);
    EXPECT_TRUE(showsBright(5, 5));
    quolsdk_mixer_add_dsk(mixer, "k", nullptr, signal);
    EXPECT_TRUE(showsDark(5, 5));
    quolsdk_mixer_add_dsk(mixer, "k", nullptr, nullptr);
    EXPECT_TRUE(layer("k")->isDSK);
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 3));
}

TEST_F(MixerApi, AnImageIsShownAtOnce) {
    quolsdk_mixer_add_image(mixer, "i", test::mediaPath("still.png").c_str());
    ASSERT_NE(layer("i"), nullptr);
    expectDefaults(*layer("i"));
    EXPECT_EQ(layer("i")->source, nullptr);
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = sink.latestPicture();
        return picture && test::levelsAt(picture.get(), 5, 5).y > 80;
    }));
}

TEST_F(MixerApi, AnImageThatCannotBeReadLeavesALayerWithoutAPicture) {
    for (const char* path : {"", "no such file.png", "/dev/zero", "/"}) {
        quolsdk_mixer_add_layer(mixer, "i", signal);
        EXPECT_TRUE(showsBright(5, 5));
        quolsdk_mixer_add_image(mixer, "i", path);
        ASSERT_NE(layer("i"), nullptr);
        EXPECT_EQ(layer("i")->source, nullptr);
        EXPECT_TRUE(showsDark(5, 5)) << path;
    }
    quolsdk_mixer_add_layer(mixer, "i", signal);
    quolsdk_mixer_add_image(mixer, "i", nullptr); // the empty path
    EXPECT_TRUE(showsDark(5, 5));
}

TEST_F(MixerApi, TheVideoFormatIsExpanded) {
    const quolsdk_video_format format = {3, 1, 2, 3.0, 1};
    quolsdk_mixer_set_video_format(mixer, &format);
    videoFormatProps stored;
    mixerOf(mixer)->getVideoFormat(stored);
    EXPECT_EQ(stored.mode, 3U);
    EXPECT_EQ(stored.width, 720);
    EXPECT_EQ(stored.height, 576);
    EXPECT_EQ(stored.fps, 25.0);
    EXPECT_EQ(stored.pixelFormat, 1);
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = sink.latestPicture();
        return picture && picture->width == 720 && picture->height == 576;
    }));
}

TEST_F(MixerApi, UnknownNamesAreIgnored) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    for (const char* name : {"b", "", "A", "a "}) {
        quolsdk_mixer_set_layer_pos(mixer, name, 1.0F, 1.0F);
        quolsdk_mixer_set_layer_size(mixer, name, 1.0F, 1.0F);
        quolsdk_mixer_set_layer_alpha(mixer, name, 1);
        quolsdk_mixer_set_layer_visible(mixer, name, 0);
        quolsdk_mixer_set_layer_z_index(mixer, name, 1);
        quolsdk_mixer_set_layer_audio(mixer, name, 1, 1);
        quolsdk_mixer_set_layer_border_radius(mixer, name, 1);
        quolsdk_mixer_remove_layer(mixer, name);
        EXPECT_EQ(mixerOf(mixer)->getLayerCount(), 1) << name;
    }
    expectDefaults(*layer("a"));
    EXPECT_FALSE(layer("a")->audioEnabled);
    EXPECT_EQ(layer("a")->audioGain, 100);
}

TEST_F(MixerApi, ANullNameIsTheEmptyText) {
    quolsdk_mixer_add_layer(mixer, nullptr, signal);
    LLayerItem* const item = layer("");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->source, static_cast<LObject*>(signal));
    quolsdk_mixer_set_layer_pos(mixer, nullptr, 1.0F, 2.0F);
    quolsdk_mixer_set_layer_size(mixer, nullptr, 3.0F, 4.0F);
    quolsdk_mixer_set_layer_alpha(mixer, nullptr, 5);
    quolsdk_mixer_set_layer_visible(mixer, nullptr, 0);
    quolsdk_mixer_set_layer_z_index(mixer, nullptr, 6);
    quolsdk_mixer_set_layer_audio(mixer, nullptr, 1, 7);
    quolsdk_mixer_set_layer_border_radius(mixer, nullptr, 8);
    EXPECT_EQ(item->x, 1.0F);
    EXPECT_EQ(item->y, 2.0F);
    EXPECT_EQ(item->width, 3.0F);
    EXPECT_EQ(item->height, 4.0F);
    EXPECT_EQ(item->alpha, 5);
    EXPECT_FALSE(item->visible);
    EXPECT_EQ(item->zIndex, 6);
    EXPECT_TRUE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 7);
    EXPECT_EQ(item->borderRadius, 8);
    quolsdk_mixer_add_dsk(mixer, nullptr, signal, dark);
    EXPECT_TRUE(item->isDSK);
    quolsdk_mixer_add_image(mixer, nullptr, nullptr);
    EXPECT_EQ(item->source, nullptr);
    EXPECT_EQ(mixerOf(mixer)->getLayerCount(), 1);
    quolsdk_mixer_remove_layer(mixer, nullptr);
    EXPECT_EQ(mixerOf(mixer)->getLayerCount(), 0);
}

TEST_F(MixerApi, NumbersThatAreNoneDoNoHarm) {
    quolsdk_mixer_add_layer(mixer, "a", signal);
    for (const float value : {std::nanf(""), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::max()}) {
        quolsdk_mixer_set_layer_pos(mixer, "a", value, value);
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
        quolsdk_mixer_set_layer_pos(mixer, "a", 0.0F, 0.0F);
        quolsdk_mixer_set_layer_size(mixer, "a", value, value);
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
        quolsdk_mixer_set_layer_size(mixer, "a", -1.0F, -1.0F);
        quolsdk_mixer_set_layer_border_radius(mixer, "a", std::numeric_limits<int>::max());
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
    }
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
}

TEST_F(MixerApi, DestroyedWithLayersItLeavesTheirSourcesRunning) {
    quolsdk_handle other = quolsdk_mixer_create();
    quolsdk_mixer_add_layer(other, "a", signal);
    quolsdk_mixer_add_dsk(other, "k", signal, dark);
    quolsdk_mixer_add_image(other, "i", test::mediaPath("still.png").c_str());
    quolsdk_mixer_destroy(other);
    quolsdk_mixer_add_layer(mixer, "a", signal);
    EXPECT_TRUE(showsBright(5, 5));
}

TEST(MixerApiNull, ANullHandleDoesNothing) {
    const quolsdk_video_format format = {};
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_mixer_add_layer(nullptr, "a", signal);
    quolsdk_mixer_remove_layer(nullptr, "a");
    quolsdk_mixer_set_layer_pos(nullptr, "a", 1.0F, 1.0F);
    quolsdk_mixer_set_layer_size(nullptr, "a", 1.0F, 1.0F);
    quolsdk_mixer_set_layer_alpha(nullptr, "a", 1);
    quolsdk_mixer_set_layer_visible(nullptr, "a", 1);
    quolsdk_mixer_set_layer_z_index(nullptr, "a", 1);
    quolsdk_mixer_set_layer_audio(nullptr, "a", 1, 1);
    quolsdk_mixer_set_video_format(nullptr, &format);
    quolsdk_mixer_add_dsk(nullptr, "a", signal, signal);
    quolsdk_mixer_add_image(nullptr, "a", "x.png");
    quolsdk_mixer_set_layer_border_radius(nullptr, "a", 1);
    quolsdk_mixer_destroy(nullptr);
    quolsdk_mixer_add_layer(nullptr, nullptr, nullptr);
    quolsdk_mixer_set_video_format(nullptr, nullptr);
    quolsdk_signal_destroy(signal);
}

} // namespace
