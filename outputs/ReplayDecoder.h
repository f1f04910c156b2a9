// From a stored JPEG to a picture of the output's form.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "outputs/ReplayFiles.h"
#include "outputs/ReplayView.h"

namespace quol {

struct ReplaySize {
    int width = 0;
    int height = 0;
};

// The size that a JPEG says it has; nothing where it says none.
std::optional<ReplaySize> jpegSize(const std::uint8_t* bytes, std::size_t size);

// One thread at a time.
class ReplayDecoder {
public:
    // The picture of a piece in planar 4:2:0 with an opaque alpha plane, scaled to that size; a
    // width or height below 1 is the stored picture's own. Null when the file has it not whole, or
    // it cannot be decoded. The frame is the caller's, its memory is shared and not to be written.
    // Asked for the same piece again, as for slots that share one, it decodes nothing.
    FramePtr picture(const std::shared_ptr<ReplayReader>& reader, const ReplayPiece& piece,
                     ReplaySize size);

private:
    bool open();
    FramePtr decode(const ReplayReader& reader, const ReplayPiece& piece);
    FramePtr convert(const AVFrame& decoded, ReplaySize size);

    CodecContextPtr context_;
    PacketPtr packet_;
    std::vector<std::uint8_t> bytes_;
    ReplayView view_;
    Scaler scaler_; // for other sizes, and what the view does not take
    PicturePool pool_;

    // The latest picture, and what it was made from.
    FramePtr latest_;
    std::weak_ptr<ReplayReader> latestReader_; // not kept: its file may be meant to go
    ReplayPiece latestPiece_;
    ReplaySize latestSize_;
};

} // namespace quol
