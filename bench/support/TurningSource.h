// A source that brings another picture for every tick.
#pragma once

#include <array>
#include <cstddef>

#include "quolsdk/LObject.h"
#include "support/Measure.h"

namespace bench {

// Hands a few pictures on in turn: ramps with grain, in colours that a camera may have. (Noise has
// mostly colours that no RGB has, and a wall looks after those.)
class TurningSource : public LObject {
public:
    TurningSource(int width, int height, AVPixelFormat format) {
        for (auto& picture : pictures_) {
            picture = makePicture(width, height, format);
            if (picture) soften(*picture);
        }
    }
    void turn() {
        distributeVideoFrame(pictures_[next_].get());
        next_ = (next_ + 1) % pictures_.size();
    }

private:
    static constexpr std::size_t differentPictures = 4;

    // Planar formats of 8 bits; of the noise the grain is left.
    static void soften(AVFrame& picture) {
        for (int plane = 0; plane < 3 && picture.linesize[plane] > 0; ++plane) {
            for (int y = 0; y < planeRows(picture, plane); ++y) {
                std::uint8_t* const row =
                    picture.data[plane] + static_cast<std::ptrdiff_t>(y) * picture.linesize[plane];
                for (int x = 0; x < picture.linesize[plane]; ++x) {
                    const int level =
                        plane == 0 ? 30 + 180 * (x + y) / (picture.width + picture.height + 64)
                                   : 120;
                    row[x] = static_cast<std::uint8_t>(level + (row[x] & 15));
                }
            }
        }
    }

    std::array<quol::FramePtr, differentPictures> pictures_;
    std::size_t next_ = 0;
};

} // namespace bench
