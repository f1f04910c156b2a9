// One picture in the form a device takes, in memory that is used again for every picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/Scaler.h"

namespace quol {

// What a device wants to be given: one packed plane.
struct PictureForm {
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int rowBytes = 0;

    bool operator==(const PictureForm&) const = default;
};

// Bytes of a row of pixels in a packed format of whole bytes a pixel; 0 for a size below 1.
int packedRowBytes(AVPixelFormat format, int width);

// One thread at a time.
class OutputPicture {
public:
    // Brings `frame` into `form`: rows are copied where size and format fit already, else the
    // scaler writes straight into the buffer. What cannot be read or converted leaves the buffer as
    // it was, black for the first picture in a form. Bytes that pad a row are zero. False when
    // there is no buffer of that form: no size, rows too short, memory short.
    //
    // `scalingFlags` count when a scaler is made: for another form of picture on either side, or
    // behind `forgetScaler`.
    bool draw(const AVFrame& frame, const PictureForm& form, int scalingFlags);

    void forgetScaler() { key_ = {}; }

    std::uint8_t* data() { return buffer_.get(); }
    std::size_t size() const { return size_; } // row bytes x height

private:
    struct AlignedDelete {
        void operator()(std::uint8_t* bytes) const noexcept;
    };

    bool take(const PictureForm& form);
    void copyRows(const AVFrame& frame, const PictureForm& form);
    void scale(const AVFrame& frame, const PictureForm& form, int scalingFlags);

    std::unique_ptr<std::uint8_t, AlignedDelete> buffer_;
    PictureForm form_; // of what the buffer holds
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    Scaler scaler_;
    ScalerKey key_; // of the scaler in use
};

} // namespace quol
