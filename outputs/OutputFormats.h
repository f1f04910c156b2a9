// The picture formats that a network sender offers: rows of the mode table under names of their
// own.
#pragma once

#include <string>

#include "quolsdk/formats.h"

namespace quol {

// How many are offered. The rows behind them, up to the end of the mode table, can be picked all
// the same.
inline constexpr int offeredOutputFormats = 35;

struct OutputFormat {
    std::string name; // "1920x1080i50": an interlaced row is named after its field rate
    videoFormatProps props;
};

// The row `index`, which is the mode `index` + 2. Outside the table an empty name and zeros.
OutputFormat outputFormat(int index);

} // namespace quol
