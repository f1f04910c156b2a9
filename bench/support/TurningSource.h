// A source that brings another picture for every tick.
#pragma once

#include <array>
#include <cstddef>

#include "quolsdk/LObject.h"
#include "support/Measure.h"

namespace bench {

// Hands a few pictures of noise on in turn.
class TurningSource : public LObject {
public:
    TurningSource(int width, int height, AVPixelFormat format) {
        for (auto& picture : pictures_)
            picture = makePicture(width, height, format);
    }
    void turn() {
        distributeVideoFrame(pictures_[next_].get());
        next_ = (next_ + 1) % pictures_.size();
    }

private:
    static constexpr std::size_t differentPictures = 4;

    std::array<quol::FramePtr, differentPictures> pictures_;
    std::size_t next_ = 0;
};

} // namespace bench
