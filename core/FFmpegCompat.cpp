#include "core/FFmpegCompat.h"

namespace quol {

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)

namespace {

template <typename T>
std::span<const T> supported(const AVCodec& codec, AVCodecConfig config) {
    const void* list = nullptr;
    int count = 0;
    if (avcodec_get_supported_config(nullptr, &codec, config, 0, &list, &count) < 0) return {};
    return {static_cast<const T*>(list), static_cast<std::size_t>(list != nullptr ? count : 0)};
}

} // namespace

std::span<const AVPixelFormat> encoderPixelFormats(const AVCodec& codec) {
    return supported<AVPixelFormat>(codec, AV_CODEC_CONFIG_PIX_FORMAT);
}

std::span<const AVSampleFormat> encoderSampleFormats(const AVCodec& codec) {
    return supported<AVSampleFormat>(codec, AV_CODEC_CONFIG_SAMPLE_FORMAT);
}

#else

namespace {

// The length of a list that ends with `end`; 0 for no list.
template <typename T>
std::span<const T> endedList(const T* list, T end) {
    std::size_t count = 0;
    while (list != nullptr && list[count] != end)
        ++count;
    return {list, count};
}

} // namespace

std::span<const AVPixelFormat> encoderPixelFormats(const AVCodec& codec) {
    return endedList(codec.pix_fmts, AV_PIX_FMT_NONE);
}

std::span<const AVSampleFormat> encoderSampleFormats(const AVCodec& codec) {
    return endedList(codec.sample_fmts, AV_SAMPLE_FMT_NONE);
}

#endif

void clearDuration(AVFrame& picture) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    picture.duration = 0;
#else
    picture.pkt_duration = 0;
#endif
}

} // namespace quol
