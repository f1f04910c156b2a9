#include "core/Scaler.h"

namespace quol {

bool Scaler::prepare(const ScalerKey& key) {
    if (context_ && key == key_) return true;
    context_.reset();
    const auto from = static_cast<AVPixelFormat>(key.sourceFormat);
    const auto to = static_cast<AVPixelFormat>(key.format);
    // Asked for a scaler of a format that is none, swscale ends the process.
    if (sws_isSupportedInput(from) <= 0 || sws_isSupportedOutput(to) <= 0) return false;
    context_.reset(sws_getContext(key.sourceWidth, key.sourceHeight, from, key.width, key.height,
                                  to, key.flags, nullptr, nullptr, nullptr));
    key_ = key;
    return context_ != nullptr;
}

bool Scaler::run(const AVFrame& source, std::uint8_t* const planes[], const int strides[]) {
    return sws_scale(context_.get(), source.data, source.linesize, 0, source.height, planes,
                     strides) > 0;
}

bool Scaler::scale(const AVFrame& source, AVFrame& target, int flags) {
    const ScalerKey key{source.width,  source.height, source.format, target.width,
                        target.height, target.format, flags};
    if (!prepare(key)) return false;
    return run(source, target.data, target.linesize);
}

} // namespace quol
