// Tags in texts: the wall clock, the date, and clocks that count.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace quol {

// The moment that a text is resolved at.
struct TagTime {
    std::chrono::system_clock::time_point wall;  // local time is shown
    std::chrono::steady_clock::time_point count; // what counting clocks run by
};

// Replaces "time::FORMAT" and "date::FORMAT" (the two mean the same) in `text`. In the format yyyy,
// MM, dd, HH, hh, mm, ss and ii (hundredths) stand for their numbers, all else for itself.
std::string resolveWallClock(const std::string& text, std::chrono::system_clock::time_point now);

// What a counting tag shows, without a clock.
struct CountingTag {
    bool up = false;
    std::string format;
    std::int64_t targetMs = 0;
};

// Milliseconds of a target: "h:m:s:hundredths", "m:s:hundredths" or "s:hundredths"; 0 for any other
// number of pieces.
std::int64_t countingTarget(const std::string& text);

// The text of a counting tag `elapsedMs` after its start: up to the target, or down to 0.
std::string countingText(const CountingTag& tag, std::int64_t elapsedMs);

// The counting clocks of a scene, one an item: it starts when a tag of the item is first resolved,
// and nothing but another id starts another. One thread at a time.
class TagClock {
public:
    // `text` with every tag replaced by its value at `now`.
    std::string resolve(const std::string& itemId, const std::string& text, const TagTime& now);

private:
    std::string resolveCounting(const std::string& itemId, const std::string& text,
                                std::chrono::steady_clock::time_point now);

    std::map<std::string, std::chrono::steady_clock::time_point> starts_;
};

} // namespace quol
