// Layers on the processor's renderer, and what their picture must be.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "core/Handles.h"

namespace test {

// A renderer with layers, each with caches that last from picture to picture as the mixer's do.
class LayerScene {
public:
    LayerScene();

    // On top of those that are there. The pictures have to stay.
    void add(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key = nullptr);

    // Takes all layers away; the next ones find the caches of those that had their place.
    void clear() { layers_.clear(); }

    quol::FramePtr render(const quol::Canvas& canvas) { return renderer_->render(canvas, layers_); }

    // The same picture made without haste: all layers, each of them scaled anew.
    quol::FramePtr reference(const quol::Canvas& canvas) const;

    quol::ScaledPicture& scaledPicture(std::size_t place) { return states_[place]->picture.scaled; }

    // Renders and compares with the reference. What differs, and on what scene; empty for nothing.
    std::string differenceOn(const quol::Canvas& canvas);

private:
    std::string description() const;

    std::unique_ptr<quol::LayerRenderer> renderer_;
    std::vector<quol::RenderedLayer> layers_;
    std::vector<std::unique_ptr<quol::LayerState>> states_;
};

// Bilinear, by a scaler made for this one picture.
quol::FramePtr scaledByHand(const AVFrame& source, int width, int height, AVPixelFormat format);

// The bytes of a picture of any format, without what pads its rows; samples that lie outside are 0.
std::string visibleBytes(const AVFrame& picture);

// The first of those bytes that differs, as text; empty for none.
std::string firstDifference(const AVFrame& picture, const AVFrame& expected);

// A look that lies there, in that size or in the picture's own.
quol::LayerLook lookAt(int x, int y, float width = -1.0F, float height = -1.0F);

} // namespace test
