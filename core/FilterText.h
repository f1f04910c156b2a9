// The filter chains that a source builds for itself, as text.
#pragma once

#include <string>

#include "quolsdk/formats.h"

namespace quol {

struct VideoChain {
    videoFormatProps format;
    std::string scaleType; // "letter-box", "crop", anything else stretches
    bool deinterlace = false;
    bool hasFilter = false;
    std::string filter; // the host's own chain, when there is one
};

// The chain for one picture, empty when the picture goes on as it is. The format's size is explicit
// when its mode is not 1 and both sides are at least 1: then the picture gets that size, rate and
// pixel format. Otherwise, where a filter, a pixel format or deinterlacing asks for a chain, the
// picture is made square-pixel and even-sized, and 16:9 for "letter-box" and "crop".
//
// The rate is written in thousandths: 29.97 gives "fps=29970/1000", not 30000/1001.
std::string videoChainText(const VideoChain& chain);

struct AudioChain {
    audioFormatProps format;
    int delayMs = 0;
    bool hasFilter = false;
    std::string filter;
};

// The chain for sound; never empty, "anull" where there is nothing to do. The delay is written for
// two channels, whatever the source has.
std::string audioChainText(const AudioChain& chain);

} // namespace quol
