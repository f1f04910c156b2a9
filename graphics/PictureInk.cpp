#include "graphics/PictureInk.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "graphics/CGImages.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// Cairo knows no larger surfaces.
constexpr int longestSide = 32767;
constexpr std::int64_t mostPixels = std::int64_t{1} << 26;

bool canBeSurface(int width, int height) {
    return width > 0 && height > 0 && width <= longestSide && height <= longestSide &&
           static_cast<std::int64_t>(width) * height <= mostPixels;
}

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* const description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

} // namespace

void drawInk(cairo_t* cr, const PictureInk& ink) {
    if (!ink.surface) return;
    const SavedState saved(cr);
    cairo_translate(cr, ink.box.x, ink.box.y);
    if (ink.scaled && ink.box.w > 0.0 && ink.box.h > 0.0) {
        cairo_scale(cr, ink.box.w / cairo_image_surface_get_width(ink.surface.get()),
                    ink.box.h / cairo_image_surface_get_height(ink.surface.get()));
    }
    cairo_set_source_surface(cr, ink.surface.get(), 0.0, 0.0);
    cairo_paint_with_alpha(cr, ink.opacity);
}

PixelRect inkBounds(const PictureInk& ink, const PixelRect& bounds) {
    if (!ink.surface) return {};
    const bool toBox = ink.scaled && ink.box.w > 0.0 && ink.box.h > 0.0;
    const double width = toBox ? ink.box.w : cairo_image_surface_get_width(ink.surface.get());
    const double height = toBox ? ink.box.h : cairo_image_surface_get_height(ink.surface.get());
    // Enlarged, the edge pixels fade out over half their size.
    const double acrossFade = width / cairo_image_surface_get_width(ink.surface.get());
    const double downFade = height / cairo_image_surface_get_height(ink.surface.get());
    return touchedPixels(ink.box.x - acrossFade, ink.box.y - downFade,
                         ink.box.x + width + acrossFade, ink.box.y + height + downFade, bounds);
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
