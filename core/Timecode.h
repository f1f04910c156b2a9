// Time code text and what it counts. No drop-frame anywhere: 29.97 counts 29 frames a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace quol {

// What is told where there is no time code.
inline constexpr const char* noTimecode = "00:00:00:00";

// Stands in wherever no rate is known.
inline constexpr double defaultFps = 25.0;

// `fps` when it is above 0, else 25.0.
constexpr double fpsOrDefault(double fps) {
    return fps > 0.0 ? fps : defaultFps;
}

struct Timecode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
};

// Truncates. A number that is none counts as 0, and there is a limit behind which a double no
// longer counts single frames: hostile values get there.
std::int64_t wholeFrames(double frames);

// Reads "%d:%d:%d:%d"; nothing unless all four numbers are there and an int holds each.
std::optional<Timecode> parseTimecode(const std::string& text);

// Writes "%02d:%02d:%02d:%02d".
std::string formatTimecode(const Timecode& timecode);

// (h*3600 + m*60 + s) * fps + f, truncated.
std::int64_t timecodeToFrames(const Timecode& timecode, double fps);

// Frames of a stored start value: a text that is no time code counts as zeros.
std::int64_t timecodeTextToFrames(const std::string& text, double fps);

// Back, with the whole-number divisors (int)(fps*3600), (int)(fps*60) and (int)fps. Hours wrap at
// 24. A divisor below 1 counts as 1; a negative count as 0.
Timecode framesToTimecode(std::int64_t frames, double fps);
std::string framesToTimecodeText(std::int64_t frames, double fps);

// Frames that have passed at `seconds`. Truncates, but a product that lies a rounding error below a
// whole number counts as that number: 1001/30000 s at 30000/1001 is frame 1, not 0.
std::int64_t framesAt(double seconds, double fps);

// What `start` says `frames` frames later: on top of the whole frames of the start, split by
// (int)fps. Hours go on behind 23. A divisor below 1 counts as 1, a start that is no time code as
// zeros; times before zero give negative numbers.
std::string laterTimecodeText(const std::string& start, std::int64_t frames, double fps);

// The same `seconds` later, counted as `framesAt` does.
std::string clipTimecodeText(const std::string& start, double seconds, double fps);

// Local time of day, frames = milliseconds of the current second * fps / 1000, truncated.
Timecode wallClockTimecode(double fps);
Timecode wallClockTimecode(double fps, std::chrono::system_clock::time_point now);

} // namespace quol
