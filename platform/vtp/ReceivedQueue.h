// What came from a sender and was not taken yet.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

#include "platform/vtp/Block.h"
#include "platform/vtp/Message.h"

namespace quol::vtp {

struct Received {
    MessageHeader header;
    SharedBlock payload;
};

// Keeps the newest, in their order. Not for several threads at once.
class ReceivedQueue {
public:
    ReceivedQueue(std::size_t maxCount, std::size_t maxBytes)
        : maxCount_(maxCount), maxBytes_(maxBytes) {}

    // Drops the oldest ones beyond the limits, but never the last.
    void add(Received received) {
        const std::size_t size = received.payload->size();
        queue_.push_back(std::move(received)); // may throw
        bytes_ += size;
        while (queue_.size() > 1 && (queue_.size() > maxCount_ || bytes_ > maxBytes_))
            take();
    }

    std::optional<Received> take() {
        if (queue_.empty()) return std::nullopt;
        Received received = std::move(queue_.front());
        queue_.pop_front();
        bytes_ -= received.payload->size();
        return received;
    }

    void clear() {
        queue_.clear();
        bytes_ = 0;
    }

private:
    const std::size_t maxCount_;
    const std::size_t maxBytes_;
    std::deque<Received> queue_;
    std::size_t bytes_ = 0;
};

} // namespace quol::vtp
