// What is drawn over the picture of a tile: as shapes, which each renderer draws in its own way.
#pragma once

#include <string>
#include <vector>

#include "compositing/MultiviewLayout.h"
#include "compositing/WallLook.h"

namespace quol {

// A box with round corners.
struct InkBox {
    TileRect rect;
    float radius = 0.0F;
    wall::Color color;
    wall::Color edge;
    float edgeWidth = 0.0F; // 0 for a box without one
};

// A part of the atlas, scaled into a rectangle.
struct InkGlyph {
    TileRect rect;
    float x = 0.0F; // in pixels of the atlas
    float y = 0.0F;
    float width = 0.0F;
    float height = 0.0F;
};

// Boxes, and text on them. Positions are those of the picture.
struct TileInk {
    TileRect bounds; // of all of it, on even pixels; empty when nothing is drawn
    std::vector<InkBox> boxes;
    std::vector<InkGlyph> glyphs;
};

// How far a point lies outside a rounded box about the origin; below 0 inside. (px, py) from the
// centre, half the size, the radius of the corners.
float roundedBoxDistance(float px, float py, float halfWidth, float halfHeight, float radius);

// How much of a pixel is covered at a distance: all up to 0, nothing from 1 on.
float coverageAt(float distance);

wall::Color tallyColor(int tally);

// The four sides of a tile's border, clockwise from the top; all of a tile that is smaller.
std::vector<TileRect> borderRects(const TileRect& tile);

// The label of a tile: nothing for an empty name, and for a tile that it has no room in. Characters
// that are not in the atlas are left out.
TileInk labelInk(const TileRect& tile, const std::string& name);

// How many of a bar's segments a level lights: those whose index is below level * 30.
int litSegments(float level);

wall::Color segmentColor(int segment, bool isLit);

// The audio meter of a tile. Nothing where there is no room for it.
TileInk meterInk(const TileRect& tile, int litLeft, int litRight);

} // namespace quol
