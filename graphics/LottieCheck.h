// What a Lottie template must be before the engine sees it. The engine trusts its input: a template
// that is odd enough ends the process or keeps it busy for ever.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "graphics/LottieSearch.h"

namespace quol {

// The text to hand to the engine, or nothing for one that it must not see: text that is no
// well-formed JSON, values of a type that the engine does not expect, parts that contain
// themselves, layers that are each other's parent, and more than LottieLimits.h allows.
//
// Where it can be put right, it is, and nothing of the text moves: an expression that may never end
// is left out, letters in random order come in the order in which they stand (the engine divides by
// zero where their range begins at its end), and a layer whose content is missing or of another
// kind becomes an empty one.
std::optional<std::string> drawableTemplate(const std::string& json);

// A text that the engine may see, and by which changes it stays one.
class DrawableTemplate {
public:
    // Nothing where drawableTemplate gives nothing.
    static std::optional<DrawableTemplate> of(const std::string& json);

    const std::string& json() const { return json_; }

    // Puts `text` in the place of what findLayerText found in the template's text. What a document
    // says does not matter to the rest, so a change from plain text to plain text (no quote, no
    // escape, no control character) needs no other look at the whole. False, and nothing is
    // changed, where it is not that.
    bool replaceText(const TextPiece& piece, std::string_view text);

private:
    explicit DrawableTemplate(std::string json) : json_(std::move(json)) {}

    std::string json_;
};

} // namespace quol
