// Arithmetic of layers on rows of 8-bit samples. Source and target rows never overlap.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quol {

// target = ((255 - e) * target + e * source) >> 8, where e is not 0. The shift by 8 against a range
// of 255 is meant: full opacity gives source * 255 / 256.
void blendRow(std::uint8_t* target, const std::uint8_t* source, std::size_t count, std::uint8_t e);
void blendRow(std::uint8_t* target, const std::uint8_t* source, const std::uint8_t* e,
              std::size_t count);

// target = (target * (255 - alpha) + level * alpha) >> 8. The second leaves samples alone whose e
// is 0.
void blendLevel(std::uint8_t* target, std::uint8_t level, std::uint8_t alpha, std::size_t count);
void blendLevel(std::uint8_t* target, std::uint8_t level, std::uint8_t alpha, const std::uint8_t* e,
                std::size_t count);

// Coverage of a canvas with alpha: target += e * (255 - target) / 255, whole numbers. Full opacity
// covers fully.
void coverRow(std::uint8_t* target, std::size_t count, std::uint8_t e);
void coverRow(std::uint8_t* target, const std::uint8_t* e, std::size_t count);
// The same with `alpha`, where e is not 0.
void coverRow(std::uint8_t* target, std::uint8_t alpha, const std::uint8_t* e, std::size_t count);

// e = e * alpha / 255.
void scaleAlpha(std::uint8_t* e, std::uint8_t alpha, std::size_t count);

// e = e * key / 255, key samples being alpha: every one (step 1) or every second (step 2).
void keyByAlpha(std::uint8_t* e, const std::uint8_t* key, int step, std::size_t count);

// The same with k = min(255, (Y - 16) * 255 / 219) for key samples that are luma; 0 below 16.
void keyByLuma(std::uint8_t* e, const std::uint8_t* key, int step, std::size_t count);

// e = k: the same where every e is 255.
void takeLumaKey(std::uint8_t* e, const std::uint8_t* key, int step, std::size_t count);

// How many samples at the beginning, and at the end, are 0.
std::size_t leadingZeros(const std::uint8_t* samples, std::size_t count);
std::size_t trailingZeros(const std::uint8_t* samples, std::size_t count);

// target[i] = source[step * i].
void takeEvery(std::uint8_t* target, const std::uint8_t* source, int step, std::size_t count);

} // namespace quol
