/// @file
/// The two format records that every media object takes and gives.
#pragma once

#include <cstdint>

/// Picture format of an object. A plain record: the caller owns it, objects copy it.
///
/// `mode` picks a row of the video mode table. 0 is custom: `width`, `height` and `fps` are taken
/// as the caller filled them in. 1 is native: the object keeps the format of what it plays and
/// converts nothing. 2 to 38 overwrite `width`, `height` and `fps`; a value above 38 gives
/// 0 x 0 at 0.0.
struct videoFormatProps {
    std::uint32_t mode = 0;       ///< row of the video mode table
    std::int32_t width = 0;       ///< pixels
    std::int32_t height = 0;      ///< pixels
    double fps = 0.0;             ///< frames per second; of an interlaced mode, its frame rate
    std::int32_t pixelFormat = 0; ///< row of the pixel format table; 0 leaves the format untouched
};

/// Sound format of an object. A plain record: the caller owns it, objects copy it.
///
/// `mode` picks a row of the audio mode table. 0 (custom) and 1 (native) leave the record
/// unchanged, 2 to 37 overwrite the other three fields, a higher value sets them to 0.
struct audioFormatProps {
    std::uint32_t mode = 0;         ///< row of the audio mode table
    std::int32_t bitsPerSample = 0; ///< 16, 24, or -32 for 32-bit floating point
    std::int32_t sampleRate = 0;    ///< Hz
    std::int32_t channels = 0;      ///< channel count
};
