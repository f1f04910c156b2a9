/// @file
/// One layer of a mixer.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "quolsdk/export.h"

class LObject;

namespace quol {
struct LayerState;
} // namespace quol

/// A layer of LMixer: where it lies, how it looks, and what it shows. LMixer::getLayer hands out a
/// pointer to it, which stands until the layer is removed or the mixer goes.
///
/// The atomic fields may be read and written at any time from any thread; the next picture shows
/// the change. The others are written by the mixer, under its layer lock: read them, and write
/// `borderColor`, in LMixer::editLayer where another thread may change the layer.
struct QUOLSDK_API LLayerItem {
    explicit LLayerItem(std::string key); ///< an empty layer of that name
    LLayerItem(const LLayerItem&) = delete;
    LLayerItem& operator=(const LLayerItem&) = delete;
    ~LLayerItem();

    const std::string name; ///< the layer's key

    LObject* source = nullptr;       ///< of the picture and the sound, not owned; null for an image
    std::atomic<bool> visible{true}; ///< false leaves it out, sound included
    std::atomic<int> alpha{255};     ///< opacity 0..255; stored as given, counts within that range
    std::atomic<float> x{0.0F};      ///< left edge on the canvas, pixels, cut to a whole number
    std::atomic<float> y{0.0F};      ///< top edge on the canvas, pixels, cut to a whole number
    std::atomic<float> width{-1.0F}; ///< pixels; 0 and below: the picture's own
    std::atomic<float> height{-1.0F};      ///< pixels; 0 and below: the picture's own
    std::atomic<float> cropTop{0.0F};      ///< pixels taken off each edge
    std::atomic<float> cropBottom{0.0F};   ///< @copydoc cropTop
    std::atomic<float> cropLeft{0.0F};     ///< @copydoc cropTop
    std::atomic<float> cropRight{0.0F};    ///< @copydoc cropTop
    std::atomic<int> borderThickness{0};   ///< pixels; 0 and below: no border
    std::string borderColor = "#FFFFFF";   ///< "#RRGGBB" or "#RGB"; any other text is white
    std::atomic<int> borderAlpha{255};     ///< opacity of the border 0..255
    std::atomic<int> borderRadius{0};      ///< of the corners, percent of the smaller side
    std::atomic<bool> audioEnabled{false}; ///< whether its sound joins the mix
    std::atomic<int> audioGain{100};       ///< percent; 0 and below keeps the sound out
    std::atomic<int> zIndex{0};            ///< higher is painted later, equal by name
    LObject* keySource = nullptr;          ///< of the key, not owned; downstream keys only
    std::atomic<bool> isDSK{false};        ///< a downstream key

    /// Sinks, pictures and caches: the mixer's own.
    const std::unique_ptr<quol::LayerState> state;
};
