// Where everything lies that a replay has stored.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "outputs/ReplayTable.h"

namespace quol {

// What a time code takes of a longer text.
constexpr std::size_t replayTimecodeLength = 11;

// One slot of the output rate. Slots that a slower source leaves open share a picture.
struct ReplayPicture {
    std::int64_t offset = 0; // bytes
    std::int32_t size = 0;   // bytes; 0 where the picture could not be written
    double time = 0.0;       // seconds since the recording's first frame
    std::array<char, replayTimecodeLength + 1> timecode{};

    std::string_view timecodeText() const { return timecode.data(); }
    void setTimecode(std::string_view text);
};

// One block of sound.
struct ReplaySound {
    std::int64_t offset = 0; // bytes
    std::int32_t size = 0;   // bytes; 0 where the block could not be written
    double time = 0.0;       // seconds since the recording's first frame
};

// Hours of both stay in memory.
static_assert(sizeof(ReplayPicture) == 40);
static_assert(sizeof(ReplaySound) == 24);

// The pictures. One thread at a time.
class ReplayPictures : public ReplayTable<ReplayPicture> {
public:
    // The entry nearest to that time, the earlier one of two as near; 0 where none is within
    // 99999 seconds, or for a time that is no number.
    std::size_t nearest(double seconds) const;
    // The first entry at that time or after it (the last one at it or before it); 0 without one.
    std::size_t firstFrom(double seconds) const;
    std::size_t lastUntil(double seconds) const;
    // The last entry of that time code.
    std::optional<std::size_t> lastOf(std::string_view timecode) const;
    // Where the time of an entry ends: with the next entry, behind the last one after `length`.
    double endOf(std::size_t index, double length) const;
};

// The sound. One thread at a time.
class ReplaySounds : public ReplayTable<ReplaySound> {
public:
    // The blocks with from <= time < end, in the order of the table.
    std::vector<ReplaySound> within(double from, double end) const;
    // Those of them from the block of that number on.
    std::vector<ReplaySound> since(std::size_t first, double from, double end) const;
};

} // namespace quol
