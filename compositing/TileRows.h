// The arithmetic of tiles, row by row.
//
// A source's sample S becomes, by three steps of whole numbers:
//
//   down:    sum of S * weight, weights of 256 in all; halved, 15 bits
//   across:  sum of that * weight, weights of 16384 in all; (sum + 16384) >> 15: 64 a level
//   level:   (value * factor + offset) >> 20, held within 0 and 255
//
// Every version for some processor gives the same to the last bit.
#pragma once

#include <cstdint>

namespace quol {

inline constexpr int downTotal = 256;
inline constexpr int acrossTotal = 16384;
inline constexpr int acrossStep = 8; // taps that are multiplied in one go

// sums[i] = weight * row[i], or added to what is there.
void weighRow(std::uint16_t* sums, const std::uint8_t* row, int weight, bool isFirst, int count);
// The same with three rows at once.
void weighRows(std::uint16_t* sums, const std::uint8_t* const rows[3], const std::int16_t* weights,
               bool isFirst, int count);

// Every `step`th sum from `offset` on, halved.
void pickRow(std::int16_t* target, const std::uint16_t* sums, int step, int offset, int count);

class AxisFilter;

// `samples` must be readable for as many more as the filter has taps.
void acrossRow(std::int16_t* target, const std::int16_t* samples, const AxisFilter& filter);

// What a level is made of up to three values. A factor of 16384 is 1.
struct LevelRule {
    int factors[3] = {16384, 0, 0};
    int offset = 0; // in levels times 2^20, the half that rounds included
};

// One value a level.
void levelRow(std::uint8_t* target, const std::int16_t* values, const LevelRule& rule, int count);
// Three values a level.
void levelRow(std::uint8_t* target, const std::int16_t* const values[3], const LevelRule& rule,
              int count);

// target = neutral + (target - neutral) * alpha, alpha being a value of 64 a level.
void fadeRow(std::uint8_t* target, const std::int16_t* alpha, int neutral, int count);

// target = (target * (255 - alpha) + 127) / 255 + ink, held within 255.
void inkRow(std::uint8_t* target, const std::uint8_t* ink, const std::uint8_t* alpha, int count);

} // namespace quol
