// The expressions of Lottie templates: pieces of JavaScript that the engine runs whenever it draws.
#pragma once

#include <string_view>

namespace quol {

// Whether an expression surely ends, and soon. One that could loop, call itself or make a program
// of a text is none of these: nobody could stop it.
bool expressionEnds(std::string_view expression);

// Whether its result surely is a list, or nothing at all: the engine takes whatever an expression
// of a position or a colour gives for a list, and a number ends the process.
bool expressionGivesList(std::string_view expression);

} // namespace quol
