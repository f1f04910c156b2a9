#include "compositing/AxisFilter.h"

#include <algorithm>
#include <cmath>

namespace quol {

namespace {

// The weights of one output, from the first sample on.
struct Kernel {
    int first = 0;
    std::vector<double> weights;

    void add(int sample, double weight) {
        const auto at = static_cast<std::size_t>(sample - first);
        if (at >= weights.size()) weights.resize(at + 1, 0.0);
        weights[at] += weight;
    }
};

Kernel kernelOf(const AxisFilter::Shape& shape, int output) {
    const int begin = output * shape.pixels;
    const int end = std::min(begin + shape.pixels, shape.target);
    const double step = static_cast<double>(shape.source) / shape.target;
    const double share = 1.0 / (static_cast<double>(end - begin) * shape.samples);
    const int last = shape.source - 1;
    Kernel kernel;
    bool isFirst = true;
    for (int pixel = begin; pixel < end; ++pixel) {
        for (int k = 0; k < shape.samples; ++k) {
            const double place = (pixel + (k + 0.5) / shape.samples) * step - 0.5;
            const double below = std::floor(place);
            const int low = std::clamp(static_cast<int>(below), 0, last);
            const int high = std::clamp(static_cast<int>(below) + 1, 0, last);
            if (isFirst) kernel.first = low;
            isFirst = false;
            const double fraction = place - below;
            kernel.add(low, (1.0 - fraction) * share);
            kernel.add(high, fraction * share);
        }
    }
    return kernel;
}

// Rounded so that the sum is exact: each weight is what its running sum grows by.
std::vector<std::int16_t> wholeWeights(const std::vector<double>& weights, int total) {
    std::vector<std::int16_t> whole;
    double sum = 0.0;
    long given = 0;
    for (const double weight : weights) {
        sum += weight;
        const long next = std::lround(sum * total);
        whole.push_back(static_cast<std::int16_t>(next - given));
        given = next;
    }
    whole.back() = static_cast<std::int16_t>(whole.back() + (total - given));
    while (whole.size() > 1 && whole.back() == 0)
        whole.pop_back();
    return whole;
}

} // namespace

int samplesPerPixel(int source, int target) {
    constexpr int most = 32;
    if (target < 1) return 1;
    return std::clamp((source + 2 * target - 1) / (2 * target), 1, most);
}

AxisFilter::AxisFilter(const Shape& shape, int total, int step) {
    std::vector<std::vector<std::int16_t>> all;
    for (int output = shape.from; output < shape.to; ++output) {
        const Kernel kernel = kernelOf(shape, output);
        all.push_back(wholeWeights(kernel.weights, total));
        first_.push_back(kernel.first);
        used_.push_back(static_cast<int>(all.back().size()));
        taps_ = std::max(taps_, used_.back());
    }
    taps_ = (taps_ + step - 1) / step * step;
    weights_.assign(all.size() * static_cast<std::size_t>(taps_), 0);
    for (std::size_t i = 0; i < all.size(); ++i)
        std::copy(all[i].begin(), all[i].end(),
                  weights_.begin() + static_cast<std::ptrdiff_t>(i) * taps_);
}

} // namespace quol
