// Colours that no RGB has, in the rows of a tile.
#pragma once

#include <cstdint>
#include <vector>

namespace quol {

// YUV reaches beyond what red, green and blue between 0 and 1 can show. OpenGL's programs bring
// each pixel back into their range before they add them up; this does the same for one row of
// chroma and the rows of luma that belong to it. Few rows have such colours, so they are looked for
// first.
//
// Kept by one thread for its memory.
class TileGamut {
public:
    // Values of 64 a level, in limited range: two rows of luma, one behind the other's width, and
    // one of chroma.
    struct Rows {
        const std::int16_t* luma[2]; // the second null at the end of an odd height
        const std::int16_t* u;
        const std::int16_t* v;
        int width; // of luma
    };

    // Whether a pixel leaves the range by more than a level and a half: what is less is not seen,
    // and pure white and black would always do.
    bool isLeft(const Rows& rows);

    // Puts the pixels of the rows that `isLeft` was asked about right, given their levels of full
    // range; those of one sample of chroma together, by that sample. All others stay as they are.
    void hold(const Rows& rows, std::uint8_t* const luma[2], std::uint8_t* u,
              std::uint8_t* v) const;

private:
    // What chroma adds to luma, for each pixel, in sixteenths of a level.
    std::vector<std::int16_t> red_;
    std::vector<std::int16_t> green_;
    std::vector<std::int16_t> blue_;
    std::vector<std::int16_t> most_; // the largest and the smallest of the three
    std::vector<std::int16_t> least_;
};

} // namespace quol
