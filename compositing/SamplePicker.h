// Rows made of some of another row's samples.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quol {

// Sixteen samples, and which vectors of the row, side by side from `first` on, they come from.
struct SampleGroup {
    static constexpr int length = 16;
    static constexpr int mostVectors = 8;

    int first;
    int vectors; // 0: too many, or beyond the end of the row
    // For each vector and sample a place in the vector, or the highest bit: the sample is
    // elsewhere.
    alignas(length) std::array<std::array<std::uint8_t, length>, mostVectors> places;
};

// Knows where each sample comes from, for as many rows as follow. Sixteen samples are taken at once
// where they lie close enough together: shuffles of a few vectors, in place of sixteen reads.
class SamplePicker {
public:
    static constexpr int capacity = 1024;

    // sourceOf(i) tells for `count` samples, at most `capacity`, where they come from; never less
    // than for the one before, and always less than `rowLength`.
    template <typename SourceOf>
    void learn(int count, int rowLength, const SourceOf& sourceOf) {
        count_ = count;
        for (int i = 0; i < count; ++i)
            sources_[static_cast<std::size_t>(i)] = sourceOf(i);
        learnGroups(rowLength);
    }

    // target[i] = row[sourceOf(i)], nothing read at `rowLength` or beyond. They do not overlap.
    void pick(std::uint8_t* target, const std::uint8_t* row) const;

private:
    void learnGroups(int rowLength);

    // Written as far as they are read.
    int count_ = 0;
    int groupCount_ = 0;
    std::array<int, capacity> sources_;
    std::array<SampleGroup, capacity / SampleGroup::length> groups_;
};

} // namespace quol
