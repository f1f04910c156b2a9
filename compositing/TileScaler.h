// Pictures scaled into their tiles on the main processor.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "compositing/AxisFilter.h"
#include "compositing/MultiviewLayout.h"
#include "compositing/TileGamut.h"
#include "core/Handles.h"

namespace quol {

// Writes pictures in full range into a part of a planar 4:2:0 picture, as the tile programs of
// OpenGL draw them: YUV is read as BT.601 in limited range, RGB and grey as they are, alpha lies
// over black, colours that no RGB has are brought back into it.
//
// Prepared for one shape of the source and one place; then any rows of it can be scaled, several
// threads at a time.
class TileScaler {
public:
    // Memory for one thread, kept between calls.
    struct Scratch {
        std::vector<std::uint16_t> sums;
        std::vector<std::int16_t> picked;
        std::array<std::vector<std::int16_t>, 3> values;
        std::array<std::vector<std::int16_t>, 2> chroma;
        std::vector<std::int16_t> alpha;
        TileGamut gamut;
    };

    // For pictures like this one, 8 bits a sample, in a tile of which `visible` is seen. Both begin
    // on even pixels. Nothing to do when nothing has changed.
    void prepare(const AVFrame& source, const TileRect& tile, const TileRect& visible);

    // Scales the rows of chroma from `from` to `to`, counted from the top of what is visible, and
    // the rows of luma that belong to them, two each. `x`, `y` is where the upper left corner of
    // what is visible lies on the canvas, even.
    void run(const AVFrame& source, AVFrame& canvas, int x, int y, int from, int to,
             Scratch& scratch) const;

    int chromaRows() const { return (visible_.height + 1) / 2; }

private:
    // Where the samples of one kind lie in memory.
    struct Component {
        int plane = 0;
        int offset = 0; // bytes from the beginning of a row
        int step = 1;   // bytes from one sample to the next
        int width = 0;  // samples
        int height = 0;
        int rowBytes = 0;       // that are read of a row
        bool sharesRow = false; // with the component taken before it
    };

    // The filters of a component for luma, or chroma, of the tile.
    struct Filters {
        AxisFilter across;
        AxisFilter down;
    };

    struct Form {
        int width = 0;
        int height = 0;
        int format = AV_PIX_FMT_NONE;
        TileRect tile;
        TileRect visible;
        bool operator==(const Form&) const = default;
    };

    void describe(AVPixelFormat format);
    AxisFilter filter(int source, int target, int samples, bool isAcross, int pixels, int from,
                      int length) const;
    Filters filtersFor(const Component& component, int pixels) const;
    static void shareRows(Component& first, Component& second);
    static void takeDown(const AVFrame& source, const Component& component, const AxisFilter& down,
                         int output, Scratch& scratch);
    static void takeAcross(const Component& component, const AxisFilter& across, Scratch& scratch,
                           std::vector<std::int16_t>& values);
    // Rows of the canvas: those of luma, of which the second is missing at the end of an odd
    // height, and those of the chroma they share.
    struct Target {
        std::uint8_t* luma[2];
        std::uint8_t* u;
        std::uint8_t* v;
    };

    void greyRows(const AVFrame& source, const Target& target, int output, Scratch& scratch) const;
    void rgbRows(const AVFrame& source, const Target& target, int output, Scratch& scratch) const;
    void yuvRows(const AVFrame& source, const Target& target, int output, Scratch& scratch) const;
    void fade(const AVFrame& source, const Target& target, int output, Scratch& scratch) const;

    Form form_;
    TileRect visible_;
    bool isRgb_ = false;
    bool isGrey_ = false;
    bool hasAlpha_ = false;
    std::array<Component, 3> components_; // Y U V, or R G B; of grey the first
    Component alpha_;
    Filters lumaFilters_;        // of the tile's luma from full samples
    Filters chromaFilters_;      // of the tile's chroma from the source's
    Filters alphaChromaFilters_; // of the tile's chroma from full samples: alpha, RGB
};

} // namespace quol
