// How the samples of a source are weighted along one axis of a tile.
#pragma once

#include <cstdint>
#include <vector>

namespace quol {

// Samples that a pixel of a tile is made of along one axis: one for every two of the source that it
// covers, so that every sample of the source counts; 1 to 32.
int samplesPerPixel(int source, int target);

// What a tile of `target` pixels takes from a row (a column) of `source` samples.
//
// A pixel covers source / target samples. It is the mean of `samples` values spread evenly over
// them, each read between the centres of the two samples it lies between; beyond the edge the last
// sample counts. `pixels` 2 gives the mean of two neighbours at a time, which is chroma's share.
class AxisFilter {
public:
    struct Shape {
        int source = 0;  // samples in the source
        int target = 0;  // pixels of the tile
        int samples = 1; // a pixel
        int pixels = 1;  // an output
        int from = 0;    // the outputs that are wanted
        int to = 0;

        bool operator==(const Shape&) const = default;
    };

    // Weights are whole numbers that add up to `total` in every output. Each output has the same
    // number of them, a multiple of `step`, noughts behind the last.
    AxisFilter(const Shape& shape, int total, int step);
    AxisFilter() = default;

    int taps() const { return taps_; }
    int outputs() const { return static_cast<int>(first_.size()); }
    // The first sample of the source that an output takes, and what each counts.
    int first(int output) const { return first_[static_cast<std::size_t>(output)]; }
    const int* firsts() const { return first_.data(); }
    const std::int16_t* weights(int output) const {
        return weights_.data() + static_cast<std::size_t>(output) * static_cast<std::size_t>(taps_);
    }
    // Weights that count: what is behind them is nought.
    int used(int output) const { return used_[static_cast<std::size_t>(output)]; }

private:
    int taps_ = 0;
    std::vector<int> first_;
    std::vector<int> used_;
    std::vector<std::int16_t> weights_;
};

} // namespace quol
