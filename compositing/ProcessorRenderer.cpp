// Pictures made on the main processor.
#include <algorithm>
#include <utility>

#include "compositing/LayerPaint.h"
#include "compositing/LayerRenderer.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// A layer is scaled into memory of its own, so its size has to have an end.
constexpr int longestSide = 32768;
constexpr std::int64_t mostSamples = std::int64_t{1} << 27;

bool canBeScaledTo(const PictureSize& size) {
    return size.width > 0 && size.height > 0 && size.width <= longestSide &&
           size.height <= longestSide &&
           static_cast<std::int64_t>(size.width) * size.height <= mostSamples;
}

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* const description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

bool isPlanarWithAlpha(int format) {
    return format == AV_PIX_FMT_YUVA420P || format == AV_PIX_FMT_YUVA422P;
}

bool isCropped(const LayerLook& look) {
    return look.cropTop > 0.0F || look.cropBottom > 0.0F || look.cropLeft > 0.0F ||
           look.cropRight > 0.0F;
}

// A layer that is copied as it is. A radius does not count, nor does alpha in packed formats.
bool isCopied(const LayerLook& look, const AVFrame& picture) {
    return !look.isKeyed && !isPlanarWithAlpha(picture.format) && look.alpha >= 255 &&
           look.borderThickness <= 0 && !isCropped(look);
}

// A frame of its own on the memory of another.
FramePtr sharedPicture(const AVFrame& source) {
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    frame->width = source.width;
    frame->height = source.height;
    frame->format = source.format;
    for (int i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        frame->data[i] = source.data[i];
        frame->linesize[i] = source.linesize[i];
        if (source.buf[i] == nullptr) continue;
        frame->buf[i] = av_buffer_ref(source.buf[i]);
        if (frame->buf[i] == nullptr) return nullptr;
    }
    frame->extended_data = frame->data;
    return frame;
}

class ProcessorRenderer final : public LayerRenderer {
public:
    FramePtr render(const Canvas& canvas, const std::vector<RenderedLayer>& layers) override {
        if (canvas.width < 1 || canvas.height < 1 || canvas.format == AV_PIX_FMT_NONE)
            return nullptr;
        chooseLayers({canvas.width, canvas.height}, layers);
        if (canvas.format == AV_PIX_FMT_YUV420P) return paint(canvas);
        const bool keepsAlpha = hasAlpha(canvas.format);
        const FramePtr painted = paint(
            {canvas.width, canvas.height, keepsAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P});
        return painted ? converted(*painted, canvas.format) : nullptr;
    }

private:
    // Fills `painted_` with what is to be painted, the first at the bottom. What a layer hides
    // entirely is not even scaled.
    void chooseLayers(const PictureSize& canvas, const std::vector<RenderedLayer>& layers) {
        painted_.clear();
        for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
            PaintedLayer painted;
            if (!prepare(*layer, canvas, painted)) continue;
            painted_.push_back(painted);
            if (painted.coversCanvas()) break;
        }
        std::reverse(painted_.begin(), painted_.end());
    }

    // Scales the pictures of a layer. False when there is nothing to paint.
    static bool prepare(const RenderedLayer& layer, const PictureSize& canvas,
                        PaintedLayer& painted) {
        const PictureSize target = targetSize(layer.look, *layer.picture);
        if (!canBeScaledTo(target)) return false;
        painted = paintedLayer(layer.look, target, canvas);
        painted.opaque = isCopied(layer.look, *layer.picture);
        if (visibleRows(painted.luma).empty() || visibleColumns(painted.luma).empty()) return false;
        // Without alpha in it a picture needs no plane of it: the other planes are the same.
        const bool withAlpha = !painted.opaque && hasAlpha(layer.picture->format);
        painted.picture =
            layer.state->picture.scaled.get(*layer.picture, target.width, target.height,
                                            withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
        if (painted.picture == nullptr) return false;
        if (layer.look.isKeyed && layer.key != nullptr) prepareKey(layer, target, painted);
        return true;
    }

    static void prepareKey(const RenderedLayer& layer, const PictureSize& target,
                           PaintedLayer& painted) {
        const bool byAlpha = isPlanarWithAlpha(layer.key->format);
        painted.key =
            layer.state->key.scaled.get(*layer.key, target.width, target.height,
                                        byAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
        if (painted.key != nullptr) painted.keyKind = byAlpha ? KeyKind::alpha : KeyKind::luma;
    }

    // A picture in 4:2:0, with or without alpha, of the layers chosen.
    FramePtr paint(const Canvas& canvas) {
        if (canvas.format == AV_PIX_FMT_YUV420P && painted_.size() == 1 && fillsCanvas(canvas))
            return sharedPicture(*painted_.front().picture);
        FramePtr picture = pool_.get(canvas.width, canvas.height, canvas.format);
        if (!picture) return nullptr;
        if (painted_.empty() || !painted_.front().coversCanvas()) clearCanvas(*picture);
        for (const PaintedLayer& layer : painted_)
            paintLayer(*picture, layer, scratch_);
        return picture;
    }

    // Whether the bottom layer is the canvas, sample for sample.
    bool fillsCanvas(const Canvas& canvas) const {
        const PaintedLayer& bottom = painted_.front();
        return bottom.opaque && bottom.luma.x == 0 && bottom.luma.y == 0 &&
               bottom.picture->width == canvas.width && bottom.picture->height == canvas.height;
    }

    FramePtr converted(const AVFrame& picture, AVPixelFormat format) {
        if (picture.format == format) return cloneFrame(&picture);
        FramePtr result = convertedPool_.get(picture.width, picture.height, format);
        if (!result || !scaler_.scale(picture, *result, SWS_BILINEAR)) return nullptr;
        return result;
    }

    std::vector<PaintedLayer> painted_; // of the picture in hand
    std::vector<std::uint8_t> scratch_;
    PicturePool pool_;
    PicturePool convertedPool_;
    Scaler scaler_;
};

} // namespace

std::unique_ptr<LayerRenderer> makeProcessorRenderer() {
    return std::make_unique<ProcessorRenderer>();
}

} // namespace quol
