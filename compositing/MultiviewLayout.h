// Where the tiles of a multiview lie.
#pragma once

#include <string>

namespace quol {

// A rectangle in fractions of the picture, origin at the top left.
struct TilePlace {
    float x = 0.0F;
    float y = 0.0F;
    float w = 0.0F;
    float h = 0.0F;

    bool operator==(const TilePlace&) const = default;
};

inline constexpr const char* previewKey = "PVW";
inline constexpr const char* programKey = "PGM";

// Row "_" column.
std::string gridKey(int row, int column);

// The two large windows and the grid beside them, for one orientation, grid size and height of the
// picture.
class MultiviewLayout {
public:
    // Another orientation than 0 to 3 counts as 0, a height below 1 as 1080.
    MultiviewLayout(int orientation, int gridSize, int height);

    TilePlace preview() const { return preview_; }
    TilePlace program() const { return program_; }

    // The tile in that row and column, counted from 1, over `span` more cells each way. A grid size
    // below 1 gives cells without a size.
    TilePlace cell(int row, int column, int span) const;

    // How far up the grid was moved, a fraction of the picture: half a line where it lies in the
    // lower half, so that the line between the halves belongs to it.
    float seam() const { return seam_; }

private:
    TilePlace preview_;
    TilePlace program_;
    TilePlace firstCell_;
    float seam_ = 0.0F;
};

// A rectangle in pixels; it may reach beyond the picture.
struct TileRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }
    bool operator==(const TileRect&) const = default;
};

// The pixels of a tile. Every edge lies on an even pixel, where a sample of chroma begins, or on
// the edge of the picture: neighbours meet there without a gap and without sharing a sample,
// whatever the size of the picture. Empty for a tile without a size, and for one a million pixels
// away. `seam` is that of the layout for tiles of the grid, and 0 for the large windows.
TileRect tileRect(const TilePlace& place, float seam, int width, int height);

// What two rectangles share; empty where they do not meet.
TileRect intersection(const TileRect& a, const TileRect& b);

} // namespace quol
