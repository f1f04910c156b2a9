// What OpenGL makes of the mixer's layers, told in plain floating point.
#pragma once

#include <string>
#include <vector>

#include "compositing/LayerLook.h"
#include "core/Handles.h"

namespace test {

// A framebuffer that layers are drawn into as the shaders, the sampling and the blending say.
class ShaderModel {
public:
    ShaderModel(int width, int height);

    // What the framebuffer holds before the next layer: an RGBA picture of its size.
    void load(const AVFrame& rgba);

    // `picture` and `key` are planar 8-bit 4:2:0 or 4:2:2, with or without alpha.
    void draw(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key);

    // Pixels of an RGBA picture that differ by more than `tolerance` in a channel. Those that lie
    // on the edge of a decision of the shader, where a rounding may turn it, are not counted but
    // told by `undecided`.
    int differences(const AVFrame& rgba, int tolerance) const;
    int undecided() const;

private:
    struct Pixel {
        double red = 0.0;
        double green = 0.0;
        double blue = 0.0;
        double alpha = 0.0;
        bool undecided = false;
    };

    int width_;
    int height_;
    std::vector<Pixel> pixels_;
};

} // namespace test
