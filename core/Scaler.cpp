#include "core/Scaler.h"

namespace quol {

bool Scaler::prepare(const ScalerKey& key) {
    if (context_ && key == key_) return true;
    context_.reset(sws_getContext(
        key.sourceWidth, key.sourceHeight, static_cast<AVPixelFormat>(key.sourceFormat), key.width,
        key.height, static_cast<AVPixelFormat>(key.format), key.flags, nullptr, nullptr, nullptr));
    key_ = key;
    return context_ != nullptr;
}

void Scaler::run(const AVFrame& source, std::uint8_t* const planes[], const int strides[]) {
    sws_scale(context_.get(), source.data, source.linesize, 0, source.height, planes, strides);
}

bool Scaler::scale(const AVFrame& source, AVFrame& target, int flags) {
    const ScalerKey key{source.width,  source.height, source.format, target.width,
                        target.height, target.format, flags};
    if (!prepare(key)) return false;
    run(source, target.data, target.linesize);
    return true;
}

} // namespace quol
