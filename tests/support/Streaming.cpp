#include "support/Streaming.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/CollectingSink.h"
#include "support/LiveSource.h"

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

RecordedFile streamed(LStream& stream, const std::string& path, std::int64_t count) {
    LiveSource source;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    EXPECT_TRUE(stream.Start());
    EXPECT_TRUE(waitForSent(stream, count));
    stream.Stop();
    stream.source = nullptr;
    return readRecordedFile(path);
}

} // namespace test
