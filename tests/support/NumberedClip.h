// The clip of the suite whose pictures and samples can each be told from all others, and what came
// out of it elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Handles.h"

namespace test {

class NumberedClip {
public:
    static constexpr int width = 720;
    static constexpr int height = 576;
    static constexpr int pictures = 500; // numbered from 0, 25 a second
    static constexpr double step = 0.04; // seconds
    static constexpr int flashEvery = 25;
    static constexpr int soundRate = 48000;
    static constexpr int pairsPerPicture = 1920;

    static std::string path();
    // The number that a picture of 8 bits shows, whatever its format; -1 when it cannot be read.
    static int numberOf(const AVFrame& picture);

    // Its sound, left and right in turn.
    NumberedClip();
    const std::vector<std::int16_t>& sound() const { return sound_; }

private:
    std::vector<std::int16_t> sound_;
};

// How far sound is behind a picture. What somebody hears who plays it without a gap is as late as
// the latest block of the next third of a second makes it.
class SoundClock {
public:
    static constexpr int window = 8; // pictures: a third of a second

    explicit SoundClock(int number) : number_(number) {}
    // A block that begins with that pair of the clip and came at that time.
    void add(std::size_t firstPair, double seconds);
    // Seconds behind a picture that came at that time, below 0 for sound that is ahead; nothing
    // without sound.
    std::optional<double> behind(double pictureSeconds) const;

private:
    const int number_;
    std::optional<double> start_; // when the clip began, for such a listener
};

// Sound of the clip that came without a hole: `pairs` of them, the first being `inSound` of what
// came and `inClip` of the clip.
struct SoundPiece {
    std::size_t inSound = 0;
    std::size_t inClip = 0;
    std::size_t pairs = 0;
};

// What came as pieces of the clip in their order; nothing else in it than these, and zeros between
// them. An empty list when there is.
std::vector<SoundPiece> piecesOf(const NumberedClip& clip, const std::vector<std::int16_t>& sound);

// Pairs of the clip that are missing between the pieces.
std::size_t missingPairs(const std::vector<SoundPiece>& pieces);

} // namespace test
