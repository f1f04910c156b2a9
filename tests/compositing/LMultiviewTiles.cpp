// The tiles of a multiview: laying out, giving sources, tally and names.
#include <gtest/gtest.h>

#include <climits>

#include "support/CapturedStream.h"
#include "support/RunningMultiview.h"

namespace {

using test::bright;
using test::CapturedStream;
using test::grey;
using test::HandSource;
using test::Levels;
using test::onWall;
using test::plainPicture;
using test::RunningMultiview;
using test::wallBlack;
using test::WatchedSource;

std::vector<std::string> keysOf(LMultiview& multiview) {
    std::vector<std::string> keys;
    for (const auto& tile : multiview.getLayoutInfo())
        keys.push_back(tile.key);
    return keys;
}

using Keys = std::vector<std::string>;

} // namespace

TEST(LMultiviewTiles, ANewOneIs1920By1080At50AndHasNoTiles) {
    LMultiview multiview(LMultiview::Renderer::processor);
    videoFormatProps format;
    multiview.getVideoFormat(format);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(format.height, 1080);
    EXPECT_EQ(format.fps, 50.0);
    EXPECT_TRUE(multiview.getLayoutInfo().empty());
    int status = 7;
    multiview.statusGet(status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(multiview.getFPS(), 25.0);
    EXPECT_EQ(multiview.getWidth(), 0);
    EXPECT_TRUE(multiview.canPullRender());
}

TEST(LMultiviewTiles, TheFormatIsCopiedAndItsModeNotLookedUp) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat({4, 320, 200, 12.5, 9});
    videoFormatProps format;
    multiview.getVideoFormat(format);
    EXPECT_EQ(format.mode, 4U);
    EXPECT_EQ(format.width, 320);
    EXPECT_EQ(format.height, 200);
    EXPECT_EQ(format.fps, 12.5);
    EXPECT_EQ(format.pixelFormat, 9);
}

TEST(LMultiviewTiles, SetupGridMakesTheLargeWindowsWithTheirTally) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridLeft, 3);
    const auto info = multiview.getLayoutInfo();
    ASSERT_EQ(info.size(), 2U);
    EXPECT_EQ(info[0].key, "PGM"); // in the order of the texts
    EXPECT_EQ(info[0].tally, 2);
    EXPECT_EQ(info[0].x, 0.5F);
    EXPECT_EQ(info[0].y, 0.5F);
    EXPECT_EQ(info[0].w, 0.5F);
    EXPECT_EQ(info[0].h, 0.5F);
    EXPECT_EQ(info[1].key, "PVW");
    EXPECT_EQ(info[1].tally, 1);
    EXPECT_EQ(info[1].x, 0.5F);
    EXPECT_EQ(info[1].y, 0.0F);
}

TEST(LMultiviewTiles, SetupGridTwiceKeepsTheLargeWindowsButDropsAllTilesOfTheGrid) {
    WatchedSource program;
    WatchedSource preview;
    WatchedSource camera;
    RunningMultiview running;
    LMultiview& multiview = running.multiview;
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setPGMSource(&program);
    multiview.setPVWSource(&preview);
    multiview.setGridPos(&camera, 1, 1, 0, "A");
    multiview.setGridPos(&camera, 2, 3, 0, "B");
    program.distributeVideoFrame(plainPicture(64, 36, grey).get());
    EXPECT_EQ(camera.sinkCount(), 2U);
    ASSERT_TRUE(running.shows(144, 27, onWall(grey)));
    multiview.setupGrid(MultiviewOrientation::gridAbove, 4);
    EXPECT_EQ(keysOf(multiview), (Keys{"PGM", "PVW"}));
    EXPECT_EQ(camera.sinkCount(), 0U);
    EXPECT_EQ(program.sinkCount(), 1U);
    EXPECT_EQ(preview.sinkCount(), 1U);
    EXPECT_EQ(program.added, 1);
    // Its picture is there without a new one.
    EXPECT_TRUE(running.shows(144, 81, onWall(grey)));
    EXPECT_EQ(running.tile("PGM").y, 0.5F);
}

TEST(LMultiviewTiles, SetupGridSetsTheTallyOfTheLargeWindowsAnew) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 1);
    EXPECT_EQ(multiview.getLayoutInfo()[0].tally, 2);
    EXPECT_EQ(multiview.getLayoutInfo()[1].tally, 1);
}

TEST(LMultiviewTiles, TilesLieByRowColumnAndSpan) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setGridPos(nullptr, 1, 1, 1, "A");
    multiview.setGridPos(nullptr, 2, 4, 0, "B");
    const auto info = multiview.getLayoutInfo();
    ASSERT_EQ(info.size(), 4U);
    EXPECT_EQ(info[0].key, "1_1");
    EXPECT_EQ(info[0].name, "A");
    EXPECT_NEAR(info[0].x, 0.0F, 1.0e-6F);
    EXPECT_NEAR(info[0].y, 0.5F - 0.5F / 1080.0F, 1.0e-6F);
    EXPECT_NEAR(info[0].w, 0.5F, 1.0e-6F);
    EXPECT_NEAR(info[0].h, 0.5F, 1.0e-6F);
    EXPECT_EQ(info[0].tally, 0);
    EXPECT_EQ(info[1].key, "2_4");
    EXPECT_NEAR(info[1].x, 0.75F, 1.0e-6F);
    EXPECT_NEAR(info[1].y, 0.75F - 0.5F / 1080.0F, 1.0e-6F);
    EXPECT_NEAR(info[1].w, 0.25F, 1.0e-6F);
}

TEST(LMultiviewTiles, BeforeSetupGridAGridOf2BelowIsInForce) {
    HandSource source;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setGridPos(&source, 1, 2, 0, "");
    multiview.setPGMSource(&source);
    const auto info = multiview.getLayoutInfo();
    ASSERT_EQ(info.size(), 2U);
    EXPECT_NEAR(info[0].x, 0.25F, 1.0e-6F);
    EXPECT_NEAR(info[0].w, 0.25F, 1.0e-6F);
    EXPECT_EQ(info[1].key, "PGM");
    EXPECT_EQ(info[1].x, 0.5F);
    EXPECT_EQ(info[1].w, 0.5F);
    EXPECT_EQ(info[1].tally, 2);
}

TEST(LMultiviewTiles, KeysAreOrderedAsTexts) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 8);
    for (const int row : {1, 2, 10})
        multiview.setGridPos(nullptr, row, 2, 0, "");
    multiview.setGridPos(nullptr, 1, 10, 0, "");
    EXPECT_EQ(keysOf(multiview), (Keys{"10_2", "1_10", "1_2", "2_2", "PGM", "PVW"}));
}

TEST(LMultiviewTiles, AnotherSourceTakesThePlaceOfTheOneThere) {
    WatchedSource first;
    WatchedSource second;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setGridPos(&first, 1, 1, 0, "A");
    multiview.setPGMSource(&first);
    multiview.setPVWSource(&first);
    EXPECT_EQ(first.sinkCount(), 3U);
    multiview.setGridPos(&second, 1, 1, 0, "B");
    multiview.setPGMSource(&second);
    EXPECT_EQ(first.sinkCount(), 1U);
    EXPECT_EQ(second.sinkCount(), 2U);
    multiview.setPVWSource(nullptr);
    EXPECT_EQ(first.sinkCount(), 0U);
}

TEST(LMultiviewTiles, ATileWhoseSourceChangesIsBlackUntilTheNewOneShowsSomething) {
    HandSource first;
    HandSource second;
    RunningMultiview running;
    running.multiview.setPGMSource(&first);
    first.distributeVideoFrame(plainPicture(64, 36, grey).get());
    ASSERT_TRUE(running.shows(144, 27, onWall(grey)));
    running.multiview.setPGMSource(&second);
    ASSERT_TRUE(running.shows(144, 27, wallBlack));
    second.distributeVideoFrame(plainPicture(64, 36, bright).get());
    EXPECT_TRUE(running.shows(144, 27, onWall(bright)));
}

TEST(LMultiviewTiles, RemoveGridPosDetachesTheSourceAndErasesTheTile) {
    WatchedSource source;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setGridPos(&source, 1, 3, 0, "A");
    multiview.removeGridPos(1, 3);
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_EQ(keysOf(multiview), (Keys{"PGM", "PVW"}));
    multiview.removeGridPos(1, 3); // nothing there
    multiview.removeGridPos(INT_MIN, INT_MAX);
}

TEST(LMultiviewTiles, TheDestructorDetachesAllSources) {
    WatchedSource source;
    {
        LMultiview multiview(LMultiview::Renderer::processor);
        multiview.setPGMSource(&source);
        multiview.setPVWSource(&source);
        multiview.setGridPos(&source, 1, 1, 0, "");
        EXPECT_EQ(source.sinkCount(), 3U);
    }
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_EQ(source.removed, 3);
}

// The sink of a tile is taken off behind the multiview's back: told, and passed over.
TEST(LMultiviewTiles, ASinkThatIsNotFoundIsToldAndDoesNotStopAnything) {
    class Forgetful : public HandSource {
    public:
        void forget() {
            const std::lock_guard lock(sinksMutex);
            sinks.clear();
        }
    };
    Forgetful source;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setGridPos(&source, 1, 1, 0, "");
    source.forget();
    const std::string text = test::told([&] { multiview.removeGridPos(1, 1); });
    EXPECT_NE(text.find("[LObject] removeSink FAILED: sink not found!\n"), std::string::npos);
    EXPECT_TRUE(multiview.getLayoutInfo().empty());
}

// ------------------------------------------------------------------------------ tally and names
TEST(LMultiviewTiles, TallyIsOfEachTileAlone) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setGridPos(nullptr, 1, 1, 0, "A");
    multiview.setGridPos(nullptr, 1, 2, 0, "B");
    multiview.setGridPGM(1, 1);
    multiview.setGridPGM(1, 2);
    auto info = multiview.getLayoutInfo();
    EXPECT_EQ(info[0].tally, 2);
    EXPECT_EQ(info[1].tally, 2);
    multiview.setGridPVW(1, 1);
    multiview.clearTally(1, 2);
    info = multiview.getLayoutInfo();
    EXPECT_EQ(info[0].tally, 1);
    EXPECT_EQ(info[1].tally, 0);
    EXPECT_EQ(info[0].name, "A");
}

TEST(LMultiviewTiles, SetGridPGMOnTwoTilesLeavesBothRed) {
    RunningMultiview running;
    LMultiview& multiview = running.multiview;
    multiview.setupGrid(MultiviewOrientation::gridBelow, 1); // two tiles of 96 by 54 below
    multiview.setGridPos(nullptr, 1, 1, 0, "");
    multiview.setGridPos(nullptr, 1, 2, 0, "");
    multiview.setGridPGM(1, 1);
    multiview.setGridPGM(1, 2);
    const Levels red{76, 84, 255};
    const Levels green{150, 43, 21};
    EXPECT_TRUE(running.shows(1, 80, red));
    EXPECT_TRUE(running.shows(98, 80, red));
    multiview.setGridPVW(1, 2);
    EXPECT_TRUE(running.shows(98, 80, green));
    EXPECT_TRUE(running.shows(1, 80, red));
    multiview.clearTally(1, 1);
    EXPECT_TRUE(running.shows(1, 80, {115, 128, 128}));
}

TEST(LMultiviewTiles, TallyOfATileThatIsNotThereMakesIt) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setGridPGM(1, 1);
    multiview.setGridPVW(1, 2);
    multiview.clearTally(1, 3);
    const auto info = multiview.getLayoutInfo();
    ASSERT_EQ(info.size(), 3U);
    EXPECT_EQ(info[0].tally, 2);
    EXPECT_EQ(info[1].tally, 1);
    EXPECT_EQ(info[2].tally, 0);
    EXPECT_EQ(info[0].w, 0.0F);
    multiview.setGridPos(nullptr, 1, 1, 0, "A");
    EXPECT_EQ(multiview.getLayoutInfo()[0].tally, 2);
    EXPECT_EQ(multiview.getLayoutInfo()[0].w, 0.25F);
}

TEST(LMultiviewTiles, NamesAreSetByPositionAndByKey) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    multiview.setGridPos(nullptr, 1, 1, 0, "A");
    const std::string quiet = test::told([&] { multiview.setGridName(1, 1, "Camera"); });
    EXPECT_EQ(quiet.find("Setting grid name"), std::string::npos);
    EXPECT_EQ(multiview.getLayoutInfo()[0].name, "Camera");
    const std::string text = test::told([&] { multiview.setGridName("PVW", "Next"); });
    EXPECT_NE(text.find("LMultiview: Setting grid name for key: PVW to: Next\n"),
              std::string::npos);
    EXPECT_EQ(multiview.getLayoutInfo()[2].name, "Next");
}

TEST(LMultiviewTiles, ANameForATileThatIsNotThereChangesNothing) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setGridName(4, 4, "A");
    const std::string text = test::told([&] { multiview.setGridName("nowhere", "B"); });
    EXPECT_NE(text.find("LMultiview: Setting grid name for key: nowhere to: B\n"),
              std::string::npos);
    EXPECT_TRUE(multiview.getLayoutInfo().empty());
}

TEST(LMultiviewTiles, ALabelOfALargeWindowIsKeptUntilTheWindowIsThere) {
    HandSource source;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setGridName("PGM", "Air");
    multiview.setGridName("PVW", "Next");
    auto info = multiview.getLayoutInfo();
    ASSERT_EQ(info.size(), 2U);
    EXPECT_EQ(info[0].name, "Air");
    EXPECT_EQ(info[0].tally, 2);
    EXPECT_EQ(info[0].w, 0.0F);
    multiview.setPGMSource(&source); // makes the window, in the layout of a new multiview
    info = multiview.getLayoutInfo();
    EXPECT_EQ(info[0].name, "Air");
    EXPECT_EQ(info[0].x, 0.5F);
    EXPECT_EQ(info[0].w, 0.5F);
    EXPECT_EQ(info[1].w, 0.0F);
    multiview.setupGrid(MultiviewOrientation::gridAbove, 2);
    info = multiview.getLayoutInfo();
    EXPECT_EQ(info[1].name, "Next");
    EXPECT_EQ(info[1].tally, 1);
    EXPECT_EQ(info[1].w, 0.5F);
}

TEST(LMultiviewTiles, TheSameSourceOnceMoreKeepsItsSinkAndItsPicture) {
    WatchedSource source;
    RunningMultiview running;
    LMultiview& multiview = running.multiview;
    multiview.setupGrid(MultiviewOrientation::gridBelow, 1);
    multiview.setGridPos(&source, 1, 1, 0, "A");
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    ASSERT_TRUE(running.shows(48, 66, onWall(grey)));
    multiview.setGridPos(&source, 1, 1, 1, "B");
    EXPECT_EQ(source.added, 1);
    EXPECT_EQ(source.removed, 0);
    EXPECT_EQ(running.tile("1_1").name, "B");
    EXPECT_TRUE(running.shows(144, 66, onWall(grey))); // without a new one
}

TEST(LMultiviewTiles, ATileOfManyCellsWithSoundIsDrawn) {
    HandSource source;
    RunningMultiview running(1920, 1080);
    for (const int span : {100, 1000}) {
        running.multiview.setGridPos(&source, 1, 1, span, "Large");
        source.distributeVideoFrame(plainPicture(64, 36, grey).get());
        for (const std::int16_t level :
             {std::int16_t{32767}, std::int16_t{0}, std::int16_t{9000}}) {
            source.distributeAudioFrame(test::plainSound(960, level, level).get());
            ASSERT_TRUE(running.nextPicture());
        }
        EXPECT_TRUE(running.shows(960, 900, onWall(grey)));
    }
}

// Laid out for one height and shown at another: the grid meets the large windows all the same.
TEST(LMultiviewTiles, AWallThatChangesItsHeightKeepsItsSeamClosed) {
    HandSource source;
    RunningMultiview running(192, 108);
    running.multiview.setupGrid(MultiviewOrientation::gridBelow, 1);
    running.multiview.setGridPos(nullptr, 1, 1, 0, "");
    running.multiview.setVideoFormat(test::customVideo(1920, 1080, 50.0));
    ASSERT_TRUE(test::waitUntil([&] { return running.sink.latestPicture()->height == 1080; }));
    const Levels green{150, 43, 21};
    const Levels plain{115, 128, 128};
    EXPECT_TRUE(running.shows(500, 538, green)); // the last lines of the preview
    EXPECT_TRUE(running.shows(500, 540, plain)); // the first of the tile below
}

TEST(LMultiviewTiles, AllThatIsOutOfRangeIsTakenQuietly) {
    HandSource source;
    RunningMultiview running;
    LMultiview& multiview = running.multiview;
    for (const int orientation : {-1, 4, INT_MAX}) {
        for (const int size : {INT_MIN, 0, 1, 1000, INT_MAX}) {
            multiview.setupGrid(static_cast<MultiviewOrientation>(orientation), size);
            for (const int at : {INT_MIN, -1, 0, 1, 100, INT_MAX}) {
                multiview.setGridPos(&source, at, at, at, std::string(100, 'x'));
                multiview.setGridPGM(at, at);
            }
            source.distributeVideoFrame(plainPicture(64, 36, grey).get());
            ASSERT_TRUE(running.nextPicture());
        }
    }
}
