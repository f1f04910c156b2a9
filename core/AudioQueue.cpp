#include "core/AudioQueue.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quol {

void AudioQueue::append(AudioRecord record) {
    if (record.pairs() == 0) return;
    records_.push_back(std::move(record));
    if (records_.size() > maxRecords_) {
        records_.pop_front();
        used_ = 0;
    }
}

std::size_t AudioQueue::take(std::int16_t* target, std::size_t pairs) {
    std::size_t taken = 0;
    while (taken < pairs && !records_.empty())
        taken += takeFromFront(target + taken * 2, pairs - taken);
    return taken;
}

std::size_t AudioQueue::takeDue(std::int16_t* target, std::size_t pairs, double latest) {
    std::size_t taken = 0;
    while (taken < pairs && !records_.empty() && latest >= *frontTime())
        taken += takeFromFront(target != nullptr ? target + taken * 2 : nullptr, pairs - taken);
    return taken;
}

// Up to `pairs` of the front record, which there must be; unheard without a target.
std::size_t AudioQueue::takeFromFront(std::int16_t* target, std::size_t pairs) {
    const AudioRecord& front = records_.front();
    const std::size_t count = std::min(pairs, front.pairs() - used_);
    if (target != nullptr)
        std::memcpy(target, front.samples.data() + used_ * 2, count * 2 * sizeof(std::int16_t));
    advance(count);
    return count;
}

void AudioQueue::drop(std::size_t pairs) {
    while (pairs > 0 && !records_.empty()) {
        const std::size_t count = std::min(pairs, records_.front().pairs() - used_);
        pairs -= count;
        advance(count);
    }
}

// Moves on within the front record, and to the next at its end.
void AudioQueue::advance(std::size_t pairs) {
    used_ += pairs;
    if (used_ < records_.front().pairs()) return;
    records_.pop_front();
    used_ = 0;
}

std::optional<double> AudioQueue::skipTo(double time, double window) {
    // A record that ends at `time`, but for a rounding error, holds nothing that is wanted.
    const double halfSample = 0.5 / sampleRate_;
    const auto start = [this](const AudioRecord& record) {
        const std::size_t gone = &record == &records_.front() ? used_ : 0;
        return record.pts + static_cast<double>(gone) / sampleRate_;
    };
    // Behind a jump back sound of both times waits here: the nearer one is meant.
    const auto behind = [&](const AudioRecord& record) {
        return std::max(0.0, start(record) - time);
    };
    auto wanted = records_.end();
    for (auto record = records_.begin(); record != records_.end(); ++record) {
        const bool fits = endOf(*record) > time + halfSample && start(*record) < time + window;
        if (fits && (wanted == records_.end() || behind(*record) < behind(*wanted))) {
            wanted = record;
        }
    }
    if (wanted == records_.end()) return std::nullopt;
    if (wanted != records_.begin()) used_ = 0;
    records_.erase(records_.begin(), wanted);
    const double early = (time - records_.front().pts) * sampleRate_;
    if (early > 0.0) {
        const auto pairs = static_cast<std::size_t>(std::llround(early));
        used_ = std::max(used_, std::min(pairs, records_.front().pairs() - 1));
    }
    return std::max(0.0, records_.front().pts + static_cast<double>(used_) / sampleRate_ - time);
}

double AudioQueue::endOf(const AudioRecord& record) const {
    return record.pts + static_cast<double>(record.pairs()) / sampleRate_;
}

bool AudioQueue::reaches(double time, double window) const {
    const double halfSample = 0.5 / sampleRate_;
    return std::any_of(records_.begin(), records_.end(), [&](const AudioRecord& record) {
        return endOf(record) > time - halfSample && record.pts < time + window;
    });
}

std::optional<double> AudioQueue::frontTime() const {
    if (records_.empty()) return std::nullopt;
    return records_.front().pts + static_cast<double>(used_) / sampleRate_;
}

std::size_t AudioQueue::pairs() const {
    std::size_t sum = 0;
    for (const AudioRecord& record : records_)
        sum += record.pairs();
    return sum - used_;
}

std::size_t AudioQueue::contiguousPairs(std::size_t atMost, double tolerance) const {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < records_.size() && sum < atMost; ++i) {
        if (i > 0) {
            const double end = endOf(records_[i - 1]);
            if (std::fabs(records_[i].pts - end) >= tolerance) break;
        }
        sum += records_[i].pairs() - (i == 0 ? used_ : 0);
    }
    return std::min(sum, atMost);
}

void AudioQueue::clear() {
    records_.clear();
    used_ = 0;
}

} // namespace quol
