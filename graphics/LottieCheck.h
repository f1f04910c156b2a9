// What a Lottie template must be before the engine sees it. The engine trusts its input: a template
// that is odd enough ends the process or keeps it busy for ever.
#pragma once

#include <optional>
#include <string>

namespace quol {

// More objects than this to draw in one picture, all parts and copies counted as often as they are
// drawn, are no template but an accident: a hundred times what the largest known ones have.
constexpr double maxLottieObjects = 100'000;

// Copies that a repeater makes, and points of a star. Either is a loop of the engine.
constexpr double maxLottieCopies = 1'000;
constexpr double maxLottiePoints = 1'000;

// Parts (precompositions) inside parts: the engine goes down by recursion.
constexpr int maxLottieParts = 100;

// The text to hand to the engine, or nothing for one that it must not see: text that is no
// well-formed JSON, values of a type that the engine does not expect, parts that contain
// themselves, layers that are each other's parent, and more than the limits above.
//
// Where it can be put right, it is, and nothing of the text moves: an expression that may never end
// is left out, letters in random order come in the order in which they stand (the engine divides by
// zero where their range begins at its end), and a layer whose content is missing or of another
// kind becomes an empty one.
std::optional<std::string> drawableTemplate(const std::string& json);

} // namespace quol
