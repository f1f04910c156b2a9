#include "core/SoundCheck.h"

#include <algorithm>
#include <cstdint>

#include "core/Handles.h"

namespace quol {

bool isReadableSound(const AVFrame& frame) {
    constexpr int slowest = 1000;
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const int channels = frame.ch_layout.nb_channels;
    if (frame.nb_samples < 1 || frame.sample_rate < slowest || channels < 1) return false;
    if (av_get_bytes_per_sample(format) < 1 || frame.extended_data == nullptr) return false;
    const int planes = av_sample_fmt_is_planar(format) != 0 ? channels : 1;
    return std::all_of(frame.extended_data, frame.extended_data + planes,
                       [](const std::uint8_t* plane) { return plane != nullptr; });
}

} // namespace quol
