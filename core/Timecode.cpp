#include "core/Timecode.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace quol {

std::int64_t wholeFrames(double frames) {
    constexpr double limit = 9.0e15;
    if (std::isnan(frames)) return 0;
    return static_cast<std::int64_t>(std::clamp(frames, -limit, limit));
}

// Not sscanf, which leaves open what a number too large for an int becomes.
std::optional<Timecode> parseTimecode(const std::string& text) {
    std::array<int, 4> numbers{};
    const char* at = text.c_str();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0 && *at++ != ':') return std::nullopt;
        char* end = nullptr;
        const long long number = std::strtoll(at, &end, 10); // cut to its limits where it is larger
        if (end == at || number < INT_MIN || number > INT_MAX) return std::nullopt;
        numbers[i] = static_cast<int>(number);
        at = end;
    }
    return Timecode{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::string formatTimecode(const Timecode& timecode) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d:%02d", timecode.hours, timecode.minutes,
                  timecode.seconds, timecode.frames);
    return text.data();
}

std::int64_t timecodeToFrames(const Timecode& timecode, double fps) {
    const double seconds = timecode.hours * 3600.0 + timecode.minutes * 60.0 + timecode.seconds;
    return wholeFrames(seconds * fps + timecode.frames);
}

std::int64_t timecodeTextToFrames(const std::string& text, double fps) {
    return timecodeToFrames(parseTimecode(text).value_or(Timecode{}), fps);
}

Timecode framesToTimecode(std::int64_t frames, double fps) {
    const auto divisor = [fps](double factor) {
        return std::max<std::int64_t>(1, wholeFrames(fps * factor));
    };
    const std::int64_t perHour = divisor(3600);
    const std::int64_t perMinute = divisor(60);
    const std::int64_t perSecond = divisor(1);
    const std::int64_t count = std::max<std::int64_t>(0, frames);
    return {static_cast<int>(count / perHour % 24), static_cast<int>(count / perMinute % 60),
            static_cast<int>(count / perSecond % 60), static_cast<int>(count % perSecond)};
}

std::string framesToTimecodeText(std::int64_t frames, double fps) {
    return formatTimecode(framesToTimecode(frames, fps));
}

std::int64_t framesAt(double seconds, double fps) {
    constexpr double roundingError = 1e-6;
    const double frames = seconds * fps + roundingError;
    return wholeFrames(frames);
}

std::string laterTimecodeText(const std::string& start, std::int64_t frames, double fps) {
    const Timecode begin = parseTimecode(start).value_or(Timecode{});
    const double startFrames = begin.frames + begin.seconds * fps + begin.minutes * 60.0 * fps +
                               begin.hours * 3600.0 * fps;
    const std::int64_t total = frames + wholeFrames(startFrames);
    const std::int64_t perSecond =
        std::clamp<std::int64_t>(wholeFrames(fps), 1, std::numeric_limits<int>::max());
    const std::int64_t hours =
        std::clamp<std::int64_t>(total / (perSecond * 3600), std::numeric_limits<int>::min(),
                                 std::numeric_limits<int>::max());
    return formatTimecode({static_cast<int>(hours), static_cast<int>(total / (perSecond * 60) % 60),
                           static_cast<int>(total / perSecond % 60),
                           static_cast<int>(total % perSecond)});
}

std::string clipTimecodeText(const std::string& start, double seconds, double fps) {
    return laterTimecodeText(start, framesAt(seconds, fps), fps);
}

Timecode wallClockTimecode(double fps) {
    return wallClockTimecode(fps, std::chrono::system_clock::now());
}

Timecode wallClockTimecode(double fps, std::chrono::system_clock::time_point now) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto sinceEpoch =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    std::tm local{};
    localtime_r(&seconds, &local);
    const auto frames = static_cast<double>(sinceEpoch % 1000) * fps / 1000.0;
    return {local.tm_hour, local.tm_min, local.tm_sec,
            static_cast<int>(std::min<std::int64_t>(wholeFrames(frames), INT32_MAX))};
}

} // namespace quol
