// When the sound that a multiview hands on is heard on the wall.
#pragma once

#include <cstdint>

struct AVFrame;

namespace quol {

// Sources count from wherever they like: a wall that shows one which is a minute ahead of it would
// be silent for whoever plays its sound by its pictures. So one distance is kept between the times
// of a source and those of the wall; it is measured with the first block, and anew when a block
// comes more than half a second away from where the wall is. One thread at a time.
class ForwardedTime {
public:
    // In samples of the block's own rate. `wall` is the wall's time, in seconds, as the block
    // comes. A block without a time goes on where the one before has ended.
    std::int64_t of(const AVFrame& sound, double wall);

private:
    int rate_ = 0;            // that the others count in; 0 before the first block
    std::int64_t offset_ = 0; // of the wall from the source
    std::int64_t next_ = 0;   // of the source, behind the latest block
};

} // namespace quol
