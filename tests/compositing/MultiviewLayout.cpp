// Where the tiles of a multiview lie, in fractions and in pixels.
#include "compositing/MultiviewLayout.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace {

using quol::MultiviewLayout;
using quol::TilePlace;
using quol::TileRect;

constexpr float tolerance = 1.0e-6F;

void expectNear(const TilePlace& place, float x, float y, float w, float h) {
    EXPECT_NEAR(place.x, x, tolerance);
    EXPECT_NEAR(place.y, y, tolerance);
    EXPECT_NEAR(place.w, w, tolerance);
    EXPECT_NEAR(place.h, h, tolerance);
}

// Every tile of a wall: the large windows and the whole grid.
std::vector<TileRect> allTiles(int orientation, int size, int layoutHeight, int width, int height) {
    const MultiviewLayout layout(orientation, size, layoutHeight);
    std::vector<TileRect> tiles{quol::tileRect(layout.preview(), 0.0F, width, height),
                                quol::tileRect(layout.program(), 0.0F, width, height)};
    const bool isWide = orientation < 2;
    for (int row = 1; row <= (isWide ? size : 2 * size); ++row) {
        for (int column = 1; column <= (isWide ? 2 * size : size); ++column)
            tiles.push_back(
                quol::tileRect(layout.cell(row, column, 0), layout.seam(), width, height));
    }
    return tiles;
}

} // namespace

TEST(MultiviewLayout, KeysAreRowAndColumnInDecimal) {
    EXPECT_EQ(quol::gridKey(2, 3), "2_3");
    EXPECT_EQ(quol::gridKey(10, 12), "10_12");
    EXPECT_EQ(quol::gridKey(-1, 0), "-1_0");
    EXPECT_STREQ(quol::previewKey, "PVW");
    EXPECT_STREQ(quol::programKey, "PGM");
}

TEST(MultiviewLayout, TheLargeWindowsLieByTheOrientation) {
    constexpr float windows[4][4] = {// PVW x, y, PGM x, y
                                     {0.0F, 0.0F, 0.5F, 0.0F},
                                     {0.0F, 0.5F, 0.5F, 0.5F},
                                     {0.0F, 0.0F, 0.0F, 0.5F},
                                     {0.5F, 0.0F, 0.5F, 0.5F}};
    for (int orientation = 0; orientation < 4; ++orientation) {
        const auto& at = windows[orientation];
        const MultiviewLayout layout(orientation, 2, 1080);
        EXPECT_EQ(layout.preview(), (TilePlace{at[0], at[1], 0.5F, 0.5F})) << orientation;
        EXPECT_EQ(layout.program(), (TilePlace{at[2], at[3], 0.5F, 0.5F})) << orientation;
    }
}

TEST(MultiviewLayout, TheGridBeginsAndMeasuresByTheOrientation) {
    for (int size = 1; size <= 8; ++size) {
        const auto n = static_cast<float>(size);
        expectNear(MultiviewLayout(0, size, 1080).cell(1, 1, 0), 0.0F, 0.5F - 0.5F / 1080.0F,
                   1.0F / (2.0F * n), 0.5F / n);
        expectNear(MultiviewLayout(1, size, 1080).cell(1, 1, 0), 0.0F, 0.0F, 1.0F / (2.0F * n),
                   0.5F / n);
        expectNear(MultiviewLayout(2, size, 1080).cell(1, 1, 0), 0.5F, 0.0F, 0.5F / n,
                   1.0F / (2.0F * n));
        expectNear(MultiviewLayout(3, size, 1080).cell(1, 1, 0), 0.0F, 0.0F, 0.5F / n,
                   1.0F / (2.0F * n));
    }
}

TEST(MultiviewLayout, TheHalfLineOfTheSeamIsThatOfTheHeight) {
    expectNear(MultiviewLayout(0, 2, 720).cell(1, 1, 0), 0.0F, 0.5F - 0.5F / 720.0F, 0.25F, 0.25F);
    expectNear(MultiviewLayout(0, 2, 0).cell(1, 1, 0), 0.0F, 0.5F - 0.5F / 1080.0F, 0.25F, 0.25F);
    expectNear(MultiviewLayout(0, 2, -5).cell(1, 1, 0), 0.0F, 0.5F - 0.5F / 1080.0F, 0.25F, 0.25F);
}

TEST(MultiviewLayout, Orientation2WithGridSize2Has2ColumnsBy4RowsOnTheRightHalf) {
    const MultiviewLayout layout(2, 2, 1080);
    for (int row = 1; row <= 4; ++row) {
        for (int column = 1; column <= 2; ++column) {
            expectNear(layout.cell(row, column, 0), 0.5F + 0.25F * static_cast<float>(column - 1),
                       0.25F * static_cast<float>(row - 1), 0.25F, 0.25F);
        }
    }
}

TEST(MultiviewLayout, ASpanOf1InOrientation0WithGridSize2IsHalfThePictureAtTheGridsOrigin) {
    expectNear(MultiviewLayout(0, 2, 1080).cell(1, 1, 1), 0.0F, 0.5F - 0.5F / 1080.0F, 0.5F, 0.5F);
}

TEST(MultiviewLayout, AGridSizeBelow1GivesCellsWithoutASize) {
    for (const int size : {0, -1, INT_MIN}) {
        const TilePlace cell = MultiviewLayout(1, size, 1080).cell(2, 3, 1);
        EXPECT_EQ(cell, (TilePlace{0.0F, 0.0F, 0.0F, 0.0F}));
        EXPECT_TRUE(quol::tileRect(cell, 0.0F, 1920, 1080).isEmpty());
    }
}

TEST(MultiviewLayout, AnUnknownOrientationCountsAsTheFirst) {
    for (const int orientation : {-1, 4, INT_MAX}) {
        EXPECT_EQ(MultiviewLayout(orientation, 3, 1080).program(),
                  MultiviewLayout(0, 3, 1080).program());
        EXPECT_EQ(MultiviewLayout(orientation, 3, 1080).cell(2, 2, 0),
                  MultiviewLayout(0, 3, 1080).cell(2, 2, 0));
    }
}

// Every pixel belongs to one tile: nothing is left free and nothing lies on another, whatever the
// size of the picture, also one that has changed since the wall was laid out.
TEST(MultiviewLayout, TilesCoverEveryPictureWithoutASeamAndWithoutSharingAPixel) {
    constexpr int sizes[][2] = {{1920, 1080}, {1280, 720},  {720, 576},   {720, 486},  {3840, 2160},
                                {4096, 2160}, {2048, 1080}, {1919, 1079}, {101, 67},   {1080, 1920},
                                {640, 480},   {1366, 768},  {1918, 1078}, {4095, 2159}};
    for (const auto& picture : sizes) {
        for (const int layoutHeight : {1080, picture[1], 486}) {
            for (int orientation = 0; orientation < 4; ++orientation) {
                for (int size = 1; size <= 8; ++size) {
                    const auto tiles =
                        allTiles(orientation, size, layoutHeight, picture[0], picture[1]);
                    long covered = 0;
                    for (std::size_t i = 0; i < tiles.size(); ++i) {
                        ASSERT_GE(tiles[i].x, 0);
                        ASSERT_GE(tiles[i].y, 0);
                        ASSERT_LE(tiles[i].right(), picture[0]);
                        ASSERT_LE(tiles[i].bottom(), picture[1]);
                        ASSERT_EQ(tiles[i].x % 2, 0);
                        ASSERT_EQ(tiles[i].y % 2, 0);
                        covered += static_cast<long>(tiles[i].width) * tiles[i].height;
                        for (std::size_t k = 0; k < i; ++k)
                            ASSERT_TRUE(quol::intersection(tiles[i], tiles[k]).isEmpty());
                    }
                    ASSERT_EQ(covered, static_cast<long>(picture[0]) * picture[1])
                        << picture[0] << "x" << picture[1] << ", orientation " << orientation
                        << ", size " << size << ", laid out for " << layoutHeight;
                }
            }
        }
    }
}

TEST(MultiviewLayout, ATileOfAFullHdWallIsWhereTheFractionsSay) {
    const MultiviewLayout layout(0, 3, 1080);
    EXPECT_EQ(quol::tileRect(layout.program(), 0.0F, 1920, 1080), (TileRect{960, 0, 960, 540}));
    EXPECT_EQ(quol::tileRect(layout.cell(2, 3, 0), layout.seam(), 1920, 1080),
              (TileRect{640, 720, 320, 180}));
    EXPECT_EQ(quol::tileRect(layout.cell(1, 1, 1), layout.seam(), 1920, 1080),
              (TileRect{0, 540, 640, 360}));
}

TEST(MultiviewLayout, TilesWithoutASizeOrFarAwayAreEmpty) {
    const MultiviewLayout layout(1, 2, 1080);
    EXPECT_TRUE(quol::tileRect(layout.cell(1, 1, -1), 0.0F, 1920, 1080).isEmpty());
    EXPECT_TRUE(quol::tileRect(layout.cell(1, 1, -3), 0.0F, 1920, 1080).isEmpty());
    EXPECT_TRUE(quol::tileRect(layout.cell(INT_MAX, 1, 0), 0.0F, 1920, 1080).isEmpty());
    EXPECT_TRUE(quol::tileRect(layout.cell(INT_MIN, INT_MIN, 0), 0.0F, 1920, 1080).isEmpty());
    EXPECT_TRUE(quol::tileRect(layout.cell(1, 1, INT_MAX), 0.0F, 1920, 1080).isEmpty());
}

TEST(MultiviewLayout, WhatTwoRectanglesShareIsTheirIntersection) {
    EXPECT_EQ(quol::intersection({0, 0, 10, 10}, {6, 4, 10, 3}), (TileRect{6, 4, 4, 3}));
    EXPECT_TRUE(quol::intersection({0, 0, 10, 10}, {10, 0, 5, 5}).isEmpty());
    EXPECT_TRUE(quol::intersection({0, 0, 10, 10}, {0, -5, 5, 5}).isEmpty());
}
