// What the tests of the streamer share.
#pragma once

#include <cstdint>
#include <string>

#include "quolsdk/LStream.h"
#include "support/RecordedFile.h"

namespace test {

int statusOf(LStream& stream);
LStream::Stats statsOf(LStream& stream);

// Waits until that many pictures have been sent; false when the limit has passed.
bool waitForSent(LStream& stream, std::int64_t count);

// Waits until that many more have been sent.
bool waitForMore(LStream& stream, std::int64_t more);

// Until nothing has been sent for a while; false when it goes on and on.
bool waitForStandstill(LStream& stream);

// Streams so many pictures of a live source into a file, and reads that.
RecordedFile streamed(LStream& stream, const std::string& path, std::int64_t count = 15);

} // namespace test
