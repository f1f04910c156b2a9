// How keys and values are found in the text of a Lottie template.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace quol {

// A piece of a text, `end` behind its last character.
struct TextPiece {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// The first `what` from `from` on; npos for none. Unlike the search of the standard library it
// takes linear time whatever `what` is: names come from outside, and may repeat themselves as a
// text does.
std::size_t findText(std::string_view json, std::string_view what, std::size_t from);

// The first value behind `key`, which ends with the value's opening quote, from `from` on.
std::optional<TextPiece> findValue(std::string_view json, std::string_view key, std::size_t from);

// The first name key ("nm") with its value, of that name.
std::optional<TextPiece> findNamed(std::string_view json, std::string_view name);

} // namespace quol
