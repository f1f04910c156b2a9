#include "graphics/PictureInk.h"

#include <algorithm>
#include <cmath>

#include "graphics/CGImages.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

constexpr std::int64_t mostPixels = std::int64_t{1} << 26;

bool canBeSurface(int width, int height) {
    return width > 0 && height > 0 && width <= longestSurfaceSide && height <= longestSurfaceSide &&
           static_cast<std::int64_t>(width) * height <= mostPixels;
}

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* const description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

bool isScaled(const PictureInk& ink) {
    return ink.scaled && ink.box.w > 0.0 && ink.box.h > 0.0 &&
           (ink.box.w != cairo_image_surface_get_width(ink.surface.get()) ||
            ink.box.h != cairo_image_surface_get_height(ink.surface.get()));
}

// Where a picture is sampled: the place of the canvas' corner, and steps from pixel to pixel.
struct Sampling {
    double x = 0.0;
    double y = 0.0;
    double stepX = 1.0;
    double stepY = 1.0;
};

// Cairo samples in steps of 1/65536 pixel, and shifts what they do not meet so that the middle of
// what is drawn comes out best: parts of a picture would not be those of the whole one. Steps that
// it need not round make it the same.
double onGrid(double value) {
    constexpr double grid = 32768.0;
    return std::round(value * grid) / grid;
}

Sampling samplingOf(const PictureInk& ink) {
    Sampling sampling{-ink.box.x, -ink.box.y};
    if (!isScaled(ink)) return sampling;
    constexpr double smallest = 1.0 / 32768.0;
    sampling.stepX =
        std::max(smallest, onGrid(cairo_image_surface_get_width(ink.surface.get()) / ink.box.w));
    sampling.stepY =
        std::max(smallest, onGrid(cairo_image_surface_get_height(ink.surface.get()) / ink.box.h));
    sampling.x = onGrid(-ink.box.x * sampling.stepX);
    sampling.y = onGrid(-ink.box.y * sampling.stepY);
    return sampling;
}

// What a picture touches: enlarged, its edge pixels fade out over half their size.
struct Reach {
    double left;
    double top;
    double right;
    double bottom;
};

Reach reachOf(const PictureInk& ink) {
    const Sampling sampling = samplingOf(ink);
    const int width = cairo_image_surface_get_width(ink.surface.get());
    const int height = cairo_image_surface_get_height(ink.surface.get());
    return {(-1.0 - sampling.x) / sampling.stepX, (-1.0 - sampling.y) / sampling.stepY,
            (width + 1.0 - sampling.x) / sampling.stepX,
            (height + 1.0 - sampling.y) / sampling.stepY};
}

// Whether any of it can be on a surface. A place that is none is on no surface.
bool canBeSeen(const Reach& reach) {
    return reach.left < longestSurfaceSide && reach.top < longestSurfaceSide && reach.right > 0.0 &&
           reach.bottom > 0.0;
}

} // namespace

void drawInk(cairo_t* cr, const PictureInk& ink) {
    // One that is far away puts the surface that is drawn on into error, for good.
    if (!ink.surface || !canBeSeen(reachOf(ink))) return;
    const SavedState saved(cr);
    cairo_set_source_surface(cr, ink.surface.get(), ink.box.x, ink.box.y);
    if (isScaled(ink)) {
        const Sampling sampling = samplingOf(ink);
        cairo_matrix_t matrix;
        cairo_matrix_init(&matrix, sampling.stepX, 0.0, 0.0, sampling.stepY, sampling.x,
                          sampling.y);
        cairo_pattern_set_matrix(cairo_get_source(cr), &matrix);
    }
    cairo_paint_with_alpha(cr, ink.opacity);
}

PixelRect inkBounds(const PictureInk& ink, const PixelRect& bounds) {
    if (!ink.surface) return {};
    const Reach reach = reachOf(ink);
    if (!canBeSeen(reach)) return {};
    return touchedPixels(reach.left, reach.top, reach.right, reach.bottom, bounds);
}

bool VideoItemReader::open(const std::string& path) {
    if (!input_.open(path) || !input_.findStreamInfo()) return false;
    stream_ = input_.firstStream(AVMEDIA_TYPE_VIDEO);
    const AVStream* const stream = input_.stream(stream_);
    if (stream == nullptr) return false;
    decoder_ = openDecoder(*stream, DecoderThreads::one);
    packet_ = makePacket();
    return decoder_ != nullptr && packet_ != nullptr;
}

int VideoItemReader::width() const {
    return decoder_ ? decoder_->width : 0;
}

int VideoItemReader::height() const {
    return decoder_ ? decoder_->height : 0;
}

std::shared_ptr<cairo_surface_t> VideoItemReader::next(int width, int height, bool loop) {
    if (!decoder_) return nullptr;
    const FramePtr picture = decodeNext(loop);
    if (!picture) return nullptr;
    if (width_ == 0 && canBeSurface(width, height)) {
        width_ = width;
        height_ = height;
    }
    return width_ > 0 ? toSurface(*picture) : nullptr;
}

FramePtr VideoItemReader::receive() {
    FramePtr picture = makeFrame();
    if (!picture || avcodec_receive_frame(decoder_.get(), picture.get()) < 0) return nullptr;
    return picture;
}

// At the end the decoder gives what it has held back, then the file is at its end for one call.
FramePtr VideoItemReader::decodeNext(bool loop) {
    while (!drained_) {
        FramePtr picture = receive();
        if (picture) return picture;
        if (av_read_frame(input_.get(), packet_.get()) < 0) {
            drained_ = true;
            avcodec_send_packet(decoder_.get(), nullptr);
            break;
        }
        if (packet_->stream_index == stream_) avcodec_send_packet(decoder_.get(), packet_.get());
        av_packet_unref(packet_.get());
    }
    FramePtr held = receive();
    if (held || !loop) return held;
    av_seek_frame(input_.get(), stream_, 0, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(decoder_.get());
    drained_ = false;
    return nullptr;
}

std::shared_ptr<cairo_surface_t> VideoItemReader::toSurface(const AVFrame& picture) {
    SurfacePtr surface = makeSurface(width_, height_);
    if (!surface) return nullptr;
    cairo_surface_flush(surface.get());
    std::uint8_t* const planes[4] = {cairo_image_surface_get_data(surface.get()), nullptr, nullptr,
                                     nullptr};
    const int strides[4] = {cairo_image_surface_get_stride(surface.get()), 0, 0, 0};
    const ScalerKey key{picture.width, picture.height,  picture.format, width_,
                        height_,       AV_PIX_FMT_BGRA, SWS_BILINEAR};
    if (!scaler_.prepare(key) || !scaler_.run(picture, planes, strides)) return nullptr;
    if (hasAlpha(picture.format)) premultiply(planes[0], width_, height_, strides[0]);
    cairo_surface_mark_dirty(surface.get());
    return {surface.release(), cairo_surface_destroy};
}

} // namespace quol
