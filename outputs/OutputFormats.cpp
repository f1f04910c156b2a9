#include "outputs/OutputFormats.h"

#include "core/ModeTables.h"

namespace quol {

OutputFormat outputFormat(int index) {
    if (index < 0) return {};
    const std::uint32_t mode = static_cast<std::uint32_t>(index) + firstTableMode;
    const VideoMode* const row = findVideoMode(mode);
    if (row == nullptr) return {};
    return {std::to_string(row->width) + "x" + std::to_string(row->height) +
                (row->interlaced ? "i" : "p") + std::to_string(row->labelRate),
            {mode, row->width, row->height, row->fps, 0}};
}

} // namespace quol
