// The expressions of Lottie templates: pieces of JavaScript that the engine runs whenever it draws.
#pragma once

#include <string_view>

namespace quol {

// Whether an expression surely ends, and soon. One that could loop, call itself or make a program
// of a text is none of these: nobody could stop it.
bool expressionEnds(std::string_view expression);

} // namespace quol
