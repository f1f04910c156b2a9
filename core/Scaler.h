// A cached scaler: rebuilt when its key changes, and only then.
#pragma once

#include "core/Handles.h"

namespace quol {

// Everything a scaler depends on.
struct ScalerKey {
    int sourceWidth = 0;
    int sourceHeight = 0;
    int sourceFormat = AV_PIX_FMT_NONE;
    int width = 0;
    int height = 0;
    int format = AV_PIX_FMT_NONE;
    int flags = 0; // SWS_BILINEAR and its like

    bool operator==(const ScalerKey&) const = default;
};

// One thread at a time.
class Scaler {
public:
    // Makes sure of a scaler for this key. False when there can be none; the next key tries again.
    bool prepare(const ScalerKey& key);

    // From now on the scaler prepared last writes YUV in full range. False when it cannot.
    bool setFullRangeOutput();

    // Scales `source` into the planes given, of the size and format of the key prepared last.
    // False when the picture cannot be read.
    bool run(const AVFrame& source, std::uint8_t* const planes[], const int strides[]);

    // Scales `source` into `target`, whose size, format and buffers stand. False when no scaler can
    // be made; `target` is unchanged then.
    bool scale(const AVFrame& source, AVFrame& target, int flags);

private:
    ScalerKey key_;
    SwsPtr context_;
};

} // namespace quol
