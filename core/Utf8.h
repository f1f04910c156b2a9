// Texts that may or may not be UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quol {

// One piece for each UTF-8 sequence, going by its first byte alone; one that the text cuts short is
// as long as the rest.
std::vector<std::string> splitUtf8(const std::string& text);

// Whether cairo can take it: it gives up a whole context for a text that is no UTF-8.
bool isValidUtf8(std::string_view text);

// The text itself where it is UTF-8; else every byte of it as a letter of Latin-1.
std::string toUtf8(std::string_view text);

} // namespace quol
