// A bounded queue of stereo 16-bit sound between a source's thread and a worker.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace quol {

// A time in seconds and interleaved stereo samples.
struct AudioRecord {
    double pts = 0.0;
    std::vector<std::int16_t> samples;

    std::size_t pairs() const { return samples.size() / 2; }
};

// Drops the oldest record when it is full; a record that was taken in part keeps its rest. Not
// locked: the owner's audio mutex guards it.
class AudioQueue {
public:
    AudioQueue(std::size_t maxRecords, int sampleRate)
        : maxRecords_(maxRecords), sampleRate_(sampleRate) {}

    void append(AudioRecord record);

    // Copies up to `pairs` stereo samples to `target`, oldest first, and removes them. Returns how
    // many there were; the rest of `target` is left as it is.
    std::size_t take(std::int16_t* target, std::size_t pairs);

    // Like `take`, up to sound beyond `latest`, in seconds. Without a target it goes unheard.
    std::size_t takeDue(std::int16_t* target, std::size_t pairs, double latest);

    // Hands up to `pairs` stereo samples out where they lie, oldest first, in pieces: `use` gets
    // each piece, how many pairs it has and how many went before. Then they are gone.
    template <typename Use>
    std::size_t consume(std::size_t pairs, Use use) {
        std::size_t taken = 0;
        while (taken < pairs && !records_.empty()) {
            const AudioRecord& front = records_.front();
            const std::size_t count = std::min(pairs - taken, front.pairs() - used_);
            use(front.samples.data() + used_ * 2, count, taken);
            taken += count;
            advance(count);
        }
        return taken;
    }

    // Removes what lies before `time`, so that the oldest sample is the first at or behind it, and
    // returns how many seconds behind. Nothing, with the queue unchanged, when no sound lies within
    // `window` seconds behind `time`.
    std::optional<double> skipTo(double time, double window);

    // Removes up to `pairs` stereo samples unheard, oldest first.
    void drop(std::size_t pairs);

    // Whether sound waits that lasts until `time` or begins less than `window` seconds behind it.
    bool reaches(double time, double window) const;

    // Time of the oldest sample; nothing without one.
    std::optional<double> frontTime() const;

    // Stereo samples that wait.
    std::size_t pairs() const;

    // How many of them, up to `atMost`, follow each other: where a record's time is further than
    // `tolerance` from the end of the one before, they end.
    std::size_t contiguousPairs(std::size_t atMost, double tolerance) const;

    std::size_t records() const { return records_.size(); }
    bool empty() const { return records_.empty(); }
    void clear();
    void setSampleRate(int sampleRate) { sampleRate_ = sampleRate; }

private:
    std::size_t takeFromFront(std::int16_t* target, std::size_t pairs);
    void advance(std::size_t pairs);
    double endOf(const AudioRecord& record) const; // time behind its last sample

    std::size_t maxRecords_;
    int sampleRate_;
    std::deque<AudioRecord> records_;
    std::size_t used_ = 0; // pairs already taken from the front record
};

} // namespace quol
