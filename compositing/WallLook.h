// How a multiview's wall looks, as far as a control room decides it. Everything is in pixels of the
// picture unless it says otherwise.
#pragma once

namespace quol::wall {

// A colour and how much it covers, 0 to 1.
struct Color {
    float red = 0.0F;
    float green = 0.0F;
    float blue = 0.0F;
    float alpha = 1.0F;

    bool operator==(const Color&) const = default;
};

// The tally border lies inside the tile, so that no neighbour covers it.
inline constexpr int borderWidth = 4;
inline constexpr Color programBorder{1.0F, 0.0F, 0.0F, 1.0F};
inline constexpr Color previewBorder{0.0F, 1.0F, 0.0F, 1.0F};
inline constexpr Color plainBorder{0.45F, 0.45F, 0.45F, 1.0F};

// The plate of a label and its text, centred at the bottom of the tile.
struct LabelSizes {
    float textScale;   // of the 14-pixel font
    int plateHeight;   // even
    int padding;       // at both ends of the text
    float radius;      // of the corners
    int bottomSpacing; // between the plate and the edge of the tile, even
};
inline constexpr int widestSmallTile = 209;
inline constexpr LabelSizes largeLabel{1.0F, 22, 9, 5.0F, 10};
inline constexpr LabelSizes smallLabel{0.75F, 16, 6, 4.0F, 8};
inline constexpr float widestPlate = 0.8F; // of the tile's width; what does not fit is cut off
inline constexpr Color plateColor{0.06F, 0.07F, 0.09F, 0.8F};
inline constexpr Color plateEdge{0.62F, 0.64F, 0.68F, 0.9F};
inline constexpr float plateEdgeWidth = 1.0F;
inline constexpr Color textColor{1.0F, 1.0F, 1.0F, 1.0F};

// The audio meter, in the tile's own coordinates: -1 to 1, x to the right, y upwards.
inline constexpr float meterLeft = 0.84F;
inline constexpr float meterRight = 0.96F;
inline constexpr float meterBottom = -0.93F;
inline constexpr float meterTop = 0.93F;
inline constexpr Color meterPlate{0.0F, 0.0F, 0.0F, 0.55F};
inline constexpr float leftBarBegin = 0.857F;
inline constexpr float leftBarEnd = 0.895F;
inline constexpr float rightBarBegin = 0.905F;
inline constexpr float rightBarEnd = 0.943F;
inline constexpr float barBottom = -0.905F;
inline constexpr float barTop = 0.905F;
inline constexpr int segments = 30;
inline constexpr int smallestSegmentWithGap = 3; // lower ones stand on each other
inline constexpr float middleZone = 0.65F;       // of the bar's height: where it begins
inline constexpr float topZone = 0.88F;
inline constexpr Color lowerColor{0.10F, 0.80F, 0.22F, 1.0F};
inline constexpr Color middleColor{0.98F, 0.84F, 0.12F, 1.0F};
inline constexpr Color topColor{0.95F, 0.15F, 0.12F, 1.0F};
inline constexpr float unlitAlpha = 0.4F;
inline constexpr float unlitShade = 0.3F; // of the segment's colour
// A tile that has had no sound for this long has no meter. Nanoseconds.
inline constexpr long long soundCounts = 1'000'000'000;
// Nor has one with less room than this.
inline constexpr int narrowestMeter = 4;
inline constexpr int lowestMeter = segments;

// Rounds between two debug lines: ten seconds at 50 pictures a second.
inline constexpr int roundsBetweenLines = 500;

} // namespace quol::wall
