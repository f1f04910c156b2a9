// FFmpeg's errors as texts.
#pragma once

#include <array>
#include <string>

extern "C" {
#include <libavutil/error.h>
}

namespace quol {

inline std::string errorText(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

} // namespace quol
