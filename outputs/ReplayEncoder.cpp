#include "outputs/ReplayEncoder.h"

#include "outputs/ReplayStore.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quol {

namespace {

constexpr std::int64_t bitsPerQuality = 2'000'000; // a second
// The encoder would tell of every picture that is simpler or more detailed than its bit rate.
constexpr int silent = 100;

} // namespace

bool ReplayEncoder::open(const Settings& settings, Minimum minimum) {
    context_.reset();
    settings_ = settings;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!context || !packet_) return false;
    context->width = settings.width;
    context->height = settings.height;
    context->pix_fmt = AV_PIX_FMT_YUVJ422P;
    context->time_base = replayTimeBase(settings.rate);
    context->bit_rate = settings.quality * bitsPerQuality;
    context->rc_min_rate = minimum == Minimum::held ? context->bit_rate : 0;
    context->rc_max_rate = context->bit_rate;
    context->rc_buffer_size = static_cast<int>(2 * context->bit_rate);
    context->qmin = 1;
    context->qmax = 31;
    context->log_level_offset = silent;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return false;
    const bool fits =
        scratch_ && scratch_->width == settings.width && scratch_->height == settings.height;
    if (!fits) scratch_ = pool_.get(settings.width, settings.height, AV_PIX_FMT_YUVJ422P);
    if (!scratch_) return false;
    context_ = std::move(context);
    return true;
}

const AVPacket* ReplayEncoder::encode(const AVFrame& picture, std::int64_t slot) {
    av_packet_unref(packet_.get());
    // The encoder may still hold a reference to the picture before.
    if (av_frame_is_writable(scratch_.get()) == 0) {
        scratch_ = pool_.get(context_->width, context_->height, AV_PIX_FMT_YUVJ422P);
        if (!scratch_) {
            context_.reset();
            return nullptr;
        }
    }
    if (ReplayForm::takes(picture)) {
        form_.convert(picture, *scratch_);
    } else if (!scaler_.scale(picture, *scratch_, SWS_BILINEAR)) {
        return nullptr;
    }
    if (!origin_) origin_ = slot;
    scratch_->pts = slot - *origin_;
    scratch_->time_base = context_->time_base;
    if (encodeScratch()) return packet_.get();
    // Simple pictures stay below the bit rate whatever their quality, and the encoder, which cannot
    // fill a JPEG up, refuses all that come once its buffer has run over. Without a minimum it goes
    // on.
    if (!open(settings_, Minimum::none) || !encodeScratch()) return nullptr;
    return packet_.get();
}

bool ReplayEncoder::encodeScratch() {
    return avcodec_send_frame(context_.get(), scratch_.get()) >= 0 &&
           avcodec_receive_packet(context_.get(), packet_.get()) >= 0;
}

} // namespace quol
