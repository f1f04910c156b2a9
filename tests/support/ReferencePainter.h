// What a picture of the processor path must be, told sample by sample and without any haste.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "compositing/LayerLook.h"
#include "core/Handles.h"

namespace test {

// A canvas of planar 4:2:0, with coverage, that layers are painted on.
class ReferencePainter {
public:
    // Black, with nothing covered.
    ReferencePainter(int width, int height);
    // As this picture of planar 4:2:0 is; one without alpha counts as not covered.
    explicit ReferencePainter(const AVFrame& canvas);

    // `picture` and `key` (null for none) have the target's size already and are planar 4:2:0, with
    // or without alpha.
    void paint(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key);

    // A copy of what has been painted so far, as yuva420p or without the coverage as yuv420p.
    quol::FramePtr picture(bool withAlpha) const;

    // Where the first plane of `picture` that differs is, and what it holds; empty when none does.
    std::string firstDifference(const AVFrame& picture) const;

private:
    struct Plane {
        int width;
        int height;
        std::vector<int> samples;

        int& at(int x, int y) { return samples[static_cast<std::size_t>(y) * width + x]; }
        bool holds(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    };

    void copy(const quol::LayerLook& look, const AVFrame& picture);
    void blend(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key, int plane);

    int width_;
    int height_;
    std::array<Plane, 4> planes_;
};

} // namespace test
