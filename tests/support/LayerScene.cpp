#include "support/LayerScene.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/Frames.h"
#include "support/ReferencePainter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace test {

namespace {

bool isPlanarWithAlpha(int format) {
    return format == AV_PIX_FMT_YUVA420P || format == AV_PIX_FMT_YUVA422P;
}

bool keepsAlpha(AVPixelFormat format) {
    return isPlanarWithAlpha(format) || format == AV_PIX_FMT_RGBA || format == AV_PIX_FMT_ARGB;
}

// Whether the layer goes on the canvas without a blend.
bool isCopied(const quol::LayerLook& look, const AVFrame& picture) {
    const bool isCropped = look.cropLeft > 0.0F || look.cropTop > 0.0F || look.cropRight > 0.0F ||
                           look.cropBottom > 0.0F;
    return !look.isKeyed && !isPlanarWithAlpha(picture.format) && look.alpha >= 255 &&
           look.borderThickness <= 0 && !isCropped;
}

void paint(ReferencePainter& painter, const quol::RenderedLayer& layer) {
    const quol::LayerLook& look = layer.look;
    const int width = look.width > 0.0F ? static_cast<int>(look.width) : layer.picture->width;
    const int height = look.height > 0.0F ? static_cast<int>(look.height) : layer.picture->height;
    if (width < 1 || height < 1) return;
    const quol::FramePtr picture =
        scaledByHand(*layer.picture, width, height,
                     isCopied(look, *layer.picture) ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUVA420P);
    quol::FramePtr key;
    if (look.isKeyed && layer.key != nullptr) {
        key = scaledByHand(
            *layer.key, width, height,
            isPlanarWithAlpha(layer.key->format) ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
    }
    if (picture) painter.paint(look, *picture, key.get());
}

// The same picture of planar 4:2:0 with noise in one more column and row where its size is odd:
// swscale leaves the last ones of odd pictures out in some conversions.
quol::FramePtr widenedToEven(const AVFrame& picture) {
    quol::FramePtr even = makePicture((picture.width + 1) / 2 * 2, (picture.height + 1) / 2 * 2,
                                      static_cast<AVPixelFormat>(picture.format));
    for (int plane = 0; plane < 4 && picture.data[plane] != nullptr; ++plane) {
        const int half = plane == 1 || plane == 2 ? 1 : 0;
        for (int row = 0; row < (picture.height + half) >> half; ++row) {
            const std::uint8_t* const from =
                picture.data[plane] + static_cast<std::ptrdiff_t>(row) * picture.linesize[plane];
            std::copy(from, from + ((picture.width + half) >> half),
                      even->data[plane] + static_cast<std::ptrdiff_t>(row) * even->linesize[plane]);
        }
    }
    return even;
}

std::string formatName(const AVFrame& frame) {
    return std::string(av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format))) + " " +
           std::to_string(frame.width) + " x " + std::to_string(frame.height);
}

} // namespace

LayerScene::LayerScene() : renderer_(quol::makeProcessorRenderer()) {}

void LayerScene::add(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key) {
    const std::size_t place = layers_.size();
    if (states_.size() <= place) states_.push_back(std::make_unique<quol::LayerState>());
    layers_.push_back({look, &picture, key, states_[place].get()});
}

quol::FramePtr LayerScene::reference(const quol::Canvas& canvas) const {
    ReferencePainter painter(canvas.width, canvas.height);
    for (const quol::RenderedLayer& layer : layers_)
        paint(painter, layer);
    quol::FramePtr painted = painter.picture(keepsAlpha(canvas.format));
    if (!painted || painted->format == canvas.format) return painted;
    const quol::FramePtr even = widenedToEven(*painted);
    quol::FramePtr converted = scaledByHand(*even, even->width, even->height, canvas.format);
    converted->width = canvas.width;
    converted->height = canvas.height;
    return converted;
}

std::string LayerScene::differenceOn(const quol::Canvas& canvas) {
    const quol::FramePtr picture = render(canvas);
    const quol::FramePtr expected = reference(canvas);
    const std::string difference =
        picture && expected ? firstDifference(*picture, *expected) : "no picture";
    if (difference.empty()) return "";
    return difference + "\n  of " + std::to_string(canvas.width) + " x " +
           std::to_string(canvas.height) + description();
}

std::string LayerScene::description() const {
    testing::Message text;
    for (const quol::RenderedLayer& layer : layers_) {
        const quol::LayerLook& look = layer.look;
        text << "\n  " << formatName(*layer.picture) << " as " << look.width << " x " << look.height
             << " at " << look.x << "," << look.y << ", alpha " << look.alpha << ", crop "
             << look.cropLeft << " " << look.cropTop << " " << look.cropRight << " "
             << look.cropBottom << ", border " << look.borderThickness << " of " << look.borderAlpha
             << ", radius " << look.borderRadius;
        if (look.isKeyed) text << ", keyed";
        if (layer.key != nullptr) text << ", key " << formatName(*layer.key);
    }
    return text.GetString();
}

quol::FramePtr scaledByHand(const AVFrame& source, int width, int height, AVPixelFormat format) {
    quol::FramePtr scaled = makePicture(width, height, format);
    const quol::SwsPtr scaler(
        sws_getContext(source.width, source.height, static_cast<AVPixelFormat>(source.format),
                       width, height, format, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaled || !scaler) return nullptr;
    sws_scale(scaler.get(), source.data, source.linesize, 0, source.height, scaled->data,
              scaled->linesize);
    return scaled;
}

std::string visibleBytes(const AVFrame& picture) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const int size = av_image_get_buffer_size(format, picture.width, picture.height, 1);
    std::string bytes(static_cast<std::size_t>(std::max(0, size)), '\0');
    av_image_copy_to_buffer(reinterpret_cast<std::uint8_t*>(bytes.data()), size, picture.data,
                            picture.linesize, format, picture.width, picture.height, 1);
    // Packed 4:2:2 holds two pixels together; the second of the last two may lie outside.
    const bool isPacked = format == AV_PIX_FMT_UYVY422 || format == AV_PIX_FMT_YUYV422;
    if (isPacked && picture.width % 2 != 0) {
        const std::size_t length = static_cast<std::size_t>(picture.width + 1) * 2;
        const std::size_t place = length - (format == AV_PIX_FMT_UYVY422 ? 1 : 2);
        for (std::size_t i = place; i < bytes.size(); i += length)
            bytes[i] = 0;
    }
    return bytes;
}

std::string firstDifference(const AVFrame& picture, const AVFrame& expected) {
    if (picture.width != expected.width || picture.height != expected.height ||
        picture.format != expected.format)
        return "another size or format: " + formatName(picture);
    const std::string bytes = visibleBytes(picture);
    const std::string wanted = visibleBytes(expected);
    const auto [is, should] = std::mismatch(bytes.begin(), bytes.end(), wanted.begin());
    if (is == bytes.end()) return "";
    return "byte " + std::to_string(is - bytes.begin()) + ": " +
           std::to_string(static_cast<unsigned char>(*is)) + " in place of " +
           std::to_string(static_cast<unsigned char>(*should));
}

quol::LayerLook lookAt(int x, int y, float width, float height) {
    quol::LayerLook look;
    look.x = x;
    look.y = y;
    look.width = width;
    look.height = height;
    return look;
}

} // namespace test
