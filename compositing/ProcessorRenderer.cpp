// Pictures made on the main processor.
#include <algorithm>
#include <utility>

#include "compositing/LayerPaint.h"
#include "compositing/LayerRenderer.h"
#include "compositing/PictureLimits.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "core/WorkerTeam.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// Rows that are painted in one go, all layers: few enough to stay in a processor's cache from the
// lowest layer to the highest. Even, so that it holds whole rows of chroma.
constexpr int bandHeight = 32;

// The next even number: swscale leaves the last column and row of odd pictures out in some
// conversions, so memory is taken, and conversions are made, for one more.
int evenSize(int size) {
    return (size + 1) / 2 * 2;
}

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* const description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

// Whether a picture is scaled the same with and without an alpha plane beside: swscale takes other
// ways for some forms of RGB.
bool scalesAlikeWithoutAlpha(int format) {
    const AVPixFmtDescriptor* const description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr &&
           (description->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_RGB)) == 0;
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

// One conversion to be made.
struct ScaleJob {
    ScaledPicture* scaled;
    const AVFrame* source;
    PictureSize size;
    AVPixelFormat format;
    const AVFrame* result = nullptr;

    bool isWork() const { return scaled->wouldScale(*source, size.width, size.height, format); }
    void run() { result = scaled->get(*source, size.width, size.height, format); }
};

class ProcessorRenderer final : public LayerRenderer {
public:
    FramePtr render(const Canvas& canvas, const std::vector<RenderedLayer>& layers) override {
        if (!canBeMade(canvas.width, canvas.height) || canvas.format == AV_PIX_FMT_NONE)
            return nullptr;
        chooseLayers({canvas.width, canvas.height}, layers);
        if (canvas.format == AV_PIX_FMT_YUV420P) {
            FramePtr shared = sharedLayer(canvas);
            return shared ? std::move(shared) : paint(canvas);
        }
        const bool keepsAlpha = hasAlpha(canvas.format);
        const FramePtr painted = paint(
            {canvas.width, canvas.height, keepsAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P});
        return painted ? converted(*painted, canvas.format) : nullptr;
    }

private:
    // A layer on its way to be painted, with the places of its conversions among the jobs.
    struct Chosen {
        PaintedLayer layer;
        std::size_t pictureJob = 0;
        std::size_t keyJob = 0; // where the layer has a key
    };

    // Fills `painted_` with what is to be painted, the first at the bottom. What a layer hides
    // entirely is not even scaled.
    void chooseLayers(const PictureSize& canvas, const std::vector<RenderedLayer>& layers) {
        chosen_.clear();
        jobs_.clear();
        for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
            if (choose(*layer, canvas)) break;
        }
        scalePictures();
        painted_.clear();
        for (auto chosen = chosen_.rbegin(); chosen != chosen_.rend(); ++chosen) {
            PaintedLayer& layer = chosen->layer;
            layer.picture = jobs_[chosen->pictureJob].result;
            if (layer.picture == nullptr) continue;
            if (layer.keyKind != KeyKind::none) layer.key = jobs_[chosen->keyJob].result;
            if (layer.key == nullptr) layer.keyKind = KeyKind::none;
            painted_.push_back(layer);
        }
    }

    // Puts a layer and its conversions on the lists, if there is anything to see of it. True when
    // it hides what lies beneath.
    bool choose(const RenderedLayer& rendered, const PictureSize& canvas) {
        const AVFrame& picture = *rendered.picture;
        const PictureSize target = targetSize(rendered.look, picture);
        if (!canBeMade(target.width, target.height)) return false;
        Chosen chosen;
        PaintedLayer& layer = chosen.layer;
        layer = paintedLayer(rendered.look, target, canvas);
        layer.opaque = isCopied(rendered.look, picture);
        // Where no luma is seen, a row or column of chroma may be.
        const PlaneShape chroma = layer.opaque ? copiedChroma(layer.luma) : layer.chroma;
        if (!isVisible(layer.luma) && !isVisible(chroma)) return false;
        // The alpha plane of a picture without alpha would be opaque all over.
        const bool withAlpha = !layer.opaque && !scalesAlikeWithoutAlpha(picture.format);
        chosen.pictureJob = addJob(rendered.state->picture.scaled, picture, target, withAlpha);
        if (rendered.look.isKeyed && rendered.key != nullptr) {
            const bool byAlpha = isPlanarWithAlpha(rendered.key->format);
            layer.keyKind = byAlpha ? KeyKind::alpha : KeyKind::luma;
            chosen.keyJob = addJob(rendered.state->key.scaled, *rendered.key, target, byAlpha);
        }
        chosen_.push_back(chosen);
        return layer.opaque && layer.luma.coversCanvas() &&
               sws_isSupportedInput(static_cast<AVPixelFormat>(picture.format)) > 0;
    }

    std::size_t addJob(ScaledPicture& scaled, const AVFrame& source, const PictureSize& size,
                       bool withAlpha) {
        jobs_.push_back(
            {&scaled, &source, size, withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P});
        return jobs_.size() - 1;
    }

    void scalePictures() {
        work_.clear();
        for (ScaleJob& job : jobs_) {
            if (job.isWork()) {
                work_.push_back(&job);
            } else {
                job.run();
            }
        }
        team_.run(static_cast<int>(work_.size()),
                  [this](int i) { work_[static_cast<std::size_t>(i)]->run(); });
    }

    // A picture in 4:2:0, with or without alpha, of the layers chosen.
    FramePtr paint(const Canvas& canvas) {
        FramePtr picture =
            pool_.get(evenSize(canvas.width), evenSize(canvas.height), canvas.format);
        if (!picture) return nullptr;
        picture->width = canvas.width;
        picture->height = canvas.height;
        const int bands = (canvas.height + bandHeight - 1) / bandHeight;
        if (scratch_.size() < static_cast<std::size_t>(bands))
            scratch_.resize(static_cast<std::size_t>(bands));
        const auto paintOne = [&](int i) {
            const int top = i * bandHeight;
            paintBand(*picture, {top, std::min(top + bandHeight, canvas.height)},
                      scratch_[static_cast<std::size_t>(i)]);
        };
        team_.run(bands, paintOne);
        return picture;
    }

    void paintBand(AVFrame& picture, const CanvasBand& band, std::vector<std::uint8_t>& scratch) {
        const bool isCovered =
            !painted_.empty() && painted_.front().opaque && painted_.front().luma.coversCanvas();
        if (!isCovered) clearCanvas(picture, band);
        for (const PaintedLayer& layer : painted_)
            paintLayer(picture, layer, band, scratch);
    }

    // The only layer, where it is the canvas; null where it is not.
    FramePtr sharedLayer(const Canvas& canvas) const {
        if (painted_.size() != 1 || !fillsCanvas(canvas)) return nullptr;
        return sharedPicture(*painted_.front().picture);
    }

    // Whether the bottom layer is the canvas, sample for sample.
    bool fillsCanvas(const Canvas& canvas) const {
        const PaintedLayer& bottom = painted_.front();
        return bottom.opaque && bottom.luma.x == 0 && bottom.luma.y == 0 &&
               bottom.picture->width == canvas.width && bottom.picture->height == canvas.height;
    }

    FramePtr converted(AVFrame& picture, AVPixelFormat format) {
        if (picture.format == format) return cloneFrame(&picture);
        const int width = picture.width;
        const int height = picture.height;
        picture.width = evenSize(width);
        picture.height = evenSize(height);
        FramePtr result = convertedPool_.get(picture.width, picture.height, format);
        if (!result || !scaler_.scale(picture, *result, SWS_BILINEAR)) return nullptr;
        result->width = width;
        result->height = height;
        return result;
    }

    // Of the picture in hand; kept for their memory.
    std::vector<Chosen> chosen_; // the top one first
    std::vector<ScaleJob> jobs_;
    std::vector<ScaleJob*> work_;
    std::vector<PaintedLayer> painted_;              // the bottom one first
    std::vector<std::vector<std::uint8_t>> scratch_; // one a band

    PicturePool pool_;
    PicturePool convertedPool_;
    Scaler scaler_;
    WorkerTeam team_{WorkerTeam::usualHelpers()};
};

} // namespace

std::unique_ptr<LayerRenderer> makeProcessorRenderer() {
    return std::make_unique<ProcessorRenderer>();
}

} // namespace quol
