// Pictures beside each other on one sheet, for a PNG file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quolsdk/LFrame.h"

class RgbSheet {
public:
    struct Place {
        int left = 0;
        int top = 0;
        int width = 0;
        int height = 0;
    };

    RgbSheet(int width, int height, std::uint8_t grey);

    // Scales a picture into that place, which lies on the sheet. Of one that cannot be scaled
    // nothing is to be seen.
    void put(const Place& place, const LFrame::Video& picture);

    // Lays a premultiplied picture of the sheet's size over all.
    void lay(const LFrame::Video& over);

    // The uppermost rows of pixels, as many as there are. False when the file cannot be written.
    bool save(const std::string& path, int rows) const;
    bool save(const std::string& path) const { return save(path, height_); }

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};
