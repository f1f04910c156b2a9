// Labels, meters and borders of a multiview's tiles as shapes, and the atlas they are written with.
#include "compositing/TileInk.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "compositing/LabelAtlas.h"

namespace {

using quol::GlyphInfo;
using quol::labelAtlas;
using quol::LabelAtlas;
using quol::TileInk;
using quol::TileRect;
using quol::wall::Color;

constexpr TileRect largeTile{0, 0, 480, 270};
constexpr TileRect smallTile{0, 0, 208, 118};

bool isWithin(const TileRect& inner, const TileRect& outer) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.right() <= outer.right() &&
           inner.bottom() <= outer.bottom();
}

} // namespace

// ------------------------------------------------------------------------------------- atlas
TEST(LabelAtlas, HoldsThePrintableCharactersFromTheSpaceOnwardInCellsOf16) {
    for (int code = 0; code < 256; ++code) {
        const GlyphInfo* const glyph = labelAtlas().find(static_cast<char>(code));
        ASSERT_EQ(glyph != nullptr, code >= 32 && code <= 126) << code;
        if (glyph == nullptr) continue;
        EXPECT_EQ(glyph->x, static_cast<float>((code - 32) % 16 * 16));
        EXPECT_EQ(glyph->y, static_cast<float>((code - 32) / 16 * 16));
    }
}

TEST(LabelAtlas, TellsWhatCairoSaysOfABoldSansOf14) {
    const quol::SurfacePtr surface = quol::makeSurface(8, 8);
    const quol::CairoPtr cr(cairo_create(surface.get()));
    cairo_select_font_face(cr.get(), "Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr.get(), 14.0);
    for (const char character : {'A', 'g', 'W', ' ', '~', '1'}) {
        const char text[2] = {character, '\0'};
        cairo_text_extents_t extents;
        cairo_text_extents(cr.get(), text, &extents);
        const GlyphInfo& glyph = *labelAtlas().find(character);
        EXPECT_EQ(glyph.bearingX, static_cast<float>(extents.x_bearing));
        EXPECT_EQ(glyph.bearingY, static_cast<float>(extents.y_bearing));
        EXPECT_EQ(glyph.width, static_cast<float>(extents.width));
        EXPECT_EQ(glyph.height, static_cast<float>(extents.height));
        EXPECT_EQ(glyph.advance, static_cast<float>(extents.x_advance));
    }
}

// The ink of every character begins 2 across and 12 down in its cell.
TEST(LabelAtlas, EveryCharacterIsDrawnAtItsPlaceInItsCell) {
    for (char character = '!'; character <= '~'; ++character) {
        const GlyphInfo& glyph = *labelAtlas().find(character);
        const int left = static_cast<int>(glyph.x) + LabelAtlas::inkX;
        const int top = static_cast<int>(glyph.y) + LabelAtlas::inkY;
        float most = 0.0F;
        float above = 0.0F;
        for (int x = 0; x < static_cast<int>(std::ceil(glyph.width)); ++x) {
            for (int y = 0; y < static_cast<int>(std::ceil(glyph.height)); ++y)
                most = std::max(most, labelAtlas().coverage(left + x, top + y));
        }
        for (int y = 0; y < static_cast<int>(std::ceil(glyph.height)); ++y)
            above = std::max(above, labelAtlas().coverage(left - 2, top + y));
        EXPECT_GT(most, 0.5F) << character;
        if (character == '!') {
            EXPECT_EQ(above, 0.0F);
        }
    }
    EXPECT_EQ(labelAtlas().coverage(-1, 0), 0.0F);
    EXPECT_EQ(labelAtlas().coverage(0, 256), 0.0F);
}

TEST(LabelAtlas, IsWhiteWithAlphaInEveryByte) {
    for (int y = 0; y < LabelAtlas::size; ++y) {
        const unsigned char* const row = labelAtlas().pixels() + y * labelAtlas().stride();
        for (int x = 0; x < LabelAtlas::size; ++x) {
            ASSERT_EQ(row[4 * x], row[4 * x + 3]);
            ASSERT_EQ(row[4 * x + 1], row[4 * x + 3]);
            ASSERT_EQ(row[4 * x + 2], row[4 * x + 3]);
        }
    }
}

// ------------------------------------------------------------------------------- rounded boxes
TEST(RoundedBox, TheDistanceIsThatToItsEdge) {
    // Half sizes 10 by 6, radius 3.
    const auto distance = [](float x, float y) {
        return quol::roundedBoxDistance(x, y, 10.0F, 6.0F, 3.0F);
    };
    EXPECT_FLOAT_EQ(distance(0.0F, 0.0F), -6.0F);
    EXPECT_FLOAT_EQ(distance(10.0F, 0.0F), 0.0F);
    EXPECT_FLOAT_EQ(distance(12.5F, 0.0F), 2.5F);
    EXPECT_FLOAT_EQ(distance(0.0F, -8.0F), 2.0F);
    EXPECT_FLOAT_EQ(distance(-7.0F, 5.5F), -0.5F);
    // The corner's circle has its centre at (7, 3).
    EXPECT_FLOAT_EQ(distance(10.0F, 7.0F), 5.0F - 3.0F);
    EXPECT_FLOAT_EQ(distance(-10.0F, -7.0F), 2.0F);
    // Without a radius the corner is sharp.
    EXPECT_FLOAT_EQ(quol::roundedBoxDistance(13.0F, 10.0F, 10.0F, 6.0F, 0.0F), 5.0F);
}

TEST(RoundedBox, CoverageFallsSmoothlyOverThePixelBeyondTheEdge) {
    EXPECT_FLOAT_EQ(quol::coverageAt(-3.0F), 1.0F);
    EXPECT_FLOAT_EQ(quol::coverageAt(0.0F), 1.0F);
    EXPECT_FLOAT_EQ(quol::coverageAt(0.25F), 1.0F - 0.15625F);
    EXPECT_FLOAT_EQ(quol::coverageAt(0.5F), 0.5F);
    EXPECT_FLOAT_EQ(quol::coverageAt(1.0F), 0.0F);
    EXPECT_FLOAT_EQ(quol::coverageAt(7.0F), 0.0F);
}

// ------------------------------------------------------------------------------------ borders
TEST(TileBorder, TheColourSaysTheTally) {
    EXPECT_EQ(quol::tallyColor(2), (Color{1.0F, 0.0F, 0.0F, 1.0F}));
    EXPECT_EQ(quol::tallyColor(1), (Color{0.0F, 1.0F, 0.0F, 1.0F}));
    for (const int tally : {0, 3, -1})
        EXPECT_EQ(quol::tallyColor(tally), (Color{0.45F, 0.45F, 0.45F, 1.0F}));
}

TEST(TileBorder, IsFourPixelsWideInsideTheTileAndClosed) {
    const TileRect tile{20, 10, 60, 40};
    int covered = 0;
    for (int y = tile.y; y < tile.bottom(); ++y) {
        for (int x = tile.x; x < tile.right(); ++x) {
            int sides = 0;
            for (const TileRect& side : quol::borderRects(tile)) {
                if (!quol::intersection(side, {x, y, 1, 1}).isEmpty()) ++sides;
            }
            const bool isEdge =
                x < tile.x + 4 || x >= tile.right() - 4 || y < tile.y + 4 || y >= tile.bottom() - 4;
            ASSERT_EQ(sides, isEdge ? 1 : 0) << x << " " << y;
            covered += sides;
        }
    }
    EXPECT_EQ(covered, 60 * 40 - 52 * 32);
    for (const TileRect& side : quol::borderRects(tile))
        EXPECT_TRUE(isWithin(side, tile));
    const TileRect tiny{4, 4, 8, 20};
    EXPECT_EQ(quol::borderRects(tiny), std::vector<TileRect>{tiny});
}

// ------------------------------------------------------------------------------------- labels
TEST(TileLabel, HasAPlateCentredAtTheBottomWithTheTextCentredOnIt) {
    const TileInk ink = quol::labelInk(largeTile, "CAM 1");
    ASSERT_EQ(ink.boxes.size(), 1U);
    const TileRect plate = ink.boxes[0].rect;
    EXPECT_EQ(ink.bounds, plate);
    EXPECT_NEAR(plate.x + plate.width * 0.5, 240.0, 2.0);
    EXPECT_EQ(plate.bottom(), 270 - quol::wall::largeLabel.bottomSpacing);
    EXPECT_EQ(plate.height, quol::wall::largeLabel.plateHeight);
    ASSERT_EQ(ink.glyphs.size(), 4U); // the space has no ink
    const int left = ink.glyphs.front().rect.x;
    const int right = ink.glyphs.back().rect.right();
    EXPECT_NEAR(left - plate.x, plate.right() - right, 4.0);
    for (const auto& glyph : ink.glyphs)
        EXPECT_TRUE(isWithin(glyph.rect, plate));
}

TEST(TileLabel, SizesStepAtATileOf209Pixels) {
    const TileRect widestSmall{0, 0, 209, 118};
    const TileRect narrowestLarge{0, 0, 210, 118};
    EXPECT_EQ(quol::labelInk(widestSmall, "A").boxes[0].rect.height,
              quol::wall::smallLabel.plateHeight);
    EXPECT_EQ(quol::labelInk(narrowestLarge, "A").boxes[0].rect.height,
              quol::wall::largeLabel.plateHeight);
    // The small text is smaller; the atlas is read as a whole in both.
    const auto small = quol::labelInk(widestSmall, "A").glyphs[0];
    const auto large = quol::labelInk(narrowestLarge, "A").glyphs[0];
    EXPECT_LT(small.rect.height, large.rect.height);
    EXPECT_NEAR(small.height, large.height, 1.5);
    EXPECT_FLOAT_EQ(large.height, static_cast<float>(large.rect.height));
}

TEST(TileLabel, CharactersBeyondTheAtlasShowNothing) {
    const TileInk plain = quol::labelInk(largeTile, "AB");
    const TileInk mixed = quol::labelInk(largeTile,
                                         "A\xC3\xA9\x01\x7F"
                                         "B\n");
    ASSERT_EQ(mixed.glyphs.size(), 2U);
    EXPECT_EQ(mixed.bounds, plain.bounds);
    EXPECT_EQ(mixed.glyphs[1].rect, plain.glyphs[1].rect);
    EXPECT_TRUE(quol::labelInk(largeTile, "\xC3\xA9").bounds.isEmpty());
}

TEST(TileLabel, IsNotDrawnForAnEmptyNameNorWhereThereIsNoRoom) {
    EXPECT_TRUE(quol::labelInk(largeTile, "").boxes.empty());
    EXPECT_TRUE(quol::labelInk({0, 0, 480, 30}, "CAM 1").boxes.empty());
    EXPECT_TRUE(quol::labelInk({0, 0, 14, 200}, "W").boxes.empty());
}

TEST(TileLabel, ALongTextIsCutAndStaysWithinTheTile) {
    for (const TileRect& tile : {largeTile, smallTile}) {
        const TileInk ink = quol::labelInk(tile, std::string(10000, 'W'));
        ASSERT_FALSE(ink.glyphs.empty());
        EXPECT_LT(ink.glyphs.size(), 60U);
        EXPECT_TRUE(isWithin(ink.bounds, tile));
        EXPECT_LE(ink.bounds.width, 0.8 * tile.width + 2.0);
        EXPECT_LT(ink.bounds.right(), quol::meterInk(tile, 0, 0).bounds.x);
    }
}

// ------------------------------------------------------------------------------------- meters
TEST(TileMeter, ASegmentIsLitWhereItsIndexIsBelow30TimesTheLevel) {
    for (int step = -10; step <= 1200; ++step) {
        const float level = static_cast<float>(step) / 1000.0F;
        int lit = 0;
        for (int i = 0; i < 30; ++i) {
            if (static_cast<float>(i) < level * 30.0F) ++lit;
        }
        ASSERT_EQ(quol::litSegments(level), lit) << level;
    }
    EXPECT_EQ(quol::litSegments(std::numeric_limits<float>::infinity()), 30);
    EXPECT_EQ(quol::litSegments(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(quol::litSegments(1.0e30F), 30);
}

TEST(TileMeter, TheZonesBeginAt65And88PercentOfTheHeight) {
    for (int i = 0; i < 30; ++i) {
        const double height = i / 30.0;
        const Color expected = height < 0.65   ? quol::wall::lowerColor
                               : height < 0.88 ? quol::wall::middleColor
                                               : quol::wall::topColor;
        EXPECT_EQ(quol::segmentColor(i, true), expected) << i;
        EXPECT_FLOAT_EQ(quol::segmentColor(i, false).alpha, 0.4F);
        EXPECT_FLOAT_EQ(quol::segmentColor(i, true).alpha, 1.0F);
    }
    // Green below, yellow between, red on top.
    EXPECT_GT(quol::wall::lowerColor.green, quol::wall::lowerColor.red);
    EXPECT_GT(std::min(quol::wall::middleColor.red, quol::wall::middleColor.green),
              quol::wall::middleColor.blue);
    EXPECT_GT(quol::wall::topColor.red, quol::wall::topColor.green);
}

TEST(TileMeter, PlateAndBarsLieWhereTheTilesCoordinatesSay) {
    const TileRect tile{960, 0, 960, 540};
    const TileInk ink = quol::meterInk(tile, 30, 0);
    ASSERT_EQ(ink.boxes.size(), 61U);
    const TileRect plate = ink.boxes[0].rect;
    EXPECT_EQ(ink.boxes[0].color, (Color{0.0F, 0.0F, 0.0F, 0.55F}));
    const auto across = [](double x) { return 960.0 + (x + 1.0) / 2.0 * 960.0; };
    const auto down = [](double y) { return (1.0 - y) / 2.0 * 540.0; };
    EXPECT_NEAR(plate.x, across(0.84), 1.5);
    EXPECT_NEAR(plate.right(), across(0.96), 1.5);
    EXPECT_NEAR(plate.y, down(0.93), 1.5);
    EXPECT_NEAR(plate.bottom(), down(-0.93), 1.5);
    for (int i = 0; i < 30; ++i) {
        const auto& left = ink.boxes[static_cast<std::size_t>(1 + i)];
        const auto& right = ink.boxes[static_cast<std::size_t>(31 + i)];
        EXPECT_NEAR(left.rect.x, across(0.857), 0.51);
        EXPECT_NEAR(left.rect.right(), across(0.895), 1.01);
        EXPECT_NEAR(right.rect.x, across(0.905), 0.51);
        EXPECT_NEAR(right.rect.right(), across(0.943), 1.01);
        EXPECT_EQ(left.color, quol::segmentColor(i, true));
        EXPECT_EQ(right.color, quol::segmentColor(i, false));
        EXPECT_TRUE(isWithin(left.rect, plate));
        EXPECT_GT(left.rect.height, 0);
        if (i > 0) { // upwards
            EXPECT_LE(left.rect.bottom(), ink.boxes[static_cast<std::size_t>(i)].rect.y);
        }
    }
}

TEST(TileMeter, SegmentsOfALowTileStandOnEachOtherWithoutAGapAndWithoutOverlap) {
    const TileInk ink = quol::meterInk({0, 0, 192, 60}, 10, 10);
    ASSERT_EQ(ink.boxes.size(), 61U);
    for (std::size_t i = 2; i <= 30; ++i) {
        EXPECT_EQ(ink.boxes[i].rect.bottom(), ink.boxes[i - 1].rect.y);
        EXPECT_GT(ink.boxes[i].rect.height, 0);
    }
}

TEST(TileMeter, IsLeftOutWhereThereIsNoRoom) {
    EXPECT_TRUE(quol::meterInk({0, 0, 320, 20}, 5, 5).boxes.empty());
    EXPECT_TRUE(quol::meterInk({0, 0, 20, 320}, 5, 5).boxes.empty());
}
