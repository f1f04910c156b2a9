// A time code that runs from a start value.
#pragma once

#include <cstdint>
#include <string>

namespace quol {

// The time code `elapsedMicros` after `start` at `fps` frames a second, counted with the whole
// number of it. Hours run on behind 24. A start that is no time code counts as zeros; the empty
// text stays empty.
std::string runningTimecode(const std::string& start, std::int64_t elapsedMicros, double fps);

} // namespace quol
