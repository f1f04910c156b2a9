// How finely pictures may be coded so that a stream of them stays within its share of a line.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quol::vtp {

// Each picture has the same number of bytes. One that takes more is coded again, coarser, and those
// after it start from there; back to fine it goes in small steps, once there is room for it. One
// that is still too large when coded as coarsely as can be goes out all the same, as a stream of
// nothing else would otherwise never show: others are left out until its bytes are saved. What goes
// out depends on nothing but the sizes. Owned by one thread.
class CodingBudget {
public:
    // Of the coder's scale, where 1 is finest.
    static constexpr int finest = 2;
    static constexpr int coarsest = 31;

    // Pictures in a row that must have room for a finer step before it is taken: at 50 a second all
    // the way back takes seven seconds.
    static constexpr int patience = 12;

    // What a picture may take of a gigabit a second, with room for the headers of the network and
    // the sound. The rate is a whole number, what is behind it was cut off: 29.97 is told as 29. A
    // rate of 0 is not known, and taken for a high one.
    static constexpr std::size_t bytesAt(std::uint32_t pictureRate) {
        constexpr std::size_t bytesASecond = 900'000'000 / 8;
        constexpr std::uint32_t usualAtMost = 60;
        return bytesASecond / (pictureRate > 0 ? pictureRate + 1 : usualAtMost);
    }

    // Bytes of a picture, at least 1.
    explicit CodingBudget(std::size_t bytes) : bytes_(bytes) {}

    int quantizer() const { return quantizer_; }

    // To be asked once for each picture. False for one to be left out.
    bool takesNext();

    // What the picture came to. False when it has to be coded again with the `quantizer` there is
    // now; that happens three times at most.
    bool accepts(std::size_t size);

private:
    void fit(std::size_t size);
    void refine(std::size_t size);

    const std::size_t bytes_;
    int quantizer_ = finest;
    int tries_ = 0;             // of this picture that came to too much
    int calm_ = 0;              // pictures in a row with room for a finer step
    std::size_t overdrawn_ = 0; // bytes sent too many
};

} // namespace quol::vtp
