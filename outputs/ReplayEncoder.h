// Pictures to JPEG, each by itself.
#pragma once

#include <cstdint>
#include <optional>

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "outputs/ReplayForm.h"

namespace quol {

// One thread at a time.
class ReplayEncoder {
public:
    // What an encoder is made for.
    struct Settings {
        int width = 0;
        int height = 0;
        double rate = 0.0; // pictures a second, above 0
        int quality = 0;   // 1 to 100
    };

    // Lets the next picture make a new encoder.
    void reset() { context_.reset(); }

    // Whether pictures of that size can go in without making a new encoder.
    bool fits(int width, int height) const {
        return context_ && context_->width == width && context_->height == height;
    }

    // Makes a new encoder. False when there can be none for that size.
    bool init(const Settings& settings) {
        origin_.reset();
        return open(settings, Minimum::held);
    }

    // The JPEG of a picture of the encoder's size and of any format; null when it cannot be
    // encoded. `slot` counts pictures at the encoder's rate and rises: it is what the encoder
    // keeps its bit rate by. The packet is the encoder's until the next call.
    const AVPacket* encode(const AVFrame& picture, std::int64_t slot);

private:
    // Whether the bit rate is a minimum as well as a maximum.
    enum class Minimum { held, none };
    bool open(const Settings& settings, Minimum minimum);
    bool encodeScratch();

    Settings settings_;
    std::optional<std::int64_t> origin_; // slot of the first picture
    CodecContextPtr context_;
    ReplayForm form_;
    Scaler scaler_; // for pictures that the form does not take
    PicturePool pool_;
    FramePtr scratch_; // full range, planar 4:2:2
    PacketPtr packet_ = makePacket();
};

} // namespace quol
