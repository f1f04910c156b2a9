#include "support/Streaming.h"

#include <chrono>

#include "support/CollectingSink.h"

namespace test {

int statusOf(LStream& stream) {
    int status = -1;
    stream.statusGet(status);
    return status;
}

LStream::Stats statsOf(LStream& stream) {
    LStream::Stats stats;
    stream.getStats(stats);
    return stats;
}

bool waitForSent(LStream& stream, std::int64_t count) {
    return waitUntil([&] { return statsOf(stream).framesSent >= count; }, std::chrono::seconds(60));
}

bool waitForMore(LStream& stream, std::int64_t more) {
    return waitForSent(stream, statsOf(stream).framesSent + more);
}

bool waitForStandstill(LStream& stream) {
    using Clock = std::chrono::steady_clock;
    std::int64_t sent = statsOf(stream).framesSent;
    auto since = Clock::now();
    return waitUntil(
        [&] {
            const std::int64_t now = statsOf(stream).framesSent;
            if (now != sent) since = Clock::now();
            sent = now;
            return Clock::now() - since > std::chrono::seconds(2);
        },
        std::chrono::seconds(60));
}

} // namespace test
