#include "core/Scaler.h"

#include <mutex>

extern "C" {
#include <libavutil/cpu.h>
}

namespace quol {

namespace {

// Scalers that do not use the gather instruction: where a width is a multiple of 16 swscale takes
// it for the horizontal pass, which then costs up to twice the time of the same pass without it, on
// every processor that was tried; the pictures are the same to the last bit. FFmpeg has one set of
// processor flags for the process, read when a scaler is made, so they are put back at once.
SwsPtr makeScaler(const ScalerKey& key, AVPixelFormat from, AVPixelFormat to) {
    static std::mutex flagsMutex;
    const std::lock_guard lock(flagsMutex);
    const int flags = av_get_cpu_flags();
    av_force_cpu_flags(flags | AV_CPU_FLAG_SLOW_GATHER);
    SwsPtr scaler(sws_getContext(key.sourceWidth, key.sourceHeight, from, key.width, key.height, to,
                                 key.flags, nullptr, nullptr, nullptr));
    av_force_cpu_flags(flags);
    return scaler;
}

} // namespace

bool Scaler::prepare(const ScalerKey& key) {
    if (context_ && key == key_) return true;
    context_.reset();
    const auto from = static_cast<AVPixelFormat>(key.sourceFormat);
    const auto to = static_cast<AVPixelFormat>(key.format);
    // Asked for a scaler of a format that is none, swscale ends the process.
    if (sws_isSupportedInput(from) <= 0 || sws_isSupportedOutput(to) <= 0) return false;
    context_ = makeScaler(key, from, to);
    key_ = key;
    return context_ != nullptr;
}

bool Scaler::setFullRangeOutput() {
    int* inverseTable = nullptr;
    int* table = nullptr;
    int sourceRange = 0;
    int range = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(context_.get(), &inverseTable, &sourceRange, &table, &range,
                                 &brightness, &contrast, &saturation) < 0)
        return false;
    if (range == 1) return true;
    return sws_setColorspaceDetails(context_.get(), inverseTable, sourceRange, table, 1, brightness,
                                    contrast, saturation) >= 0;
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
