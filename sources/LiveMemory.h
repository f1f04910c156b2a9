// Frames over memory that belongs to a device.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/Handles.h"

namespace quol {

// What a device says of a picture of its own.
struct DevicePicture {
    const std::uint8_t* data = nullptr;
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int stride = 0; // bytes from row to row of the first plane; 0 where rows have no padding
};

// A frame that points at the device's rows and owns nothing; `bytes` is what it spans. The planes
// lie behind each other, chroma rows of planar 4:2:0 being half as far apart. Null for a picture
// that there can be none of, and for rows that would overlap.
FramePtr viewPicture(const DevicePicture& picture, std::size_t& bytes);

// Makes the frame own the device's memory through `holder`, which `giveBack` gets when the last
// reference to the frame's data goes. The data must not be written to. False when memory is short:
// the holder is with the caller still.
template <typename Holder>
bool lendMemory(AVFrame& frame, std::size_t bytes, std::unique_ptr<Holder>& holder,
                void (*giveBack)(void* holder, std::uint8_t* data)) {
    frame.buf[0] =
        av_buffer_create(frame.data[0], bytes, giveBack, holder.get(), AV_BUFFER_FLAG_READONLY);
    if (frame.buf[0] == nullptr) return false;
    holder.release(); // NOLINT(bugprone-unused-return-value): it is the buffer's now
    return true;
}

// Unpacks 10-bit 4:2:2 as cards deliver it ('v210', three samples in a word of 32 bits) into
// AV_PIX_FMT_YUV422P10LE of the same size. False when a row is shorter than the picture is wide.
bool unpackV210(const std::uint8_t* data, int rowBytes, AVFrame& target);

} // namespace quol
