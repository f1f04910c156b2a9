// How much a Lottie template may ask of the engine.
#pragma once

namespace quol {

// More objects than this to draw in one picture, all parts and copies counted as often as they are
// drawn, are no template but an accident: a hundred times what the largest known ones have.
constexpr double maxLottieObjects = 100'000;

// Copies that a repeater makes, and points of a star. Either is a loop of the engine.
constexpr double maxLottieCopies = 1'000;
constexpr double maxLottiePoints = 1'000;

// Parts (precompositions) inside parts: the engine goes down by recursion.
constexpr int maxLottieParts = 100;

} // namespace quol
