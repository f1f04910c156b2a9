// The picture of a compositor's latest tick, for consumers that pull beside each other.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// Several consumers that ask once a tick each want the same picture, not one each: the compositor
// would run as many times too fast, and each consumer miss what the others took. Guarded by its
// owner.
class RecentPicture {
public:
    // `picture` is the one of the tick made at `now`, on the steady clock; null for none.
    void keep(const AVFrame* picture, std::int64_t now) {
        picture_ = picture != nullptr ? cloneFrame(picture) : nullptr;
        time_ = now;
        isKept_ = true;
    }

    // Whether a request at `now` is for the tick that was made last: less than half a period ago.
    bool isOfThisTick(std::int64_t now, double fps) const {
        return isKept_ && static_cast<double>(now - time_) < 0.5e9 / fps;
    }

    // A reference; null for a tick without a picture.
    FramePtr get() const { return picture_ ? cloneFrame(picture_.get()) : nullptr; }

    void forget() {
        picture_.reset();
        isKept_ = false;
    }

private:
    FramePtr picture_;
    std::int64_t time_ = 0;
    bool isKept_ = false;
};

} // namespace quol
