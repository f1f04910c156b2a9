#include "core/SoundCheck.h"

#include <algorithm>

#include "core/FormatNumber.h"
#include "core/Handles.h"

namespace quol {

bool isSoundRate(int sampleRate) {
    constexpr int slowest = 1000;
    constexpr int fastest = 1'000'000;
    return sampleRate >= slowest && sampleRate <= fastest;
}

bool isReadableSound(const AVFrame& frame) {
    if (!isFormatNumber(frame.format, AV_SAMPLE_FMT_NB)) return false;
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const int channels = frame.ch_layout.nb_channels;
    if (frame.nb_samples < 1 || !isSoundRate(frame.sample_rate) || channels < 1) return false;
    if (av_get_bytes_per_sample(format) < 1 || frame.extended_data == nullptr) return false;
    const int planes = av_sample_fmt_is_planar(format) != 0 ? channels : 1;
    return std::all_of(frame.extended_data, frame.extended_data + planes,
                       [](const std::uint8_t* plane) { return plane != nullptr; });
}

} // namespace quol
