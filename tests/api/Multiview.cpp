// The flat functions of the multiview.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "quolsdk/LMultiview.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/NoThreads.h"
#include "support/PlainFrames.h"

namespace {

LMultiview* multiviewOf(quolsdk_handle handle) {
    return dynamic_cast<LMultiview*>(static_cast<LObject*>(handle));
}

// A multiview with a small picture, and a grey signal.
class MultiviewApi : public testing::Test {
protected:
    quolsdk_handle multiview = quolsdk_multiview_create();
    quolsdk_handle signal = quolsdk_signal_create();
    test::CollectingSink sink{1};

    MultiviewApi() {
        makeSmall(multiview);
        multiviewOf(multiview)->addSink(&sink);
        quolsdk_signal_set_color(signal, "#C0C0C0");
        quolsdk_signal_start(signal);
    }
    ~MultiviewApi() override {
        multiviewOf(multiview)->removeSink(&sink);
        quolsdk_multiview_destroy(multiview);
        quolsdk_signal_destroy(signal);
    }

    static void makeSmall(quolsdk_handle handle) {
        videoFormatProps format;
        format.width = 192;
        format.height = 108;
        format.fps = 50.0;
        multiviewOf(handle)->setVideoFormat(format);
    }

    bool shows(int x, int y, bool isBright) {
        return test::waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            const int luma = test::levelsAt(picture.get(), x, y).y;
            return luma >= 0 && (isBright ? luma > 150 : luma < 60);
        });
    }

    LMultiview::LayoutInfo tile(const std::string& key) {
        for (const auto& info : multiviewOf(multiview)->getLayoutInfo()) {
            if (info.key == key) return info;
        }
        return {};
    }
};

} // namespace

TEST_F(MultiviewApi, TheHandleIsTheSourcesView) {
    ASSERT_NE(multiviewOf(multiview), nullptr);
    videoFormatProps format;
    LMultiview fresh;
    fresh.getVideoFormat(format);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(format.height, 1080);
}

TEST_F(MultiviewApi, TheLargeWindowsTakeSources) {
    quolsdk_multiview_setup_grid(multiview, 0, 2);
    quolsdk_multiview_set_pgm_source(multiview, signal);
    EXPECT_TRUE(shows(144, 27, true));
    EXPECT_TRUE(shows(48, 27, false));
    quolsdk_multiview_set_pgm_source(multiview, nullptr);
    quolsdk_multiview_set_pvw_source(multiview, signal);
    EXPECT_TRUE(shows(48, 27, true));
    EXPECT_TRUE(shows(144, 27, false));
}

TEST_F(MultiviewApi, SetupGridTakesOrientationAndSize) {
    quolsdk_multiview_setup_grid(multiview, 2, 2);
    quolsdk_multiview_set_grid_pos(multiview, nullptr, 4, 2, 0, "A");
    EXPECT_EQ(tile("PGM").x, 0.0F);
    EXPECT_EQ(tile("PGM").y, 0.5F);
    EXPECT_EQ(tile("4_2").x, 0.75F);
    EXPECT_EQ(tile("4_2").y, 0.75F);
    EXPECT_EQ(tile("4_2").w, 0.25F);
    quolsdk_multiview_setup_grid(multiview, 2, 2);
    EXPECT_EQ(tile("4_2").key, "");
}

TEST_F(MultiviewApi, TilesComeAndGoWithSpanAndName) {
    quolsdk_multiview_setup_grid(multiview, 1, 2);
    quolsdk_multiview_set_grid_pos(multiview, signal, 1, 1, 1, "Camera");
    EXPECT_EQ(tile("1_1").name, "Camera");
    EXPECT_EQ(tile("1_1").w, 0.5F);
    EXPECT_EQ(tile("1_1").h, 0.5F);
    EXPECT_TRUE(shows(48, 15, true));
    quolsdk_multiview_set_grid_name(multiview, 1, 1, "Other");
    EXPECT_EQ(tile("1_1").name, "Other");
    quolsdk_multiview_set_grid_name(multiview, 1, 1, nullptr);
    EXPECT_EQ(tile("1_1").name, "");
    quolsdk_multiview_remove_grid_pos(multiview, 1, 1);
    EXPECT_EQ(tile("1_1").key, "");
    EXPECT_TRUE(shows(48, 15, false));
}

TEST_F(MultiviewApi, TallyIsSetAndCleared) {
    quolsdk_multiview_setup_grid(multiview, 0, 2);
    quolsdk_multiview_set_grid_pos(multiview, signal, 1, 2, 0, nullptr);
    EXPECT_EQ(tile("1_2").name, "");
    EXPECT_EQ(tile("1_2").tally, 0);
    quolsdk_multiview_set_grid_pgm(multiview, 1, 2);
    EXPECT_EQ(tile("1_2").tally, 2);
    quolsdk_multiview_set_grid_pvw(multiview, 1, 2);
    EXPECT_EQ(tile("1_2").tally, 1);
    quolsdk_multiview_clear_tally(multiview, 1, 2);
    EXPECT_EQ(tile("1_2").tally, 0);
}

TEST_F(MultiviewApi, AMultiviewIsASourceOfAnother) {
    quolsdk_handle inner = quolsdk_multiview_create();
    makeSmall(inner);
    quolsdk_multiview_setup_grid(inner, 0, 2);
    quolsdk_multiview_set_pgm_source(inner, signal);
    quolsdk_multiview_setup_grid(multiview, 0, 2);
    quolsdk_multiview_set_pgm_source(multiview, inner);
    EXPECT_TRUE(shows(168, 13, true)); // its program within the program
    EXPECT_TRUE(shows(120, 13, false));
    quolsdk_multiview_set_pgm_source(multiview, nullptr);
    EXPECT_TRUE(shows(168, 13, false));
    quolsdk_multiview_destroy(inner);
}

TEST(MultiviewApiNull, ANullHandleDoesNothing) {
    quolsdk_handle source = quolsdk_signal_create();
    quolsdk_multiview_setup_grid(nullptr, 1, 2);
    quolsdk_multiview_set_pvw_source(nullptr, source);
    quolsdk_multiview_set_pgm_source(nullptr, source);
    quolsdk_multiview_set_grid_pos(nullptr, source, 1, 1, 0, "A");
    quolsdk_multiview_remove_grid_pos(nullptr, 1, 1);
    quolsdk_multiview_set_grid_pgm(nullptr, 1, 1);
    quolsdk_multiview_set_grid_pvw(nullptr, 1, 1);
    quolsdk_multiview_clear_tally(nullptr, 1, 1);
    quolsdk_multiview_set_grid_name(nullptr, 1, 1, "A");
    quolsdk_multiview_destroy(nullptr);
    quolsdk_signal_destroy(source);
}

TEST_F(MultiviewApi, NumbersOutOfRangeAreTakenQuietly) {
    quolsdk_multiview_setup_grid(multiview, INT_MAX, INT_MIN);
    quolsdk_multiview_set_grid_pos(multiview, signal, INT_MIN, INT_MAX, INT_MAX, "A");
    quolsdk_multiview_set_grid_pgm(multiview, INT_MIN, INT_MAX);
    sink.clear();
    EXPECT_TRUE(sink.waitForPictures(2));
}

TEST(MultiviewApiNull, WithoutAThreadThereIsNone) {
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_EQ(quolsdk_multiview_create(), nullptr);
    }
    quolsdk_handle multiview = quolsdk_multiview_create();
    EXPECT_NE(multiview, nullptr);
    quolsdk_multiview_destroy(multiview);
}
