// What the host may change while an output runs.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// What a stream is called until a host names it. One that still has the other's name takes its own.
inline constexpr const char* ndiStreamName = "NDI_Output";
inline constexpr const char* vtpStreamName = "VTP_Output";

// The colour formats of a device that offers two.
enum class OutputColor { bgra = 0, uyvy = 1 };

// A plain record: the host's thread writes it under a mutex, the picture worker takes a copy for
// each picture.
struct OutputSettings {
    int width = 1920;
    int height = 1080;
    double rate = 25.0; // frames per second
    OutputColor ndiColor = OutputColor::uyvy;
    OutputColor deckLinkColor = OutputColor::uyvy;
    int scalingFlags = SWS_BILINEAR;
    bool timecode = false;
    std::uint64_t scalerAge = 0; // counted up by every change that asks for a new scaler
};

// The whole-number rate that devices are told and sound is cut by: 29 of 29.97. 0 for a rate below
// 1 and for anything that is no rate.
inline int wholeRate(double rate) {
    constexpr double largest = 1'000'000.0;
    if (!(rate >= 1.0)) return 0;
    return static_cast<int>(rate < largest ? rate : largest);
}

} // namespace quol
